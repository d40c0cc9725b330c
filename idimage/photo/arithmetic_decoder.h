// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace photo {

/// The payload of a photo block. Passed by value, so that a decoder owns its data.
struct NR
{
    static constexpr int MaximumLength = 1031;

    std::int32_t length = 0;                             ///< 1 to `MaximumLength`
    std::array<std::uint8_t, MaximumLength + 1> bytes{}; ///< the payload, then a zero byte
};

/// One adaptive model of up to eight binary contexts.
struct State
{
    static constexpr int Contexts = 8;

    std::array<std::uint8_t, Contexts> moreProbable; ///< the more probable symbol, 0 or 1
    std::array<std::uint8_t, Contexts> index;        ///< entry of `ShiftTb`
    std::array<std::uint32_t, Contexts> qe;          ///< estimate of the less probable symbol
    std::array<std::uint32_t, Contexts> weights;     ///< 1 each; the format's, without a known use
    /// For the models of 3, 4 and 8 contexts the least neighbourhood activity of each context
    /// (defined by this project).
    std::array<std::uint32_t, 16> parameters;
};

/// Resets a model. An alphabet of 2, 3, 4 or 8 symbols loads `vl2`, `vl3`, `vl4` or `vl8` as the
/// parameters, any other size leaves them cleared.
void InitState(State& model, int alphabetSize);

/// Updates a context after its more or its less probable symbol was coded (ITU-T T.81, D.1.5).
void adaptAfterMoreProbable(State& model, int context);
void adaptAfterLessProbable(State& model, int context);

/// The arithmetic decoder's registers.
struct Jg
{
    std::uint32_t interval = 0x10000;
    std::uint32_t code = 0;
    int bitCount = 0;
    int position = 0; ///< of the next byte of the payload; may be beyond its end
};

/// \brief The QM decoder of ITU-T T.81, Annex D, with the photo format's own byte-in rule.
///
/// The last byte of the payload is never read, 0xFF 0x00 means 0xFF, and the payload is continued
/// with zeros.
class ArithmeticDecoder
{
public:
    explicit ArithmeticDecoder(NR payload);

    /// The next decision in one context of a model, 0 or 1.
    int decision(State& model, int context);

    /// A value of \p bits bits (1 to 32), most significant first, every bit in context 0 of the
    /// model.
    std::uint32_t value(State& model, int bits);

    /// True when the read position has passed the payload.
    bool exhausted() const { return m_registers.position >= m_payload.length; }

    /// True when a byte is left that the decisions so far should have fetched.
    bool hasSurplus() const { return m_registers.position + 1 < m_payload.length; }

private:
    std::uint32_t nextByte();
    void renormalise();

    NR m_payload;
    Jg m_registers;
};

} // namespace photo
