// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/cards/photo_coefficient_encoder.h"

#include "idimage/photo/photo_contexts.h"

#include <algorithm>

namespace virtual_desk {

using photo::at;
using photo::Components;

namespace {

class CoefficientEncoder
{
public:
    CoefficientEncoder(QmEncoder& encoder, const photo::PlaneCoefficients& coefficients,
                       const photo::Plane& coded, int fetchable)
        : m_encoder(encoder)
        , m_coefficients(coefficients)
        , m_coded(coded)
        , m_fetchable(fetchable)
    {
    }

    void encodePlane(size_t c, int bit);
    const photo::PlaneCoefficients& known() const { return m_known; }

private:
    bool code(photo::State& model, int context, bool value);
    bool startsBlock(size_t c, size_t block, int bit);
    void encodeBlock(size_t c, size_t block, int bit);
    bool encodeSignificance(size_t c, int row, int column, int bit);
    bool encodeRefinement(size_t c, size_t i, int bit);

    QmEncoder& m_encoder;
    const photo::PlaneCoefficients& m_coefficients;
    const photo::Plane& m_coded;
    int m_fetchable;
    photo::CoefficientModels m_models;
    std::array<photo::CoefficientContexts, Components> m_contexts{photo::CoefficientContexts(0),
                                                                  photo::CoefficientContexts(1),
                                                                  photo::CoefficientContexts(2)};
    photo::PlaneCoefficients m_known;
};

// Returns false when the decision does not fit into the remaining bytes.
bool CoefficientEncoder::code(photo::State& model, int context, bool value)
{
    if (m_encoder.bytesFetched() >= m_fetchable)
        return false;
    m_encoder.code(model, context, value ? 1 : 0);
    return true;
}

void CoefficientEncoder::encodePlane(size_t c, int bit)
{
    for (size_t block = 0; block < photo::Blocks; ++block) {
        if (m_encoder.bytesFetched() >= m_fetchable)
            return;
        if (m_contexts[c].isLive(block) || startsBlock(c, block, bit))
            encodeBlock(c, block, bit);
    }
}

bool CoefficientEncoder::startsBlock(size_t c, size_t block, int bit)
{
    const int top = photo::y[block];
    const int left = photo::x[block];
    bool starts = false;
    for (int row = top; row < top + photo::BlockRows; ++row)
        for (int column = left; column < left + photo::BlockColumns; ++column)
            starts = starts || m_coefficients[c].magnitude[at(row, column)] >> bit != 0;
    if (!code(m_models.block, m_contexts[c].ofBlock(block), starts) || !starts)
        return false;
    m_contexts[c].setLive(block);
    return true;
}

void CoefficientEncoder::encodeBlock(size_t c, size_t block, int bit)
{
    const int top = photo::y[block];
    const int left = photo::x[block];
    for (int row = top; row < top + photo::BlockRows; ++row) {
        for (int column = left; column < left + photo::BlockColumns; ++column) {
            const size_t i = at(row, column);
            if (m_coded[i] != 1)
                continue;
            const bool coded = m_known[c].magnitude[i] != 0
                                   ? encodeRefinement(c, i, bit)
                                   : encodeSignificance(c, row, column, bit);
            if (!coded)
                return;
        }
    }
}

bool CoefficientEncoder::encodeSignificance(size_t c, int row, int column, int bit)
{
    const size_t i = at(row, column);
    photo::State& model = m_models.significance(c);
    const bool significant = (m_coefficients[c].magnitude[i] >> bit & 1) != 0;
    if (!code(model, m_contexts[c].ofSignificance(model, row, column), significant))
        return false;
    if (!significant)
        return true;
    const bool negative = m_coefficients[c].negative[i] != 0;
    const photo::SignContext sign = m_contexts[c].ofSign(row, column);
    if (!code(m_models.sign, sign.context, negative != (sign.predictedNegative != 0)))
        return false;
    m_contexts[c].setSignificant(row, column, negative);
    m_known[c].negative[i] = negative ? 1 : 0;
    m_known[c].magnitude[i] = 1 << bit;
    m_known[c].unknownBits[i] = static_cast<std::uint8_t>(bit);
    return true;
}

bool CoefficientEncoder::encodeRefinement(size_t c, size_t i, int bit)
{
    const bool isFirst = m_known[c].magnitude[i] >> (bit + 1) == 1;
    const int value = m_coefficients[c].magnitude[i] >> bit & 1;
    if (!code(m_models.refinement, m_contexts[c].ofRefinement(isFirst), value != 0))
        return false;
    m_known[c].magnitude[i] |= value << bit;
    m_known[c].unknownBits[i] = static_cast<std::uint8_t>(bit);
    return true;
}

} // namespace

photo::PlaneCoefficients encodeCoefficients(QmEncoder& encoder,
                                            const photo::PlaneCoefficients& coefficients,
                                            const photo::Plane& coded,
                                            const photo::StreamSetup& setup, int fetchable)
{
    CoefficientEncoder coefficientEncoder(encoder, coefficients, coded, fetchable);
    const int planes = *std::max_element(setup.bitPlanes.begin(), setup.bitPlanes.end());
    for (int bit = planes - 1; bit >= 0; --bit) {
        for (size_t c = 0; c < Components; ++c)
            if (setup.bitPlanes[c] > bit)
                coefficientEncoder.encodePlane(c, bit);
    }
    return coefficientEncoder.known();
}

} // namespace virtual_desk
