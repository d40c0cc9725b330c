// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/photo_contexts.h"

#include <algorithm>

namespace photo {

namespace {

constexpr int DirectNeighbourActivity = 2;
constexpr int DiagonalNeighbourActivity = 1;
constexpr int ParentActivity = 2;

// The approximation and the coarsest detail have no parents.
constexpr int LastBandWithoutParents = 3;

bool isInBand(int row, int column, int band)
{
    return row >= 0 && column >= 0 && row < PlaneRows && column < PlaneColumns &&
           r[at(row, column)] == band;
}

} // namespace

CoefficientModels::CoefficientModels()
{
    for (State* model : {&lumaSignificance, &colourSignificance, &sign, &refinement, &block})
        InitState(*model, State::Contexts);
}

CoefficientContexts::CoefficientContexts(size_t component)
    : m_isLuma(component == 0)
    , m_live(PlaneSize)
    , m_activity(PlaneSize)
    , m_sign(PlaneSize)
{
}

bool CoefficientContexts::isLive(size_t block) const
{
    const size_t i = at(y[block], x[block]);
    return r[i] == 0 || m_live[i] != 0;
}

void CoefficientContexts::setLive(size_t block)
{
    m_live[at(y[block], x[block])] = 1;
}

void CoefficientContexts::setSignificant(int row, int column, bool negative)
{
    m_sign[at(row, column)] = negative ? -1 : 1;
    const int band = r[at(row, column)];
    for (int i = row - 1; i <= row + 1; ++i) {
        for (int j = column - 1; j <= column + 1; ++j) {
            if (isInBand(i, j, band)) {
                const bool direct = i == row || j == column;
                std::uint8_t& activity = m_activity[at(i, j)];
                activity = static_cast<std::uint8_t>(
                    activity + (direct ? DirectNeighbourActivity : DiagonalNeighbourActivity));
            }
        }
    }
}

int CoefficientContexts::ofBlock(size_t block) const
{
    const int row = y[block];
    const int column = x[block];
    const int band = r[at(row, column)];
    const int liveAround = int{isLiveAt(row - BlockRows, column, band)} +
                           int{isLiveAt(row + BlockRows, column, band)} +
                           int{isLiveAt(row, column - BlockColumns, band)} +
                           int{isLiveAt(row, column + BlockColumns, band)};
    const int parentRow = row / (2 * BlockRows) * BlockRows;
    const int parentColumn = column / (2 * BlockColumns) * BlockColumns;
    const bool hasLiveParent =
        band <= LastBandWithoutParents || m_live[at(parentRow, parentColumn)] != 0;
    return (hasLiveParent ? 1 + std::min(liveAround, 2) : 0) + (m_isLuma ? 0 : 4);
}

int CoefficientContexts::ofSignificance(const State& model, int row, int column) const
{
    const size_t i = at(row, column);
    const bool hasParent = r[i] > LastBandWithoutParents && m_sign[at(row / 2, column / 2)] != 0;
    const int activity = m_activity[i] + (hasParent ? ParentActivity : 0);
    // The highest context whose least activity is not above the neighbourhood's.
    size_t context = State::Contexts - 1;
    while (context > 0 && static_cast<int>(model.parameters[context]) > activity)
        --context;
    return static_cast<int>(context);
}

SignContext CoefficientContexts::ofSign(int row, int column) const
{
    const int band = r[at(row, column)];
    int beside = std::clamp(signAt(row, column - 1, band) + signAt(row, column + 1, band), -1, 1);
    int above = std::clamp(signAt(row - 1, column, band) + signAt(row + 1, column, band), -1, 1);
    const bool negative = beside < 0 || (beside == 0 && above < 0);
    if (negative) {
        beside = -beside;
        above = -above;
    }
    return {beside == 0 ? above : 3 + above, negative ? 1 : 0};
}

int CoefficientContexts::ofRefinement(bool isFirst) const
{
    return (isFirst ? 1 : 2) + (m_isLuma ? 0 : 3);
}

bool CoefficientContexts::isLiveAt(int row, int column, int band) const
{
    return isInBand(row, column, band) && m_live[at(row, column)] != 0;
}

int CoefficientContexts::signAt(int row, int column, int band) const
{
    return isInBand(row, column, band) ? m_sign[at(row, column)] : 0;
}

} // namespace photo
