// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/photo_coefficients.h"

#include "idimage/photo/photo_contexts.h"

#include <algorithm>

namespace photo {

namespace {

class CoefficientDecoder
{
public:
    CoefficientDecoder(ArithmeticDecoder& decoder, const Plane& coded, const StreamSetup& setup)
        : m_decoder(decoder)
        , m_coded(coded)
        , m_setup(setup)
        , m_contexts{CoefficientContexts(0), CoefficientContexts(1), CoefficientContexts(2)}
    {
    }

    PlaneCoefficients decode();

private:
    bool decision(State& model, int context, int& value);
    bool becomesLive(size_t c, size_t block);
    void decodeBlock(size_t c, size_t block, int bit);
    bool decodeCoefficient(size_t c, int row, int column, int bit);
    bool decodeSign(size_t c, int row, int column);
    bool refine(size_t c, size_t i, int bit);

    ArithmeticDecoder& m_decoder;
    const Plane& m_coded;
    const StreamSetup& m_setup;
    CoefficientModels m_models;
    std::array<CoefficientContexts, Components> m_contexts;
    PlaneCoefficients m_coefficients;
};

PlaneCoefficients CoefficientDecoder::decode()
{
    const int planes = *std::max_element(m_setup.bitPlanes.begin(), m_setup.bitPlanes.end());
    for (int bit = planes - 1; bit >= 0; --bit) {
        for (size_t c = 0; c < Components; ++c) {
            if (m_setup.bitPlanes[c] <= bit)
                continue;
            for (size_t block = 0; block < Blocks && !m_decoder.exhausted(); ++block)
                if (m_contexts[c].isLive(block) || becomesLive(c, block))
                    decodeBlock(c, block, bit);
        }
    }
    return m_coefficients;
}

// Decodes one decision; returns false when the stream ended before it.
bool CoefficientDecoder::decision(State& model, int context, int& value)
{
    if (m_decoder.exhausted())
        return false;
    value = m_decoder.decision(model, context);
    return true;
}

bool CoefficientDecoder::becomesLive(size_t c, size_t block)
{
    int live = 0;
    if (!decision(m_models.block, m_contexts[c].ofBlock(block), live) || live == 0)
        return false;
    m_contexts[c].setLive(block);
    return true;
}

void CoefficientDecoder::decodeBlock(size_t c, size_t block, int bit)
{
    for (int row = y[block]; row < y[block] + BlockRows; ++row) {
        for (int column = x[block]; column < x[block] + BlockColumns; ++column)
            if (m_coded[at(row, column)] == 1 && !decodeCoefficient(c, row, column, bit))
                return;
    }
}

// Each of the next three returns false when the stream ended.
bool CoefficientDecoder::decodeCoefficient(size_t c, int row, int column, int bit)
{
    const size_t i = at(row, column);
    Coefficients& known = m_coefficients[c];
    if (known.magnitude[i] != 0)
        return refine(c, i, bit);
    State& model = m_models.significance(c);
    int significant = 0;
    if (!decision(model, m_contexts[c].ofSignificance(model, row, column), significant))
        return false;
    if (significant == 0)
        return true;
    if (!decodeSign(c, row, column))
        return false;
    known.magnitude[i] = 1 << bit;
    known.unknownBits[i] = static_cast<std::uint8_t>(bit);
    return true;
}

bool CoefficientDecoder::decodeSign(size_t c, int row, int column)
{
    const auto [context, predictedNegative] = m_contexts[c].ofSign(row, column);
    int differs = 0;
    if (!decision(m_models.sign, context, differs))
        return false;
    const bool negative = differs != predictedNegative;
    m_coefficients[c].negative[at(row, column)] = negative ? 1 : 0;
    m_contexts[c].setSignificant(row, column, negative);
    return true;
}

bool CoefficientDecoder::refine(size_t c, size_t i, int bit)
{
    std::int32_t& magnitude = m_coefficients[c].magnitude[i];
    const bool isFirst = magnitude >> (bit + 1) == 1;
    int value = 0;
    if (!decision(m_models.refinement, m_contexts[c].ofRefinement(isFirst), value))
        return false;
    magnitude |= value << bit;
    m_coefficients[c].unknownBits[i] = static_cast<std::uint8_t>(bit);
    return true;
}

} // namespace

PlaneCoefficients decodeCoefficients(ArithmeticDecoder& decoder, const Plane& coded,
                                     const StreamSetup& setup)
{
    return CoefficientDecoder(decoder, coded, setup).decode();
}

} // namespace photo
