// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/support/service_process.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QString>
#include <QWebSocket>

namespace virtual_desk {

/// \brief A WebSocket client of the service, as a web page is: sends commands and keeps every frame
/// that arrives.
///
/// All waits run the caller's event loop. Their limits are far longer than a slow machine needs.
class DeskClient : public QObject
{
    Q_OBJECT

public:
    /// \param origin of the page; empty: a program's client, which names none
    explicit DeskClient(const QString& origin = {});

    /// \return false when the connection was not accepted within `timeoutMs`
    bool open(int timeoutMs = 60000, quint16 port = servicePort);
    bool isOpen() const { return m_socket.state() == QAbstractSocket::ConnectedState; }
    bool waitForClosed(int timeoutMs = 60000);
    void close() { m_socket.close(); }
    void abort() { m_socket.abort(); }
    QWebSocketProtocol::CloseCode closeCode() const { return m_socket.closeCode(); }

    void send(const QString& text);
    void sendBinary(const QByteArray& bytes);
    /// Sends the command `function` with further keys.
    void command(const QString& function, QJsonObject keys = {});

    /// \return the oldest frame that was not returned yet, or a null text when none came in time
    QString text(int timeoutMs = 60000);
    QByteArray binary(int timeoutMs = 60000);
    /// \return the next text frame as a JSON object; empty when none came or it was not one
    QJsonObject reply(int timeoutMs = 60000);
    /// Sends a command and returns its reply.
    QJsonObject ask(const QString& function, const QJsonObject& keys = {}, int timeoutMs = 60000);

    /// Sends a command.
    /// \return its reply as one line, see below
    QString asked(const QString& function, const QJsonObject& keys = {});

    /// A reply on one line, "NAME SUCCESS MESSAGE", with " image" when it contains one.
    static QString inShort(const QJsonObject& reply);

    /// \return true when no frame arrives within `ms`
    bool silentFor(int ms);

private:
    QWebSocket m_socket;
    QList<QString> m_texts;
    QList<QByteArray> m_binaries;
};

} // namespace virtual_desk
