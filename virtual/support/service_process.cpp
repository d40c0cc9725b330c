// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/support/service_process.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QTcpSocket>

#include <csignal>
#include <sys/resource.h>

namespace virtual_desk {

namespace {

constexpr int startTimeoutMs = 60000;
constexpr int stopTimeoutMs = 60000;
constexpr int pollMs = 5;

template <typename Condition>
bool waitUntil(Condition condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition())
        if (timer.elapsed() > timeoutMs)
            return false;
    return true;
}

} // namespace

bool servicePortOpen()
{
    QTcpSocket probe;
    probe.connectToHost(QHostAddress(QHostAddress::LocalHost), servicePort);
    return probe.waitForConnected(pollMs * 20);
}

ServiceProcess::~ServiceProcess()
{
    stop();
}

bool ServiceProcess::launch(const QProcessEnvironment& environment)
{
    QProcessEnvironment all = QProcessEnvironment::systemEnvironment();
    all.insert(environment);
    m_process.setProcessEnvironment(all);
    m_process.start(QStringLiteral(DESK_BIN_DIR "/desk-terminal-service"), {});
    return m_process.waitForStarted();
}

bool ServiceProcess::start(const QProcessEnvironment& environment)
{
    if (!launch(environment))
        return false;
    return waitUntil(
               [this] {
                   m_process.waitForReadyRead(pollMs);
                   return servicePortOpen() || !isRunning();
               },
               startTimeoutMs) &&
           isRunning();
}

void ServiceProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(stopTimeoutMs)) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

void ServiceProcess::sendSignal(int number) const
{
    ::kill(static_cast<pid_t>(processId()), number);
}

int ServiceProcess::waitForEnd(int timeoutMs)
{
    if (isRunning() && !m_process.waitForFinished(timeoutMs))
        return -999;
    return m_process.exitStatus() == QProcess::CrashExit ? -m_process.exitCode()
                                                         : m_process.exitCode();
}

void ServiceProcess::closeOutput()
{
    m_process.closeReadChannel(QProcess::StandardOutput);
    m_process.closeReadChannel(QProcess::StandardError);
}

int ServiceProcess::limitDescriptors(int count) const
{
    const auto process = static_cast<pid_t>(processId());
    rlimit limit{};
    prlimit(process, RLIMIT_NOFILE, nullptr, &limit);
    const auto before = static_cast<int>(limit.rlim_cur);
    limit.rlim_cur = static_cast<rlim_t>(count);
    prlimit(process, RLIMIT_NOFILE, &limit, nullptr);
    return before;
}

void ServiceProcess::collect()
{
    m_output += m_process.readAllStandardOutput();
    m_error += m_process.readAllStandardError();
}

QByteArray ServiceProcess::standardOutput()
{
    collect();
    return m_output;
}

QByteArray ServiceProcess::standardError()
{
    collect();
    return m_error;
}

bool ServiceProcess::waitForError(const QByteArray& text, int times, int timeoutMs)
{
    return waitUntil(
        [&] {
            m_process.waitForReadyRead(pollMs);
            return standardError().count(text) >= times;
        },
        timeoutMs);
}

bool ServiceProcess::waitForOutput(const QByteArray& text, int times, int timeoutMs)
{
    return waitUntil(
        [&] {
            m_process.waitForReadyRead(pollMs);
            return standardOutput().count(text) >= times;
        },
        timeoutMs);
}

void ServiceProcess::forgetOutput()
{
    collect();
    m_output.clear();
    m_error.clear();
}

qint64 ServiceProcess::residentKiB() const
{
    QFile status(QStringLiteral("/proc/%1/status").arg(processId()));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).simplified().split(' ').first().toLongLong();
    return -1;
}

int ServiceProcess::openDescriptors() const
{
    const QDir directory(QStringLiteral("/proc/%1/fd").arg(processId()));
    const auto all = QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot;
    return static_cast<int>(directory.entryList(all).size());
}

} // namespace virtual_desk
