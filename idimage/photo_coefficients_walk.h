// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The body of the walk, included by photo_coefficients.h.

#pragma once

#include <algorithm>

namespace photo {

namespace details {

constexpr int DirectNeighbourActivity = 2;
constexpr int DiagonalNeighbourActivity = 1;

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

inline int signOf(std::uint8_t cell)
{
    if ((cell & Significant) == 0) {
        return 0;
    }
    return (cell & Negative) != 0 ? -1 : 1;
}

inline void addActivity(std::uint8_t& cell, int activity)
{
    cell = static_cast<std::uint8_t>(cell + activity);
}

inline void spreadActivity(std::uint8_t* cell, int stride)
{
    for (const int direct : {-stride, -1, 1, stride}) {
        addActivity(cell[direct], DirectNeighbourActivity);
    }
    for (const int diagonal : {-stride - 1, -stride + 1, stride - 1, stride + 1}) {
        addActivity(cell[diagonal], DiagonalNeighbourActivity);
    }
}

} // namespace details

template <typename Coder>
CoefficientWalk<Coder>::CoefficientWalk(Coder& coder, const Plane& coded, const StreamSetup& setup,
                                        Coefficients& known, const Coefficients* truth)
    : m_coder(coder)
    , m_setup(setup)
    , m_known(known)
    , m_truth(truth)
{
    const std::vector<std::uint8_t> cells = freshCells(coded);
    for (Component& component : m_components) {
        component.cells = cells;
        for (int block = 0; block < Blocks; ++block) {
            const int band = bandLayout().blocks[static_cast<size_t>(block)].band;
            BlockState& state = component.blocks[static_cast<size_t>(block)];
            state.isLive = band == 0;
            state.hasLiveParent = band <= 3; // the approximation's block, which is always live
        }
    }
}

template <typename Coder>
void CoefficientWalk<Coder>::run()
{
    const int planes = *std::max_element(m_setup.bitPlanes.begin(), m_setup.bitPlanes.end());
    for (int bit = planes - 1; bit >= 0; --bit) {
        for (size_t c = 0; c < Components; ++c) {
            if (m_setup.bitPlanes[c] <= bit) {
                continue;
            }
            for (size_t block = 0; block < Blocks && !m_coder.exhausted(); ++block) {
                if (m_components[c].blocks[block].isLive || becomesLive(c, block, bit)) {
                    walkBlock(c, block, bit);
                }
            }
        }
    }
}

template <typename Coder>
bool CoefficientWalk<Coder>::becomesLive(size_t c, size_t block, int bit)
{
    const BlockState& state = m_components[c].blocks[block];
    const int context =
        (state.hasLiveParent ? 1 + std::min<int>(state.liveAround, 2) : 0) + (c == 0 ? 0 : 4);
    const int truth = m_truth != nullptr && blockTruth(c, block, bit) ? 1 : 0;
    if (m_coder.decision(m_models.block, context, truth) == 0) {
        return false;
    }
    makeLive(c, block);
    return true;
}

template <typename Coder>
void CoefficientWalk<Coder>::makeLive(size_t c, size_t number)
{
    auto& states = m_components[c].blocks;
    states[number].isLive = true;
    const Block block = bandLayout().blocks[number];
    const Band& band = bandLayout().bands[block.band];
    const auto tell = [&](int row, int column) {
        if (row >= 0 && column >= 0 && row < band.blockRows && column < band.blockColumns) {
            ++states[static_cast<size_t>(band.blockAt(row, column))].liveAround;
        }
    };
    tell(block.row - 1, block.column);
    tell(block.row + 1, block.column);
    tell(block.row, block.column - 1);
    tell(block.row, block.column + 1);
    if (hasChildren(block.band)) {
        const Band& finer = bandLayout().bands[block.band + 3U];
        for (const int row : {2 * block.row, 2 * block.row + 1}) {
            for (const int column : {2 * block.column, 2 * block.column + 1}) {
                states[static_cast<size_t>(finer.blockAt(row, column))].hasLiveParent = true;
            }
        }
    }
}

template <typename Coder>
bool CoefficientWalk<Coder>::blockTruth(size_t c, size_t block, int bit) const
{
    const Plane& magnitude = m_truth->magnitude[c];
    const int top = y[block];
    const int left = x[block];
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
void CoefficientWalk<Coder>::walkBlock(size_t c, size_t number, int bit)
{
    const Block block = bandLayout().blocks[number];
    const Band& band = bandLayout().bands[block.band];
    for (int row = block.row * BlockRows; row < (block.row + 1) * BlockRows; ++row) {
        const int left = block.column * BlockColumns;
        std::uint8_t* cell = &m_components[c].cells[band.cellAt(row, left)];
        for (int column = left; column < left + BlockColumns; ++column, ++cell) {
            if ((*cell & NotCoded) != 0) {
                continue;
            }
            if (m_coder.exhausted()) {
                return;
            }
            const size_t i = at(band.top + row, band.left + column);
            if ((*cell & Significant) != 0) {
                refine(c, i, bit);
            } else if (becomesSignificant(c, *cell, i, bit) && codeSign(c, cell, band, i)) {
                m_known.significant[c].push_back(static_cast<std::uint16_t>(i));
                m_known.magnitude[c][i] = 1 << bit;
                m_known.unknownBits[c][i] = static_cast<std::uint8_t>(bit);
                details::spreadActivity(cell, band.stride);
                tellChildren(c, block.band, row, column);
            }
        }
    }
}

template <typename Coder>
bool CoefficientWalk<Coder>::becomesSignificant(size_t c, std::uint8_t cell, size_t i, int bit)
{
    const int truth = m_truth != nullptr ? m_truth->magnitude[c][i] >> bit & 1 : 0;
    return m_coder.decision(m_models.significance[c == 0 ? 0 : 1],
                            m_models.significanceContexts[cell & ContextBits], truth) != 0;
}

template <typename Coder>
bool CoefficientWalk<Coder>::codeSign(size_t c, std::uint8_t* cell, const Band& band, size_t i)
{
    if (m_coder.exhausted()) {
        return false;
    }
    const int beside = details::signOf(cell[-1]) + details::signOf(cell[1]);
    const int above = details::signOf(cell[-band.stride]) + details::signOf(cell[band.stride]);
    const auto [context, flip] =
        details::signContext(std::clamp(beside, -1, 1), std::clamp(above, -1, 1));
    const int truth = m_truth != nullptr ? m_truth->negative[c][i] : 0;
    const int negative = m_coder.decision(m_models.sign, context, truth ^ flip) ^ flip;
    m_known.negative[c][i] = static_cast<std::uint8_t>(negative);
    *cell = static_cast<std::uint8_t>(*cell | Significant | (negative != 0 ? Negative : 0));
    return true;
}

template <typename Coder>
void CoefficientWalk<Coder>::refine(size_t c, size_t i, int bit)
{
    std::int32_t& magnitude = m_known.magnitude[c][i];
    const bool first = magnitude >> (bit + 1) == 1;
    const int truth = m_truth != nullptr ? m_truth->magnitude[c][i] >> bit & 1 : 0;
    const int context = (first ? 1 : 2) + (c == 0 ? 0 : 3);
    magnitude |= m_coder.decision(m_models.refinement, context, truth) << bit;
    m_known.unknownBits[c][i] = static_cast<std::uint8_t>(bit);
}

template <typename Coder>
void CoefficientWalk<Coder>::tellChildren(size_t c, int band, int row, int column)
{
    if (!hasChildren(band)) {
        return;
    }
    const Band& finer = bandLayout().bands[static_cast<size_t>(band) + 3];
    std::uint8_t* child = &m_components[c].cells[finer.cellAt(2 * row, 2 * column)];
    for (const int i : {0, 1, finer.stride, finer.stride + 1}) {
        child[i] = static_cast<std::uint8_t>(child[i] | SignificantParent);
    }
}

} // namespace photo
