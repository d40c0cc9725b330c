// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "toolkit/qt_versions.h"

#include <QJsonObject>
#include <QObject>
#include <QString>

namespace virtual_desk {

/// TCP port of the service.
constexpr quint16 servicePort = 12343;

/// \brief The service as a child process: started on command, never again by itself.
///
/// The process is in a group of its own, so that Ctrl-C does not reach it, and dies with its
/// parent.
class ServiceRunner : public QObject
{
    Q_OBJECT

public:
    /// \param program   the service's file
    /// \param directory where it runs
    ServiceRunner(const QString& program, const QString& directory);
    ~ServiceRunner() override;

    /// Why the service would not get its port, and what to do; empty when it would. The service
    /// itself stays silent then.
    static QString portFault();

    /// Starts the service and waits until its port answers, up to ten seconds.
    /// \return an empty text, or why it does not run
    QString start();
    /// Ends it with SIGTERM, and after five seconds with SIGKILL.
    void stop();
    /// Ends it as a crash would.
    void kill();
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }

    /// "running", "processId", "starts", "lastExit"
    QJsonObject state() const;

Q_SIGNALS:
    /// One line that the service wrote, without its end; \p stream is "output" or "error".
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
