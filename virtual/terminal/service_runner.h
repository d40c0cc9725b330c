// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "toolkit/qt_versions.h"

#include <QJsonObject>
#include <QObject>
#include <QProcessEnvironment>
#include <QString>

namespace virtual_desk {

/// TCP port of the service.
constexpr quint16 servicePort = 12343;

/// \brief The service as a child process. It is started by a command only, also after a crash.
///
/// The process is in its own process group, so that Ctrl-C does not signal it, and ends with its
/// parent.
class ServiceRunner : public QObject
{
    Q_OBJECT

public:
    /// \param program the service's file
    /// \param directory its working directory
    ServiceRunner(const QString& program, const QString& directory,
                  const QProcessEnvironment& environment);
    ~ServiceRunner() override;

    /// An error message with advice when the service's port is in use; empty when it is free. The
    /// service itself does not report it.
    static QString portFault();

    /// Starts the service and waits up to ten seconds until its port accepts connections.
    /// \return an empty text, or an error message
    QString start();
    /// Ends it with SIGTERM, and after five seconds with SIGKILL.
    void stop();
    /// Ends it with SIGKILL.
    void kill();
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }

    /// "running", "processId", "starts", "lastExit"
    QJsonObject state() const;

Q_SIGNALS:
    /// One line that the service wrote, without its newline; \p stream is "output" or "error".
    void lineWritten(const QString& line, const QString& stream);
    void stateChanged();

private:
    bool awaitPort();
    void passOn(QProcess::ProcessChannel channel);
    void report(QByteArray line, QProcess::ProcessChannel channel);
    void noteExit(int code, QProcess::ExitStatus status);

    qt_versions::DependentProcess m_process;
    QString m_program;
    int m_starts = 0;
    bool m_endAsked = false;
    QJsonValue m_lastExit;
};

} // namespace virtual_desk
