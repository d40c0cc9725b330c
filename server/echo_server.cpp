// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/echo_server.h"

#include "diagnosis/categories.h"
#include "server/accept_gate.h"
#include "server/text_message_processor.h"
#include "server/unread_replies.h"

#include <QApplication>
#include <QDebug>
#include <QTcpSocket>
#include <QWebSocket>
#include <QWebSocketCorsAuthenticator>
#include <QWebSocketServer>

#include <algorithm>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {

// Far above every command, and small enough that echoing a message does not delay the other clients
// noticeably (60 MiB delayed them by five seconds).
constexpr quint64 maxMessageBytes = 8ULL * 1024 * 1024;

constexpr int longestLoggedOrigin = 200; // characters

// Options of the listening socket for which Qt has no setters.
void tuneListeningSocket(int descriptor)
{
    // Accepted sockets inherit this. Without it a reply that is sent in two writes, as those with
    // pictures are, waits some 40 ms for the peer's delayed acknowledgement.
    const int on = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    // A second listen only changes the backlog: with Qt's 50, further connects of a burst are
    // retried by their clients after a second.
    ::listen(descriptor, SOMAXCONN);
}

// The TCP connection of a client; QWebSocket does not give access to it.
const QTcpSocket* connectionOf(const QWebSocket& client, const QWebSocketServer& server)
{
    const QList<QTcpSocket*> all = server.findChildren<QTcpSocket*>();
    const auto found = std::find_if(all.begin(), all.end(), [&client](const QTcpSocket* one) {
        return one->peerPort() == client.peerPort() && one->peerAddress() == client.peerAddress();
    });
    return found == all.end() ? nullptr : *found;
}

} // namespace

EchoServer::EchoServer(quint16 port, bool debug, QObject* parent, const Restrictions& restrictions)
    : QObject(parent)
    , m_pWebSocketServer(newServer())
    , m_debug(debug)
    , m_processor(new CTextMessageProcessor(nullptr, restrictions))
    , m_restrictions(restrictions)
{
    listen(m_pWebSocketServer, restrictions.addresses.value(0, QHostAddress(QHostAddress::Any)),
           port);
    for (const QHostAddress& address : restrictions.addresses.mid(1))
        listen(newServer(), address, port);
}

EchoServer::~EchoServer()
{
    for (QWebSocketServer* server : servers())
        server->close();
    // Deleting a socket emits disconnected(), whose slot would change the list.
    for (QWebSocket* client : qAsConst(m_clients))
        client->disconnect(this);
    qDeleteAll(m_clients);
}

QWebSocketServer* EchoServer::newServer()
{
    return new QWebSocketServer(QStringLiteral("Echo Server"), QWebSocketServer::NonSecureMode,
                                this);
}

QList<QWebSocketServer*> EchoServer::servers() const
{
    return findChildren<QWebSocketServer*>(QString(), Qt::FindDirectChildrenOnly);
}

void EchoServer::listen(QWebSocketServer* server, const QHostAddress& address, quint16 port)
{
    if (!server->listen(address, port)) {
        // Logged only when the settings name the address, or when the category is switched on.
        const auto log = [this]() -> const QLoggingCategory& {
            return m_restrictions.addresses.isEmpty() ? serverLog()
                                                      : *QLoggingCategory::defaultCategory();
        };
        qCWarning(log, "cannot listen on %s: %s", qUtf8Printable(address.toString()),
                  qUtf8Printable(server->errorString()));
        return;
    }
    tuneListeningSocket(static_cast<int>(server->nativeDescriptor()));
    new AcceptGate(server);
    if (m_debug)
        qDebug() << "Echoserver listening on port" << port;
    connect(server, &QWebSocketServer::newConnection, this, &EchoServer::onNewConnection);
    connect(server, &QWebSocketServer::closed, this, &EchoServer::closed);
    connect(server, &QWebSocketServer::acceptError, this, [server] {
        qCWarning(serverLog, "accept: %s", qUtf8Printable(server->errorString()));
    });
    if (!m_restrictions.origins.areOpen())
        connect(server, &QWebSocketServer::originAuthenticationRequired, this,
                &EchoServer::judgeOrigin);
}

void EchoServer::judgeOrigin(QWebSocketCorsAuthenticator* page) const
{
    page->setAllowed(m_restrictions.origins.allow(page->origin()));
    if (!page->allowed()) // QDebug quotes the text and escapes control characters
        qWarning() << "refused a client of the origin" << page->origin().left(longestLoggedOrigin);
}

void EchoServer::endSessions()
{
    for (QWebSocketServer* server : servers())
        server->pauseAccepting();
    for (QWebSocket* client : qAsConst(m_clients)) {
        disconnect(client, &QWebSocket::textMessageReceived, this, nullptr);
        disconnect(client, &QWebSocket::binaryMessageReceived, this, nullptr);
    }
    // The frames that were received and not processed yet.
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    Q_EMIT m_processor->sEndSign();
    QApplication::closeAllWindows();
}

void EchoServer::dismissClients()
{
    const QList<QWebSocket*> clients = m_clients; // closing removes them from m_clients
    for (QWebSocket* client : clients)
        client->close(QWebSocketProtocol::CloseCodeGoingAway);
}

void EchoServer::onNewConnection()
{
    auto* server = qobject_cast<QWebSocketServer*>(sender());
    QWebSocket* socket = server ? server->nextPendingConnection() : nullptr;
    if (!socket)
        return;
    socket->setMaxAllowedIncomingFrameSize(maxMessageBytes);
    socket->setMaxAllowedIncomingMessageSize(maxMessageBytes);
    // Queued: with a direct connection a window's nested event loop would run inside the socket's
    // frame processing, which crashes when that page disconnects meanwhile.
    connect(socket, &QWebSocket::textMessageReceived, this, &EchoServer::processTextMessage,
            Qt::QueuedConnection);
    connect(socket, &QWebSocket::binaryMessageReceived, this, &EchoServer::processBinaryMessage,
            Qt::QueuedConnection);
    connect(socket, &QWebSocket::disconnected, this, &EchoServer::socketDisconnected);
    // Qt answers pings by itself; a client can leave those answers unread too.
    if (const QTcpSocket* connection = connectionOf(*socket, *server))
        connect(connection, &QTcpSocket::readyRead, socket, [socket] { canBeAnswered(socket); });
    m_clients << socket;
    qCInfo(serverLog, "client of the origin \"%s\" from %s",
           qUtf8Printable(socket->origin().left(longestLoggedOrigin)),
           qUtf8Printable(socket->peerAddress().toString()));
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
