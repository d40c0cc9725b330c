// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/arithmetic_decoder.h"

#include <cstdint>
#include <vector>

namespace virtual_desk {

/// \brief The QM encoder of ITU-T T.81, Annex D: what `photo::ArithmeticDecoder` decodes.
class QmEncoder
{
public:
    /// Codes one decision, 0 or 1, in one context of a model.
    void code(photo::State& model, int context, int decision);

    /// Codes a value of \p bits bits, most significant first, every bit in context 0.
    void codeValue(photo::State& model, std::uint32_t value, int bits);

    /// Bytes that a decoder has fetched when it has decoded everything coded so far; a byte 0xFF
    /// with the zero stuffed behind it counts once.
    int bytesFetched() const { return 2 + (m_shifts + 7) / 8; }

    /// Ends the code with as many zero bits as the interval allows.
    /// \return the bytes, without stuffing and without the zeros at the end.
    std::vector<std::uint8_t> finish();

private:
    void renormalise();
    void emitByte();

    std::vector<std::uint8_t> m_bytes;
    std::uint32_t m_interval = 0x10000;
    std::uint32_t m_code = 0;
    int m_bitsToByte = 11;
    int m_shifts = 0;
};

} // namespace virtual_desk
