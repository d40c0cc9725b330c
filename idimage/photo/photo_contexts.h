// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/arithmetic_decoder.h"
#include "idimage/photo/photo_tables.h"

#include <array>
#include <cstdint>
#include <vector>

namespace photo {

/// The adaptive models of the coefficient stage.
struct CoefficientModels
{
    State lumaSignificance; ///< of both: context by the significant neighbours
    State colourSignificance;
    State sign;       ///< context by the signs beside and above
    State refinement; ///< context by component, first or later bit
    State block;      ///< context by component and the blocks around

    CoefficientModels();

    State& significance(size_t component)
    {
        return component == 0 ? lumaSignificance : colourSignificance;
    }
};

/// Context of a sign; the decision says whether the sign differs from the predicted one.
struct SignContext
{
    int context;
    int predictedNegative; ///< 0 or 1
};

/// \brief The contexts of one component's decisions, from the state of the neighbouring blocks and
/// coefficients.
///
/// Neighbours count only within a coefficient's own band. The parent of a coefficient or block
/// stands at half its row and column in the next coarser band of the same orientation.
class CoefficientContexts
{
public:
    explicit CoefficientContexts(size_t component);

    /// True for a block that has a significant coefficient, and for those of the approximation.
    bool isLive(size_t block) const;
    void setLive(size_t block);
    void setSignificant(int row, int column, bool negative);

    int ofBlock(size_t block) const;
    int ofSignificance(const State& model, int row, int column) const;
    SignContext ofSign(int row, int column) const;
    /// \param isFirst the first bit after the one that made the coefficient significant
    int ofRefinement(bool isFirst) const;

private:
    bool isLiveAt(int row, int column, int band) const;
    int signAt(int row, int column, int band) const;

    bool m_isLuma;
    std::vector<std::uint8_t> m_live;     ///< 1 at a live block's first position
    std::vector<std::uint8_t> m_activity; ///< weighed count of significant neighbours
    std::vector<std::int8_t> m_sign;      ///< of a significant coefficient 1 or -1, else 0
};

} // namespace photo
