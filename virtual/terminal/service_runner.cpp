// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/service_runner.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <csignal>

namespace virtual_desk {
namespace {

constexpr int startTimeoutMs = 10000;
constexpr int stopTimeoutMs = 5000;
constexpr int pollMs = 20;

bool portAnswers()
{
    QTcpSocket probe;
    probe.connectToHost(QHostAddress(QHostAddress::LocalHost), servicePort);
    return probe.waitForConnected(pollMs * 5);
}

} // namespace

ServiceRunner::ServiceRunner(const QString& program, const QString& directory,
                             const QProcessEnvironment& environment)
    : m_program(program)
{
    m_process.setWorkingDirectory(directory);
    m_process.setProcessEnvironment(environment);
    connect(&m_process, &QProcess::readyReadStandardOutput, this,
            [this] { passOn(QProcess::StandardOutput); });
    connect(&m_process, &QProcess::readyReadStandardError, this,
            [this] { passOn(QProcess::StandardError); });
    connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &ServiceRunner::noteExit);
}

ServiceRunner::~ServiceRunner()
{
    stop();
}

QString ServiceRunner::portFault()
{
    QTcpServer probe;
    if (probe.listen(QHostAddress::Any, servicePort))
        return {};
    return QStringLiteral("port %1, the service's, cannot be had: %2.\n"
                          "  Perhaps a service runs already: `ss -ltnp sport = :%1` names the "
                          "program. End it and start again.")
        .arg(servicePort)
        .arg(probe.errorString());
}

QString ServiceRunner::start()
{
    if (isRunning())
        return QStringLiteral("The service is running already.");
    QString fault = portFault();
    if (!fault.isEmpty())
        return fault;
    m_endAsked = false;
    m_process.start(m_program, QStringList());
    if (!m_process.waitForStarted())
        return QStringLiteral("%1: %2").arg(m_program, m_process.errorString());
    ++m_starts;
    const bool ready = awaitPort();
    Q_EMIT stateChanged();
    return ready ? QString() : QStringLiteral("The service did not open port %1.").arg(servicePort);
}

bool ServiceRunner::awaitPort()
{
    QElapsedTimer timer;
    timer.start();
    while (isRunning() && timer.elapsed() < startTimeoutMs) {
        if (portAnswers())
            return true;
        m_process.waitForFinished(pollMs);
    }
    return false;
}

void ServiceRunner::stop()
{
    if (!isRunning())
        return;
    m_endAsked = true;
    m_process.terminate();
    if (!m_process.waitForFinished(stopTimeoutMs))
        kill();
}

void ServiceRunner::kill()
{
    m_endAsked = true;
    m_process.kill();
    m_process.waitForFinished(stopTimeoutMs);
}

QJsonObject ServiceRunner::state() const
{
    return {{QStringLiteral("running"), isRunning()},
            {QStringLiteral("processId"),
             isRunning() ? QJsonValue(m_process.processId()) : QJsonValue()},
            {QStringLiteral("starts"), m_starts},
            {QStringLiteral("lastExit"), m_lastExit}};
}

void ServiceRunner::passOn(QProcess::ProcessChannel channel)
{
    m_process.setReadChannel(channel);
    while (m_process.canReadLine())
        report(m_process.readLine(), channel);
}

void ServiceRunner::report(QByteArray line, QProcess::ProcessChannel channel)
{
    line.chop(line.endsWith('\n') ? 1 : 0);
    Q_EMIT lineWritten(QString::fromUtf8(line), channel == QProcess::StandardError
                                                    ? QStringLiteral("error")
                                                    : QStringLiteral("output"));
}

// With QProcess::CrashExit, the code is the signal's number.
void ServiceRunner::noteExit(int code, QProcess::ExitStatus status)
{
    for (const auto channel : {QProcess::StandardOutput, QProcess::StandardError}) {
        passOn(channel);
        const QByteArray unfinishedLine = m_process.readAll();
        if (!unfinishedLine.isEmpty())
            report(unfinishedLine, channel);
    }
    QJsonObject exit{
        {status == QProcess::CrashExit ? QStringLiteral("signal") : QStringLiteral("code"), code}};
    if (m_endAsked)
        exit.insert(QStringLiteral("asked"), true);
    m_lastExit = exit;
    Q_EMIT stateChanged();
}

} // namespace virtual_desk
