// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class CTextMessageProcessor;
class QWebSocket;
class QWebSocketServer;

/// \brief The service's one network endpoint: plain WebSockets on all local addresses.
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
    EchoServer(quint16 port, bool debug, QObject* parent = nullptr);
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
    bool listen(quint16 port);

    QWebSocketServer* m_pWebSocketServer;
    QList<QWebSocket*> m_clients; ///< owned, in order of connection
    bool m_debug;
    CTextMessageProcessor* m_processor; ///< shared by all clients; exists until the process ends
};
