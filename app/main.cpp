// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/desktop_environment.h"
#include "app/missing_display.h"
#include "app/orderly_end.h"
#include "app/settings_file.h"
#include "diagnosis/log_secrets.h"
#include "server/echo_server.h"
#include "server/stored_pictures.h"

#include <QApplication>
#include <QDebug>
#include <QLoggingCategory>

#include <csignal>
#include <cstdio>
#include <optional>

namespace {

constexpr quint16 servicePort = 12343;
constexpr const char* buildVersion = "20220711";

void writeStartUpDiagnostics()
{
    qDebug("hello world");
    qWarning("hello World");
    qDebug("This is a debug message");
    qWarning("This is a warning message");
    qCritical("This is a critical message");
    qDebug() << "****";
    qWarning("%s", buildVersion);
}

// Under a service manager standard output is a pipe: lines must not stay in a buffer, and SIGPIPE
// must not end the service when the reader closes its end.
void prepareStandardOutput()
{
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    std::signal(SIGPIPE, SIG_IGN);
}

void apply(const Settings& settings)
{
    if (!settings.loggingRules.isEmpty())
        QLoggingCategory::setFilterRules(settings.loggingRules);
    if (settings.restrictions.keepPictures())
        return;
    deleteStoredPictures();
    keepSecretsOutOfLog();
}

} // namespace

int main(int argc, char* argv[])
{
    prepareStandardOutput();
    const Settings settings = readSettings();
    if (!settings.error.isEmpty()) {
        std::fprintf(stderr, "desk-terminal-service: %s\n", qUtf8Printable(settings.error));
        return exitWithBadSettings;
    }
    apply(settings);
    prepareDesktopEnvironment();
    writeStartUpDiagnostics();
    std::optional<MissingDisplayReport> missingDisplay(std::in_place);
    const QApplication application(argc, argv);
    missingDisplay.reset();
    QApplication::setQuitOnLastWindowClosed(false);
    // Never deleted: it serves clients until the process ends.
    static auto* const server = new EchoServer(servicePort, false, nullptr, settings.restrictions);
    QObject::connect(server, &EchoServer::closed, &application, &QCoreApplication::quit);
    const OrderlyEnd orderlyEnd(*server, servicePort);
    const int code = QApplication::exec();
    server->dismissClients();
    return code;
}
