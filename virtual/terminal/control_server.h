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

/// \brief The control port: receives requests of the clients on this machine, and sends events to
/// all of them.
///
/// Any web page can connect to a loopback port, so pages of other sites are refused by their
/// origin.
class ControlServer : public QObject
{
    Q_OBJECT

public:
    explicit ControlServer(ControlCommands& commands);
    ~ControlServer() override;

    /// \param port 0 chooses a free one
    /// \return an empty text, or the reason why the port cannot be used
    QString listen(quint16 port);
    quint16 port() const { return m_ipv4.serverPort(); }

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
    QTimer m_watch;               ///< checks for changes that were not made by a command
    QJsonObject m_reported;
};

} // namespace virtual_desk
