// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/sim/pcsc_daemon.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcessEnvironment>
#include <QThread>

#include <winscard.h>

#include <csignal>
#include <unistd.h>

namespace virtual_desk {

namespace {

constexpr char program[] = "/usr/sbin/pcscd";
constexpr int startTimeoutMs = 5000;
constexpr int endTimeoutMs = 5000;
constexpr int pollMs = 5;

const char configuration[] = "FRIENDLYNAME \"%1\"\n"
                             "DEVICENAME /dev/null:%2\n"
                             "LIBPATH /usr/lib/pcsc/drivers/serial/libifdvpcd.so\n"
                             "CHANNELID %2\n";

// SCARD_S_SUCCESS, SCARD_E_NO_READERS_AVAILABLE, or the error of a daemon that is not running.
LONG askForReaders()
{
    SCARDCONTEXT context = 0;
    LONG code = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context);
    if (code != SCARD_S_SUCCESS)
        return code;
    DWORD length = 0;
    code = SCardListReaders(context, nullptr, nullptr, &length);
    SCardReleaseContext(context);
    return code;
}

// Debian 13's daemon asks polkit about every client and, without a system bus, refuses all of them.
bool asksPolkit(const QProcessEnvironment& environment)
{
    QProcess daemon;
    daemon.setProcessEnvironment(environment);
    daemon.start(QString::fromLatin1(program), {QStringLiteral("--version")});
    daemon.waitForFinished();
    return daemon.readAllStandardOutput().contains("polkit");
}

} // namespace

const char PcscDaemon::ReaderName[] = "Generic EMV Smartcard Reader";

PcscDaemon::~PcscDaemon()
{
    kill();
}

bool PcscDaemon::start(Reader reader)
{
    if (!writeConfiguration(reader))
        return false;
    // The daemon uses no USB device and must not run under umockdev's preload library.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("LD_PRELOAD"));
    environment.remove(QStringLiteral("UMOCKDEV_DIR"));
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setStandardOutputFile(m_directory.filePath(QStringLiteral("pcscd.log")));
    static const bool withoutPolkit = asksPolkit(environment);
    QStringList options{QStringLiteral("--foreground"), QStringLiteral("--info"),
                        QStringLiteral("--config"),
                        m_directory.filePath(QStringLiteral("readers"))};
    if (withoutPolkit)
        options += QStringLiteral("--disable-polkit");
    m_process.start(QString::fromLatin1(program), options);
    const LONG ready = reader == Reader::none ? SCARD_E_NO_READERS_AVAILABLE : SCARD_S_SUCCESS;
    QElapsedTimer timer;
    timer.start();
    while (askForReaders() != ready) {
        if (timer.elapsed() > startTimeoutMs)
            return false;
        QThread::msleep(pollMs);
    }
    return true;
}

bool PcscDaemon::hasReaders()
{
    return askForReaders() == SCARD_S_SUCCESS;
}

void PcscDaemon::stop()
{
    m_process.terminate();
    awaitEnd();
}

void PcscDaemon::kill()
{
    m_process.kill();
    awaitEnd();
}

void PcscDaemon::freeze()
{
    ::kill(static_cast<pid_t>(m_process.processId()), SIGSTOP);
}

void PcscDaemon::thaw()
{
    ::kill(static_cast<pid_t>(m_process.processId()), SIGCONT);
}

QString PcscDaemon::log() const
{
    QFile file(m_directory.filePath(QStringLiteral("pcscd.log")));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool PcscDaemon::writeConfiguration(Reader reader) const
{
    // Not in the configuration directory, of which the daemon parses every file.
    const QDir readers(m_directory.filePath(QStringLiteral("readers")));
    if (!m_directory.isValid() || !readers.mkpath(QStringLiteral(".")))
        return false;
    QFile file(readers.filePath(QStringLiteral("virtual")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    if (reader == Reader::none)
        return true;
    const QString port = QStringLiteral("0x%1").arg(SlotPort, 0, 16);
    return file.write(
               QString::fromLatin1(configuration).arg(QLatin1String(ReaderName), port).toLatin1()) >
           0;
}

void PcscDaemon::awaitEnd()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    if (!m_process.waitForFinished(endTimeoutMs)) {
        m_process.kill();
        m_process.waitForFinished();
    }
    QFile::remove(QStringLiteral("/run/pcscd/pcscd.comm"));
    QFile::remove(QStringLiteral("/run/pcscd/pcscd.pid"));
}

} // namespace virtual_desk
