// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <array>

/// Layout of the 32-byte feature reports of the HID identity-card reader.
///
///     command:       kind | 08 00 01 00 | command | check byte, XOR of 1 to 5 | zeros
///     reply:         kind | ? | status | length, low byte first (2) | data (27)
///     continuation:  kind | data (31)
namespace HidReport {

constexpr int reportBytes = 32;
constexpr int commandBytes = 8;
using Report = std::array<unsigned char, reportBytes>;

/// Kinds of a report, its first byte.
constexpr unsigned char single = 0x02; ///< a whole message, or the last report of one
constexpr unsigned char first = 0x82;  ///< one of several

/// Offsets in a reply. A single report's length is its low byte alone; the replies to request and
/// select carry their result there.
constexpr std::size_t status = 2;
constexpr std::size_t lengthLow = 3;
constexpr std::size_t lengthHigh = 4;
constexpr std::size_t replyData = 5;
constexpr std::size_t continuationData = 1;

/// Values of the status.
constexpr unsigned char ready = 0x00;
constexpr unsigned char busy = 0x16;

/// The report of a card command.
constexpr Report command(unsigned char code)
{
    return {single, 0x08, 0x00, 0x01, 0x00, code, static_cast<unsigned char>(0x08 ^ 0x01 ^ code)};
}

} // namespace HidReport
