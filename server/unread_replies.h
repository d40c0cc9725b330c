// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

class QWebSocket;

/// Whether a client can be sent another reply. One that is gone cannot; one that has left more than
/// 16 MiB of replies unread is disconnected here: what waits for it would grow without limit. A
/// single reply may be larger. \param client may be null
bool canBeAnswered(QWebSocket* client);
