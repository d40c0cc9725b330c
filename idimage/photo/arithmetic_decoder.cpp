// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/arithmetic_decoder.h"

#include "idimage/photo/photo_tables.h"

#include <algorithm>

namespace photo {

namespace {

constexpr std::uint32_t HalfInterval = 0x8000;
constexpr std::uint32_t ByteToStuff = 0xFF;

template <typename Table>
void loadParameters(State& model, const Table& table)
{
    std::copy(table.begin(), table.end(), model.parameters.begin());
}

void moveTo(State& model, size_t context, std::uint8_t index)
{
    model.index[context] = index;
    model.qe[context] = ShiftTb[index].qe;
}

} // namespace

void InitState(State& model, int alphabetSize)
{
    model.moreProbable.fill(0);
    model.index.fill(0);
    model.qe.fill(ShiftTb[0].qe);
    model.weights.fill(1);
    model.parameters.fill(0);
    switch (alphabetSize) {
    case 2:
        loadParameters(model, vl2);
        break;
    case 3:
        loadParameters(model, vl3);
        break;
    case 4:
        loadParameters(model, vl4);
        break;
    case 8:
        loadParameters(model, vl8);
        break;
    default:
        break;
    }
}

void adaptAfterMoreProbable(State& model, int context)
{
    const auto c = static_cast<size_t>(context);
    moveTo(model, c, ShiftTb[model.index[c]].afterMoreProbable);
}

void adaptAfterLessProbable(State& model, int context)
{
    const auto c = static_cast<size_t>(context);
    const ProbabilityState& state = ShiftTb[model.index[c]];
    model.moreProbable[c] = static_cast<std::uint8_t>(model.moreProbable[c] ^ state.switches);
    moveTo(model, c, state.afterLessProbable);
}

ArithmeticDecoder::ArithmeticDecoder(NR payload)
    : m_payload(payload)
{
    m_registers.code = nextByte() << 24;
    m_registers.code |= nextByte() << 16;
}

int ArithmeticDecoder::decision(State& model, int context)
{
    const auto c = static_cast<size_t>(context);
    const std::uint32_t qe = model.qe[c];
    const int moreProbable = model.moreProbable[c];
    Jg& jg = m_registers;

    jg.interval -= qe;
    bool isMoreProbable = true;
    if ((jg.code >> 16) < jg.interval) {
        if (jg.interval >= HalfInterval)
            return moreProbable;
        isMoreProbable = jg.interval >= qe;
    } else {
        // Conditional exchange: the smaller sub-interval belongs to the less probable symbol.
        isMoreProbable = jg.interval < qe;
        jg.code -= jg.interval << 16;
        jg.interval = qe;
    }
    if (isMoreProbable)
        adaptAfterMoreProbable(model, context);
    else
        adaptAfterLessProbable(model, context);
    renormalise();
    return isMoreProbable ? moreProbable : 1 - moreProbable;
}

std::uint32_t ArithmeticDecoder::value(State& model, int bits)
{
    std::uint32_t result = 0;
    for (int i = 0; i < bits; ++i)
        result = result << 1 | static_cast<std::uint32_t>(decision(model, 0));
    return result;
}

std::uint32_t ArithmeticDecoder::nextByte()
{
    int& position = m_registers.position;
    if (position + 1 >= m_payload.length) {
        ++position;
        return 0;
    }
    const auto at = static_cast<size_t>(position);
    const std::uint32_t byte = m_payload.bytes[at];
    if (byte != ByteToStuff) {
        ++position;
        return byte;
    }
    position += 2;
    const std::uint32_t following = m_payload.bytes[at + 1];
    return following == 0 ? ByteToStuff : following;
}

void ArithmeticDecoder::renormalise()
{
    Jg& jg = m_registers;
    while (jg.interval < HalfInterval) {
        if (jg.bitCount == 0) {
            jg.code |= nextByte() << 8;
            jg.bitCount = 8;
        }
        jg.interval <<= 1;
        jg.code <<= 1;
        --jg.bitCount;
    }
}

} // namespace photo
