// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/missing_display.h"

#include <QDebug>
#include <QStringList>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

QtMessageHandler otherwise = nullptr;

// The warnings of Qt's platform plugin. They come before the fatal message and name the display,
// which the fatal message does not.
QStringList& platformMessages()
{
    static QStringList messages;
    return messages;
}

void report(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    constexpr char platform[] = "qt.qpa.";
    if (type == QtFatalMsg) {
        const QString reason = platformMessages().value(0, message);
        std::fprintf(stderr, "desk-terminal-service needs a display for its windows: %s\n",
                     qPrintable(reason.simplified()));
        std::_Exit(exitWithoutDisplay);
    }
    if (context.category && std::strncmp(context.category, platform, std::strlen(platform)) == 0)
        platformMessages() << message;
    else
        otherwise(type, context, message);
}

} // namespace

MissingDisplayReport::MissingDisplayReport()
{
    otherwise = qInstallMessageHandler(report);
}

MissingDisplayReport::~MissingDisplayReport()
{
    qInstallMessageHandler(otherwise);
    for (const QString& message : qAsConst(platformMessages()))
        qWarning("%s", qUtf8Printable(message));
    platformMessages().clear();
}
