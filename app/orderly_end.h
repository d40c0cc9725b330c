// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>
#include <QThread>

class EchoServer;

/// \brief Ends the service in order on SIGTERM, SIGINT or SIGHUP.
///
/// Windows close and the event loops end; then `main` sends close frames to the clients, and the
/// pad and the HID identity-card reader get their kernel drivers back. A command that waits for a
/// device blocks the GUI thread and so delays this: after three seconds another thread sends the
/// close frames, releases the devices that the command does not use and ends the process with exit
/// code 0. GUI thread only.
class OrderlyEnd : public QObject
{
    Q_OBJECT

public:
    /// \param port on which \p server serves its clients
    OrderlyEnd(EchoServer& server, quint16 port);
    ~OrderlyEnd() override;

private:
    void begin();

    EchoServer& m_server;
    QThread m_watch; ///< receives the signals, because the GUI thread may be blocked
};
