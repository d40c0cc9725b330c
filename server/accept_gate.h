// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>

class QTcpServer;
class QWebSocketServer;

/// \brief Keeps file descriptors free for windows and devices, however many clients connect.
///
/// A window that opens when no descriptor is left blocks for ever on its display server. Therefore
/// no connection is accepted while fewer than 64 descriptors are free; new connections stay in the
/// listening socket's queue until clients have disconnected, and none is refused. Connections whose
/// WebSocket handshake is not finished count as well.
class AcceptGate : public QObject
{
    Q_OBJECT

public:
    /// \param server listening; becomes the parent of this object
    explicit AcceptGate(QWebSocketServer* server);

private:
    void closeWhenFew();
    void close();
    void openWhenEnough();

    QWebSocketServer* m_server;
    QPointer<QTcpServer> m_acceptor; ///< the server's internal TCP server
    int m_pendingLimit = 0;          ///< of the acceptor while the gate is open
    QTimer m_retry;                  ///< runs while the gate is closed
};
