// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/unread_replies.h"

#include <QDebug>
#include <QWebSocket>

namespace {

// Chosen here: room for about two of the largest camera pictures as Base64 text.
constexpr qint64 maxUnreadBytes = 16LL * 1024 * 1024;

} // namespace

bool canBeAnswered(QWebSocket* client)
{
    if (!client || client->state() != QAbstractSocket::ConnectedState)
        return false;
    if (client->bytesToWrite() <= maxUnreadBytes)
        return true;
    qWarning("a client that does not read its replies is disconnected");
    client->abort();
    return false;
}
