// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/terminal/control_commands.h"

#include <QList>
#include <QObject>
#include <QTimer>
#include <QWebSocketServer>

class QWebSocket;
class QWebSocketCorsAuthenticator;

namespace virtual_desk {

/// \brief The control port: requests of any number of clients on this machine, and events to all of
/// them.
///
/// Pages of other sites are refused by their origin, because any page may connect to a loopback
/// port.
class ControlServer : public QObject
{
    Q_OBJECT

public:
    explicit ControlServer(ControlCommands& commands);
    ~ControlServer() override;

    /// \return an empty text, or why the port cannot be had
    QString listen(quint16 port);

public Q_SLOTS:
    void reportLine(const QString& line, const QString& stream);
    /// Sends the state to every client when it has changed.
    void reportState();

private:
    void accept(QWebSocketServer& server);
    void serve(QWebSocket& client, const QString& text);
    static void checkOrigin(QWebSocketCorsAuthenticator* page);
    void broadcast(const QJsonObject& event);

    ControlCommands& m_commands;
    QWebSocketServer m_ipv4;
    QWebSocketServer m_ipv6;
    QList<QWebSocket*> m_clients; ///< owned
    QTimer m_watch;               ///< for changes that no command made
    QJsonObject m_reported;
};

} // namespace virtual_desk
