// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/echo_server.h"

#include "server/accept_gate.h"
#include "server/text_message_processor.h"
#include "server/unread_replies.h"

#include <QApplication>
#include <QDebug>
#include <QTcpSocket>
#include <QWebSocket>
#include <QWebSocketServer>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>

namespace {

// Far above every command, low enough that a message that is sent back costs the other clients no
// noticeable time (60 MiB cost them five seconds).
constexpr quint64 maxMessageBytes = 8ULL * 1024 * 1024;

// Options of the listening socket that the toolkit has no setters for.
void tuneListeningSocket(int descriptor)
{
    // Accepted sockets inherit this. Without it a reply that leaves as two writes waits some 40 ms
    // for the peer's delayed acknowledgement, which hits exactly the replies that carry a picture.
    const int on = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    // A second listen only changes the backlog: with the toolkit's 50, the rest of a burst of
    // connects waits a second for its second SYN.
    ::listen(descriptor, SOMAXCONN);
}

// The connection below a client, which the toolkit keeps to itself.
const QTcpSocket* connectionOf(const QWebSocket& client, const QWebSocketServer& server)
{
    const QList<QTcpSocket*> all = server.findChildren<QTcpSocket*>();
    const auto found = std::find_if(all.begin(), all.end(), [&client](const QTcpSocket* one) {
        return one->peerPort() == client.peerPort() && one->peerAddress() == client.peerAddress();
    });
    return found == all.end() ? nullptr : *found;
}

} // namespace

EchoServer::EchoServer(quint16 port, bool debug, QObject* parent)
    : QObject(parent)
    , m_pWebSocketServer(new QWebSocketServer(QStringLiteral("Echo Server"),
                                              QWebSocketServer::NonSecureMode, this))
    , m_debug(debug)
    , m_processor(new CTextMessageProcessor)
{
    if (!listen(port))
        return;
    if (m_debug)
        qDebug() << "Echoserver listening on port" << port;
    connect(m_pWebSocketServer, &QWebSocketServer::newConnection, this,
            &EchoServer::onNewConnection);
    connect(m_pWebSocketServer, &QWebSocketServer::closed, this, &EchoServer::closed);
}

EchoServer::~EchoServer()
{
    m_pWebSocketServer->close();
    // A socket that is deleted says that it is disconnected, which would change the list.
    for (QWebSocket* client : qAsConst(m_clients))
        client->disconnect(this);
    qDeleteAll(m_clients);
}

bool EchoServer::listen(quint16 port)
{
    if (!m_pWebSocketServer->listen(QHostAddress::Any, port))
        return false;
    tuneListeningSocket(static_cast<int>(m_pWebSocketServer->nativeDescriptor()));
    new AcceptGate(m_pWebSocketServer);
    return true;
}

void EchoServer::endSessions()
{
    m_pWebSocketServer->pauseAccepting();
    for (QWebSocket* client : qAsConst(m_clients)) {
        disconnect(client, &QWebSocket::textMessageReceived, this, nullptr);
        disconnect(client, &QWebSocket::binaryMessageReceived, this, nullptr);
    }
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall); // the frames that wait
    Q_EMIT m_processor->sEndSign();
    QApplication::closeAllWindows();
}

void EchoServer::dismissClients()
{
    const QList<QWebSocket*> clients = m_clients; // closing takes them off the list
    for (QWebSocket* client : clients)
        client->close(QWebSocketProtocol::CloseCodeGoingAway);
}

void EchoServer::onNewConnection()
{
    QWebSocket* socket = m_pWebSocketServer->nextPendingConnection();
    if (!socket)
        return;
    socket->setMaxAllowedIncomingFrameSize(maxMessageBytes);
    socket->setMaxAllowedIncomingMessageSize(maxMessageBytes);
    // Queued: a window's nested event loop inside a slot called from within the socket's own frame
    // processing ends in a crash when that page goes away meanwhile.
    connect(socket, &QWebSocket::textMessageReceived, this, &EchoServer::processTextMessage,
            Qt::QueuedConnection);
    connect(socket, &QWebSocket::binaryMessageReceived, this, &EchoServer::processBinaryMessage,
            Qt::QueuedConnection);
    connect(socket, &QWebSocket::disconnected, this, &EchoServer::socketDisconnected);
    // The toolkit answers pings by itself, and these answers can be left unread like all others.
    if (const QTcpSocket* connection = connectionOf(*socket, *m_pWebSocketServer))
        connect(connection, &QTcpSocket::readyRead, socket, [socket] { canBeAnswered(socket); });
    m_clients << socket;
}

void EchoServer::processTextMessage(QString message)
{
    auto* client = qobject_cast<QWebSocket*>(sender());
    if (m_debug)
        qDebug() << "Message received:" << message;
    m_processor->Process(client, message);
}

void EchoServer::processBinaryMessage(QByteArray message)
{
    auto* client = qobject_cast<QWebSocket*>(sender());
    if (m_debug)
        qDebug() << "Binary Message received:" << message;
    if (!canBeAnswered(client))
        return;
    client->sendBinaryMessage(message);
    client->flush();
}

void EchoServer::socketDisconnected()
{
    auto* client = qobject_cast<QWebSocket*>(sender());
    if (m_debug)
        qDebug() << "socketDisconnected:" << client;
    if (!client)
        return;
    m_clients.removeAll(client);
    client->deleteLater();
}
