// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The yardstick: the least that a Qt WebSockets server with a widget application object can be.

#include <QApplication>
#include <QWebSocket>
#include <QWebSocketServer>

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    QWebSocketServer server(QStringLiteral("bare"), QWebSocketServer::NonSecureMode);
    if (!server.listen(QHostAddress::Any, 12344))
        return 1;
    QObject::connect(&server, &QWebSocketServer::newConnection, &server, [&server] {
        QWebSocket* socket = server.nextPendingConnection();
        QObject::connect(socket, &QWebSocket::textMessageReceived, socket,
                         [socket](const QString& text) { socket->sendTextMessage(text); });
        QObject::connect(socket, &QWebSocket::binaryMessageReceived, socket,
                         [socket](const QByteArray& bytes) { socket->sendBinaryMessage(bytes); });
        QObject::connect(socket, &QWebSocket::disconnected, socket, &QObject::deleteLater);
    });
    return QApplication::exec();
}
