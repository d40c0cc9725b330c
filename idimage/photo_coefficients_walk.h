// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The body of the walk, included by photo_coefficients.h.

#pragma once

#include <algorithm>
#include <cstdlib>

namespace photo {

namespace details {

constexpr int DirectNeighbourActivity = 2;
constexpr int DiagonalNeighbourActivity = 1;
constexpr int ParentActivity = 2;

/// Context of a neighbourhood: the last one whose least activity is reached.
inline int contextFor(const State& model, int activity)
{
    int context = State::Contexts - 1;
    while (context > 0 &&
           static_cast<int>(model.parameters[static_cast<size_t>(context)]) > activity) {
        --context;
    }
    return context;
}

inline bool isInside(int row, int column)
{
    return row >= 0 && column >= 0 && row < PlaneRows && column < PlaneColumns;
}

/// Context of a sign, and whether the neighbours predict a negative one.
struct SignContext
{
    int context;
    int flip;
};

inline SignContext signContext(int beside, int above)
{
    const int flip = beside < 0 || (beside == 0 && above < 0) ? 1 : 0;
    if (flip != 0) {
        beside = -beside;
        above = -above;
    }
    return {beside == 0 ? above : 3 + above, flip};
}

} // namespace details

template <typename Coder>
CoefficientWalk<Coder>::CoefficientWalk(Coder& coder, const Plane& coded, const StreamSetup& setup,
                                        Coefficients& known, const Coefficients* truth)
    : m_coder(coder)
    , m_coded(coded)
    , m_setup(setup)
    , m_known(known)
    , m_truth(truth)
{
    for (size_t c = 0; c < Components; ++c) {
        m_activity[c].resize(PlaneSize);
        m_live[c].resize(PlaneSize);
        std::fill(m_known.unknownBits[c].begin(), m_known.unknownBits[c].end(),
                  static_cast<std::uint8_t>(m_setup.bitPlanes[c]));
    }
}

template <typename Coder>
void CoefficientWalk<Coder>::run()
{
    const int planes = *std::max_element(m_setup.bitPlanes.begin(), m_setup.bitPlanes.end());
    for (int bit = planes - 1; bit >= 0; --bit) {
        for (int component = 0; component < Components; ++component) {
            if (m_setup.bitPlanes[static_cast<size_t>(component)] <= bit) {
                continue;
            }
            for (int block = 0; block < Blocks && !m_coder.exhausted(); ++block) {
                walkBlock(component, block, bit);
            }
        }
    }
}

template <typename Coder>
bool CoefficientWalk<Coder>::ask(State& model, int context, int truth, int& answer)
{
    if (m_coder.exhausted()) {
        return false;
    }
    answer = m_coder.decision(model, context, truth);
    return true;
}

template <typename Coder>
void CoefficientWalk<Coder>::walkBlock(int component, int block, int bit)
{
    if (!becomesLive(component, block, bit)) {
        return;
    }
    const int top = y[static_cast<size_t>(block)];
    const int left = x[static_cast<size_t>(block)];
    for (int row = top; row < top + BlockRows; ++row) {
        for (int column = left; column < left + BlockColumns; ++column) {
            if (m_coded[at(row, column)] == 1 &&
                !codeCoefficient(static_cast<size_t>(component), row, column, bit)) {
                return;
            }
        }
    }
}

template <typename Coder>
bool CoefficientWalk<Coder>::becomesLive(int component, int block, int bit)
{
    const auto c = static_cast<size_t>(component);
    const int row = y[static_cast<size_t>(block)];
    const int column = x[static_cast<size_t>(block)];
    const size_t i = at(row, column);
    const int band = r[i];
    if (band == 0 || m_live[c][i] != 0) {
        return true;
    }
    int around = 0;
    around += isLive(c, row - BlockRows, column, band) ? 1 : 0;
    around += isLive(c, row + BlockRows, column, band) ? 1 : 0;
    around += isLive(c, row, column - BlockColumns, band) ? 1 : 0;
    around += isLive(c, row, column + BlockColumns, band) ? 1 : 0;
    // The parent of the coarsest detail has the same place in the approximation, and that is always
    // live.
    const int parentRow = row / (2 * BlockRows) * BlockRows;
    const int parentColumn = column / (2 * BlockColumns) * BlockColumns;
    const bool parentLive = band <= 3 || m_live[c][at(parentRow, parentColumn)] != 0;
    const int context = (parentLive ? 1 + std::min(around, 2) : 0) + (c == 0 ? 0 : 4);

    int live = 0;
    const int truth = m_truth != nullptr && blockTruth(component, block, bit) ? 1 : 0;
    if (!ask(m_models.block, context, truth, live)) {
        return false;
    }
    m_live[c][i] = static_cast<std::uint8_t>(live);
    return live != 0;
}

template <typename Coder>
bool CoefficientWalk<Coder>::blockTruth(int component, int block, int bit) const
{
    const Plane& magnitude = m_truth->magnitude[static_cast<size_t>(component)];
    const int top = y[static_cast<size_t>(block)];
    const int left = x[static_cast<size_t>(block)];
    for (int row = top; row < top + BlockRows; ++row) {
        for (int column = left; column < left + BlockColumns; ++column) {
            if (magnitude[at(row, column)] >> bit != 0) {
                return true;
            }
        }
    }
    return false;
}

template <typename Coder>
bool CoefficientWalk<Coder>::codeCoefficient(size_t c, int row, int column, int bit)
{
    const size_t i = at(row, column);
    if (m_known.magnitude[c][i] != 0) {
        return refine(c, i, bit);
    }
    State& model = m_models.significance[c == 0 ? 0 : 1];
    const int context = details::contextFor(model, activity(c, row, column));
    const int truth = m_truth != nullptr ? m_truth->magnitude[c][i] >> bit & 1 : 0;
    int significant = 0;
    if (!ask(model, context, truth, significant)) {
        return false;
    }
    if (significant != 0) {
        if (!codeSign(c, row, column, i)) {
            return false;
        }
        m_known.magnitude[c][i] = 1 << bit;
        spreadActivity(c, row, column);
    }
    m_known.unknownBits[c][i] = static_cast<std::uint8_t>(bit);
    return true;
}

template <typename Coder>
bool CoefficientWalk<Coder>::codeSign(size_t c, int row, int column, size_t i)
{
    const int band = r[i];
    const int beside = signOf(c, row, column - 1, band) + signOf(c, row, column + 1, band);
    const int above = signOf(c, row - 1, column, band) + signOf(c, row + 1, column, band);
    const auto [context, flip] =
        details::signContext(std::clamp(beside, -1, 1), std::clamp(above, -1, 1));
    const int truth = m_truth != nullptr ? m_truth->negative[c][i] : 0;
    int answer = 0;
    if (!ask(m_models.sign, context, truth ^ flip, answer)) {
        return false;
    }
    m_known.negative[c][i] = static_cast<std::uint8_t>(answer ^ flip);
    return true;
}

template <typename Coder>
bool CoefficientWalk<Coder>::refine(size_t c, size_t i, int bit)
{
    std::int32_t& magnitude = m_known.magnitude[c][i];
    const bool first = magnitude >> (bit + 1) == 1;
    const int context = (first ? (m_activity[c][i] != 0 ? 1 : 0) : 2) + (c == 0 ? 0 : 3);
    const int truth = m_truth != nullptr ? m_truth->magnitude[c][i] >> bit & 1 : 0;
    int answer = 0;
    if (!ask(m_models.refinement, context, truth, answer)) {
        return false;
    }
    magnitude |= answer << bit;
    m_known.unknownBits[c][i] = static_cast<std::uint8_t>(bit);
    return true;
}

template <typename Coder>
void CoefficientWalk<Coder>::spreadActivity(size_t c, int row, int column)
{
    const int band = r[at(row, column)];
    for (int i = row - 1; i <= row + 1; ++i) {
        for (int j = column - 1; j <= column + 1; ++j) {
            if (details::isInside(i, j) && r[at(i, j)] == band) {
                const bool direct = i == row || j == column;
                std::uint8_t& active = m_activity[c][at(i, j)];
                active = static_cast<std::uint8_t>(active +
                                                   (direct ? details::DirectNeighbourActivity
                                                           : details::DiagonalNeighbourActivity));
            }
        }
    }
}

template <typename Coder>
int CoefficientWalk<Coder>::activity(size_t c, int row, int column) const
{
    const size_t i = at(row, column);
    const bool hasParent = r[i] > 3;
    const bool parent = hasParent && m_known.magnitude[c][at(row / 2, column / 2)] != 0;
    return m_activity[c][i] + (parent ? details::ParentActivity : 0);
}

template <typename Coder>
int CoefficientWalk<Coder>::signOf(size_t c, int row, int column, int band) const
{
    if (!details::isInside(row, column) || r[at(row, column)] != band ||
        m_known.magnitude[c][at(row, column)] == 0) {
        return 0;
    }
    return m_known.negative[c][at(row, column)] != 0 ? -1 : 1;
}

template <typename Coder>
bool CoefficientWalk<Coder>::isLive(size_t c, int row, int column, int band) const
{
    return details::isInside(row, column) && r[at(row, column)] == band &&
           m_live[c][at(row, column)] != 0;
}

} // namespace photo
