// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/service_windows.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QProcess>
#include <QStringList>

namespace virtual_desk {
namespace {

// Puts an entry before those that the variable has.
void prepend(QProcessEnvironment& environment, const QString& variable, const QString& entry,
             QChar separator)
{
    const QString before = environment.value(variable);
    environment.insert(variable, before.isEmpty() ? entry : entry + separator + before);
}

} // namespace

ServiceWindows::ServiceWindows(const QString& plugins)
    : m_plugins(plugins)
{
    connect(&m_server, &QLocalServer::newConnection, this, &ServiceWindows::takeConnection);
    const QString name = QStringLiteral("desk-windows-%1").arg(QCoreApplication::applicationPid());
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    QLocalServer::removeServer(name); // of a killed process that had this number
    if (!m_server.listen(name))
        qWarning("The service's windows will not be seen: %s", qPrintable(m_server.errorString()));
}

// The server deletes its connections, which reports them as closed.
ServiceWindows::~ServiceWindows()
{
    if (m_service)
        m_service->disconnect(this);
}

QProcessEnvironment ServiceWindows::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    prepend(environment, QStringLiteral("QT_PLUGIN_PATH"), m_plugins, QLatin1Char(':'));
    prepend(environment, QStringLiteral("QT_QPA_GENERIC_PLUGINS"),
            QStringLiteral("desk-windows:") + m_server.fullServerName(), QLatin1Char(','));
    return environment;
}

const QStringList& ServiceWindows::names()
{
    static const QStringList names = {QStringLiteral("signing"), QStringLiteral("capture")};
    return names;
}

QJsonObject ServiceWindows::window(const QString& name) const
{
    for (auto i = m_windows.size(); i-- > 0;)
        if (m_windows.at(i).toObject().value(QLatin1String("window")).toString() == name)
            return m_windows.at(i).toObject();
    return {};
}

QRect ServiceWindows::place(const QJsonValue& entry)
{
    const auto number = [&entry](const char* key) {
        return entry.toObject().value(QLatin1String(key)).toInt();
    };
    return {number("x"), number("y"), number("width"), number("height")};
}

QRect ServiceWindows::buttonOnDesktop(const QJsonObject& window, const QString& button)
{
    const QPoint corner = place(window.value(QLatin1String("place"))).topLeft();
    const QJsonArray buttons = window.value(QLatin1String("buttons")).toArray();
    for (const QJsonValue& entry : buttons)
        if (entry.toObject().value(QLatin1String("button")).toString() == button)
            return place(entry.toObject().value(QLatin1String("place"))).translated(corner);
    return {};
}

QString ServiceWindows::click(QPoint point)
{
    QProcess xdotool;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("LD_PRELOAD")); // it needs no virtual devices
    xdotool.setProcessEnvironment(environment);
    xdotool.start(QStringLiteral("xdotool"),
                  {QStringLiteral("mousemove"), QString::number(point.x()),
                   QString::number(point.y()), QStringLiteral("click"), QStringLiteral("1")});
    if (xdotool.waitForFinished() && xdotool.exitStatus() == QProcess::NormalExit &&
        xdotool.exitCode() == 0)
        return {};
    const QByteArray complaint = xdotool.readAllStandardError().trimmed();
    return QStringLiteral("xdotool could not click: %1.")
        .arg(complaint.isEmpty() ? xdotool.errorString() : QString::fromUtf8(complaint));
}

// Of the service that was started last.
void ServiceWindows::takeConnection()
{
    if (m_service)
        m_service->deleteLater();
    m_service = m_server.nextPendingConnection();
    connect(m_service, &QLocalSocket::readyRead, this, &ServiceWindows::read);
    connect(m_service, &QLocalSocket::disconnected, this, [this, service = m_service.data()] {
        if (service == m_service)
            show({});
    });
    show({});
    read();
}

void ServiceWindows::read()
{
    while (m_service && m_service->canReadLine())
        show(QJsonDocument::fromJson(m_service->readLine()).array());
}

void ServiceWindows::show(const QJsonArray& windows)
{
    m_windows = windows;
    Q_EMIT changed();
}

} // namespace virtual_desk
