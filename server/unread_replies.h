// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

class QWebSocket;

/// Whether another reply can be sent to a client. A null or disconnected client gives false. A
/// client that has left more than 16 MiB of replies unread is disconnected here, because its queue
/// would grow without limit; a single reply may be larger.
bool canBeAnswered(QWebSocket* client);
