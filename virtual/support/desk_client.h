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

/// \brief A web page's side of the service: sends commands and keeps every frame that arrives.
///
/// All waits run the caller's event loop. Their limits are far above what any machine needs.
class DeskClient : public QObject
{
    Q_OBJECT

public:
    DeskClient();

    /// \return false when the service did not take the connection within `timeoutMs`
    bool open(int timeoutMs = 60000, quint16 port = servicePort);
    bool isOpen() const { return m_socket.state() == QAbstractSocket::ConnectedState; }
    bool waitForClosed(int timeoutMs = 60000);
    void close() { m_socket.close(); }
    void abort() { m_socket.abort(); }
    QWebSocketProtocol::CloseCode closeCode() const { return m_socket.closeCode(); }

    void send(const QString& text);
    void sendBinary(const QByteArray& bytes);
    /// Sends the command `function`, with further keys.
    void command(const QString& function, QJsonObject keys = {});

    /// \return the oldest frame not taken yet, or a null text when none came in time
    QString text(int timeoutMs = 60000);
    QByteArray binary(int timeoutMs = 60000);
    /// \return the next text frame as a JSON object; empty when none came or it was not one
    QJsonObject reply(int timeoutMs = 60000);
    /// Sends a command and takes its reply.
    QJsonObject ask(const QString& function, const QJsonObject& keys = {}, int timeoutMs = 60000);

    /// Sends a command. \return its reply in short
    QString asked(const QString& function, const QJsonObject& keys = {});

    /// A reply on one line, "NAME SUCCESS MESSAGE", with " image" where it carries one.
    static QString inShort(const QJsonObject& reply);

    /// Whether nothing arrives for `ms`.
    bool silentFor(int ms);

private:
    QWebSocket m_socket;
    QList<QString> m_texts;
    QList<QByteArray> m_binaries;
};

} // namespace virtual_desk
