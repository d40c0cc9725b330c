// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/libwlt.h"
#include "idimage/photo/photo_stream.h"

namespace photo {

// A photo block:
//
//   0        2        4        6     7       11         15              15 + n
//   "W" "L"  width    height   0x32  unused  length n   payload ("o"…)  check sum (ours, 2 bytes)
//
// Numbers are little-endian. Every byte from position 10 on is combined with a mask by
// exclusive-or.
constexpr int BlockBytes = libwlt::BlockBytes;
constexpr std::uint8_t HeaderMark = 0x32;
constexpr int HeaderBytes = 7;
constexpr int ScrambledFrom = 10;
constexpr std::uint8_t ScrambleMask = 0xA7;
constexpr int LengthAt = 11;
constexpr int PayloadAt = 15;
constexpr std::uint8_t FirstPayloadByte = 0x6F;
constexpr int CheckSumBytes = 2;

/// The payload of a block and the check sum behind it; 0 when the block ends before the check sum.
struct FramedPayload
{
    NR payload;
    std::uint16_t checkSum = 0;
};

/// Checks the header and copies the payload of a block of \p length bytes.
/// \return `Success`, `HeaderMismatch`, `PayloadDoesNotFit` or `BadPayload`.
Result takePayload(const unsigned char* block, int length, FramedPayload& framed);

} // namespace photo
