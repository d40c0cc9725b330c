// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

/// Sends a close frame of code 1001 (going away) on every connection to \p port of this process,
/// for a process that ends while its GUI thread is blocked: writes to the descriptors and does not
/// touch the QWebSocket objects, which belong to that thread. Does not wait. Any thread.
void sendGoingAway(std::uint16_t port);
