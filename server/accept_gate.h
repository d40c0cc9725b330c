// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>

class QTcpServer;
class QWebSocketServer;

/// \brief Keeps descriptors free for windows and devices, however many clients come.
///
/// A window that opens while the process has no descriptor left waits for its display server for
/// ever. So accepting rests while fewer than 64 are free and goes on when clients have left;
/// meanwhile connections wait in the listening socket's queue, and nobody is refused. Connections
/// that have not shown yet that they are WebSockets count like the others.
class AcceptGate : public QObject
{
    Q_OBJECT

public:
    /// \param server listens already; owns the gate
    explicit AcceptGate(QWebSocketServer* server);

private:
    void closeWhenFew();
    void close();
    void openWhenEnough();

    QWebSocketServer* m_server;
    QPointer<QTcpServer> m_acceptor; ///< the server's own, which accepts the connections
    int m_pendingLimit = 0;          ///< of the acceptor while the gate is open
    QTimer m_retry;                  ///< runs while the gate is closed
};
