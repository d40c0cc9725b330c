// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/support/desk_client.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QThread>
#include <QUrl>

namespace virtual_desk {

namespace {

template <typename Condition>
bool runUntil(Condition condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::usleep(200);
    }
    return true;
}

} // namespace

DeskClient::DeskClient(const QString& origin)
    : m_socket(origin)
{
    connect(&m_socket, &QWebSocket::textMessageReceived, this,
            [this](const QString& text) { m_texts << text; });
    connect(&m_socket, &QWebSocket::binaryMessageReceived, this,
            [this](const QByteArray& bytes) { m_binaries << bytes; });
}

bool DeskClient::open(int timeoutMs, quint16 port)
{
    m_socket.open(QUrl(QStringLiteral("ws://127.0.0.1:%1/").arg(port)));
    return runUntil([this] { return isOpen(); }, timeoutMs);
}

bool DeskClient::waitForClosed(int timeoutMs)
{
    return runUntil([this] { return m_socket.state() == QAbstractSocket::UnconnectedState; },
                    timeoutMs);
}

void DeskClient::send(const QString& text)
{
    m_socket.sendTextMessage(text);
    m_socket.flush();
}

void DeskClient::sendBinary(const QByteArray& bytes)
{
    m_socket.sendBinaryMessage(bytes);
    m_socket.flush();
}

void DeskClient::command(const QString& function, QJsonObject keys)
{
    keys.insert(QStringLiteral("function"), function);
    send(QString::fromUtf8(QJsonDocument(keys).toJson(QJsonDocument::Compact)));
}

QString DeskClient::text(int timeoutMs)
{
    return runUntil([this] { return !m_texts.isEmpty(); }, timeoutMs) ? m_texts.takeFirst()
                                                                      : QString();
}

QByteArray DeskClient::binary(int timeoutMs)
{
    return runUntil([this] { return !m_binaries.isEmpty(); }, timeoutMs) ? m_binaries.takeFirst()
                                                                         : QByteArray();
}

QJsonObject DeskClient::reply(int timeoutMs)
{
    return QJsonDocument::fromJson(text(timeoutMs).toUtf8()).object();
}

QJsonObject DeskClient::ask(const QString& function, const QJsonObject& keys, int timeoutMs)
{
    command(function, keys);
    return reply(timeoutMs);
}

QString DeskClient::asked(const QString& function, const QJsonObject& keys)
{
    return inShort(ask(function, keys));
}

QString DeskClient::inShort(const QJsonObject& reply)
{
    return QStringLiteral("%1 %2 %3%4")
        .arg(reply.value("functionName").toString())
        .arg(reply.value("success").toInt(-999))
        .arg(reply.value("msg").toString(), reply.contains("Base64") ? " image" : "");
}

bool DeskClient::silentFor(int ms)
{
    return !runUntil([this] { return !m_texts.isEmpty() || !m_binaries.isEmpty(); }, ms);
}

} // namespace virtual_desk
