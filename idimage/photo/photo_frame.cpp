// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/photo_frame.h"

#include <algorithm>

namespace photo {

namespace {

bool headerMatches(const unsigned char* block, int length)
{
    constexpr std::array<unsigned char, HeaderBytes> header = {'W',         'L', PhotoWidth, 0,
                                                               PhotoHeight, 0,   HeaderMark};
    return length >= HeaderBytes && std::equal(header.begin(), header.end(), block);
}

std::uint8_t unscrambled(const unsigned char* block, int length, int position)
{
    return position < length ? static_cast<std::uint8_t>(block[position] ^ ScrambleMask) : 0;
}

} // namespace

Result takePayload(const unsigned char* block, int length, FramedPayload& framed)
{
    if (!headerMatches(block, length))
        return HeaderMismatch;
    if (length < PayloadAt)
        return PayloadDoesNotFit;
    std::uint32_t payloadLength = 0;
    for (int i = 0; i < 4; ++i) {
        payloadLength |= static_cast<std::uint32_t>(unscrambled(block, length, LengthAt + i))
                         << (8 * i);
    }
    const auto count = static_cast<std::int32_t>(payloadLength);
    if (count <= 0)
        return BadPayload;
    if (count > std::min(length - PayloadAt, NR::MaximumLength))
        return PayloadDoesNotFit;
    framed.payload = NR();
    framed.payload.length = count;
    for (int i = 0; i < count; ++i)
        framed.payload.bytes[static_cast<size_t>(i)] = unscrambled(block, length, PayloadAt + i);
    const int behind = PayloadAt + count;
    framed.checkSum = static_cast<std::uint16_t>(unscrambled(block, length, behind) |
                                                 unscrambled(block, length, behind + 1) << 8);
    return framed.payload.bytes[0] == FirstPayloadByte ? Success : BadPayload;
}

} // namespace photo
