// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

/// Sends a close frame that says that the service goes away on every connection to \p port of this
/// process. It goes below the sockets' objects, which belong to the GUI thread: for a process that
/// ends while that thread is busy. Does not wait. Any thread.
void sendGoingAway(std::uint16_t port);
