// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/cards/qm_encoder.h"

namespace virtual_desk {

namespace {

constexpr std::uint32_t HalfInterval = 0x8000;
constexpr int ByteShift = 19;
constexpr std::uint32_t BelowByte = (1u << ByteShift) - 1;

} // namespace

void QmEncoder::code(photo::State& model, int context, int decision)
{
    const auto c = static_cast<size_t>(context);
    const std::uint32_t qe = model.qe[c];
    m_interval -= qe;
    const bool moreProbable = decision == model.moreProbable[c];
    if (moreProbable && m_interval >= HalfInterval)
        return;
    // The larger sub-interval belongs to the more probable symbol; the sub-interval of size `qe`
    // lies above.
    const bool takesUpper = moreProbable == (m_interval < qe);
    if (takesUpper) {
        m_code += m_interval;
        m_interval = qe;
    }
    if (moreProbable)
        photo::adaptAfterMoreProbable(model, context);
    else
        photo::adaptAfterLessProbable(model, context);
    renormalise();
}

void QmEncoder::codeValue(photo::State& model, std::uint32_t value, int bits)
{
    for (int bit = bits - 1; bit >= 0; --bit)
        code(model, 0, static_cast<int>(value >> bit & 1));
}

std::vector<std::uint8_t> QmEncoder::finish()
{
    const std::uint32_t lowest = m_code;
    m_code = (lowest + m_interval - 1) & 0xFFFF0000u;
    if (m_code < lowest)
        m_code += HalfInterval;
    m_code <<= m_bitsToByte;
    emitByte();
    m_code <<= 8;
    emitByte();
    while (!m_bytes.empty() && m_bytes.back() == 0)
        m_bytes.pop_back();
    return m_bytes;
}

void QmEncoder::renormalise()
{
    do {
        m_interval <<= 1;
        m_code <<= 1;
        ++m_shifts;
        if (--m_bitsToByte == 0) {
            emitByte();
            m_bitsToByte = 8;
        }
    } while (m_interval < HalfInterval);
}

// A carry is added to the bytes that were already written.
void QmEncoder::emitByte()
{
    const std::uint32_t byte = m_code >> ByteShift;
    if (byte > 0xFF) {
        auto previous = m_bytes.rbegin();
        while (++*previous == 0)
            ++previous;
    }
    m_bytes.push_back(static_cast<std::uint8_t>(byte & 0xFF));
    m_code &= BelowByte;
}

} // namespace virtual_desk
