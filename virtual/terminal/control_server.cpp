// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/control_server.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QNetworkInterface>
#include <QUrl>
#include <QWebSocket>
#include <QWebSocketCorsAuthenticator>

#include <algorithm>
#include <utility>

namespace virtual_desk {
namespace {

constexpr int watchIntervalMs = 200;
constexpr quint64 longestMessage = 8ULL * 1024 * 1024;

QString compact(const QJsonObject& object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

bool isLoopback(const QString& host)
{
    return host == QLatin1String("localhost") || QHostAddress(host).isLoopback();
}

QJsonObject stateEvent(const QJsonObject& state)
{
    return {{QStringLiteral("event"), QStringLiteral("state")}, {QStringLiteral("state"), state}};
}

} // namespace

ControlServer::ControlServer(ControlCommands& commands)
    : m_commands(commands)
    , m_ipv4(QStringLiteral("virtual-terminal"), QWebSocketServer::NonSecureMode)
    , m_ipv6(QStringLiteral("virtual-terminal"), QWebSocketServer::NonSecureMode)
{
    for (QWebSocketServer* server : {&m_ipv4, &m_ipv6}) {
        connect(server, &QWebSocketServer::originAuthenticationRequired, this,
                &ControlServer::checkOrigin);
        connect(server, &QWebSocketServer::newConnection, this,
                [this, server] { accept(*server); });
    }
    connect(&m_watch, &QTimer::timeout, this, &ControlServer::reportState);
    m_watch.start(watchIntervalMs);
}

ControlServer::~ControlServer()
{
    for (QWebSocket* client : std::as_const(m_clients)) {
        client->disconnect(this);
        delete client;
    }
}

QString ControlServer::listen(quint16 port)
{
    if (!m_ipv4.listen(QHostAddress::LocalHost, port))
        return m_ipv4.errorString();
    // Without IPv6 this is no error. With it the port must be bound too: another program could
    // otherwise receive the connections to "localhost".
    const bool hasIpv6 = QNetworkInterface::allAddresses().contains(QHostAddress::LocalHostIPv6);
    if (hasIpv6 && !m_ipv6.listen(QHostAddress::LocalHostIPv6, m_ipv4.serverPort()))
        return m_ipv6.errorString();
    return {};
}

// Programs send no origin; a page opened from disk sends "null" or "file://".
void ControlServer::checkOrigin(QWebSocketCorsAuthenticator* page)
{
    const QString origin = page->origin();
    const QUrl url(origin);
    page->setAllowed(origin.isEmpty() || origin == QLatin1String("null") ||
                     url.scheme() == QLatin1String("file") || isLoopback(url.host()));
}

void ControlServer::accept(QWebSocketServer& server)
{
    QWebSocket* client = server.nextPendingConnection();
    if (!client)
        return;
    client->setMaxAllowedIncomingFrameSize(longestMessage);
    client->setMaxAllowedIncomingMessageSize(longestMessage);
    connect(client, &QWebSocket::textMessageReceived, this,
            [this, client](const QString& text) { serve(*client, text); });
    connect(client, &QWebSocket::binaryMessageReceived, this, [client] {
        client->close(QWebSocketProtocol::CloseCodeDatatypeNotSupported,
                      QStringLiteral("Requests are text."));
    });
    connect(client, &QWebSocket::disconnected, this, [this, client] {
        m_clients.removeAll(client);
        client->deleteLater();
    });
    m_clients << client;
    client->sendTextMessage(compact(stateEvent(m_commands.state())));
}

void ControlServer::serve(QWebSocket& client, const QString& text)
{
    const QJsonObject reply = m_commands.execute(text);
    reportState(); // before the reply: whoever has it knows the state
    client.sendTextMessage(compact(reply));
}

void ControlServer::reportLine(const QString& line, const QString& stream)
{
    broadcast({{QStringLiteral("event"), QStringLiteral("service")},
               {QStringLiteral("line"), line},
               {QStringLiteral("stream"), stream}});
}

void ControlServer::reportState()
{
    const QJsonObject state = m_commands.state();
    if (state == m_reported)
        return;
    m_reported = state;
    broadcast(stateEvent(state));
}

void ControlServer::broadcast(const QJsonObject& event)
{
    const QString text = compact(event);
    const QList<QWebSocket*> clients = m_clients; // a failed send removes its client from m_clients
    for (QWebSocket* client : clients)
        client->sendTextMessage(text);
}

} // namespace virtual_desk
