// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/restrictions.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class CTextMessageProcessor;
class QWebSocket;
class QWebSocketCorsAuthenticator;
class QWebSocketServer;

/// \brief The service's only network endpoint: plain WebSockets, on all local addresses unless
/// restricted.
///
/// Text frames are commands and go to the processor with the socket that sent them; binary frames
/// are echoed. A port that cannot be bound is not reported: the object then exists without clients.
/// Everything runs on the GUI thread.
class EchoServer : public QObject
{
    Q_OBJECT

public:
    /// \param port TCP port to listen on, IPv4 and IPv6
    /// \param debug writes a debug line for each frame and each disconnected client
    /// \param restrictions who may connect, and which commands are served; by default no limit
    EchoServer(quint16 port, bool debug, QObject* parent = nullptr,
               const Restrictions& restrictions = {});
    ~EchoServer() override;

    /// Prepares the end of the process: processes no further frames, ends the open signing session
    /// and closes the capture windows. Commands that wait for them reply when the event loops end.
    void endSessions();

    /// Closes every connection with a close frame of code 1001 (going away).
    void dismissClients();

Q_SIGNALS:
    /// The listening server has closed; never emitted when listening failed.
    void closed();

private Q_SLOTS:
    void onNewConnection();
    void processTextMessage(QString message);
    void processBinaryMessage(QByteArray message);
    void socketDisconnected();

private:
    void judgeOrigin(QWebSocketCorsAuthenticator* page) const;
    QWebSocketServer* newServer();
    void listen(QWebSocketServer* server, const QHostAddress& address, quint16 port);
    QList<QWebSocketServer*> servers() const;

    QWebSocketServer* m_pWebSocketServer; ///< on the first address; one more child on each other
    QList<QWebSocket*> m_clients;         ///< owned, in order of connection
    bool m_debug;
    CTextMessageProcessor* m_processor; ///< shared by all clients; exists until the process ends
    const Restrictions m_restrictions;
};
