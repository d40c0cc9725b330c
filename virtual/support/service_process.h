// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

namespace virtual_desk {

/// \brief The built service as a child process, with its output.
///
/// The process runs in the current working directory and is killed by the destructor.
class ServiceProcess
{
public:
    ~ServiceProcess();

    /// Starts the service and waits until its port accepts connections.
    /// \param environment variables to add to the caller's, or to replace
    /// \return false when the port did not open within a minute
    bool start(const QProcessEnvironment& environment = {});

    /// Starts the program without waiting for its port.
    bool launch(const QProcessEnvironment& environment = {});

    /// Ends the process with SIGTERM.
    void stop();
    void sendSignal(int number) const;
    /// \return the exit code, or minus the number of the signal that ended it; -999 when it still
    /// runs
    int waitForEnd(int timeoutMs = 60000);

    /// Closes the reading ends of its standard output and standard error.
    void closeOutput();

    /// Sets the limit of its open descriptors to `count`.
    /// \return the limit before
    int limitDescriptors(int count) const;

    bool isRunning() const { return m_process.state() == QProcess::Running; }
    qint64 processId() const { return m_process.processId(); }

    /// Everything that it has written so far.
    QByteArray standardOutput();
    QByteArray standardError();

    /// Waits until standard error (or output) contains `text` at least `times` times.
    bool waitForError(const QByteArray& text, int times = 1, int timeoutMs = 60000);
    bool waitForOutput(const QByteArray& text, int times = 1, int timeoutMs = 60000);

    /// Deletes the collected output.
    void forgetOutput();

    /// Resident memory in KiB, and the number of open descriptors.
    qint64 residentKiB() const;
    int openDescriptors() const;

private:
    void collect();

    QProcess m_process;
    QByteArray m_output;
    QByteArray m_error;
};

/// Whether something accepts connections on the service's port.
bool servicePortOpen();

/// TCP port of the service.
constexpr quint16 servicePort = 12343;

} // namespace virtual_desk
