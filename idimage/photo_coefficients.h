// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/arithmetic_decoder.h"
#include "idimage/photo_bands.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// \brief The coefficient stage of this project's streams: an embedded coder of wavelet
/// coefficients.
///
/// Coefficients are coded by bit planes, from the highest down; in each plane component after
/// component, block after block from the coarsest band to the finest. A block that has no
/// significant coefficient yet starts with one decision that says whether it gets one now. A
/// coefficient that is not significant yet is coded as 0 or as significant with its sign, one that
/// is significant gets its next bit. The stream may end after any decision; the rest of a
/// coefficient is then estimated.
namespace photo {

/// What a stream says before its coefficients.
struct StreamSetup
{
    static constexpr std::uint32_t Mark = 0xB38D; ///< 16 bits, first of the set-up values
    static constexpr int MarkBits = 16;
    static constexpr int FineScaleBits = 4;
    static constexpr int MeanBits = 8;
    static constexpr int BitPlanesBits = 4;
    static constexpr int MaximumBitPlanes = 13;

    int fineScale = 0;                       ///< index into `fix`
    std::array<int, Components> mean{};      ///< of each component plane, 0 to 255
    std::array<int, Components> bitPlanes{}; ///< of the largest quantised coefficient, 0 to 13
};

/// Quantised coefficients of the three components, by position in the plane.
struct Coefficients
{
    std::array<Plane, Components> magnitude;
    std::array<std::vector<std::uint8_t>, Components> negative;
    std::array<std::vector<std::uint8_t>, Components> unknownBits; ///< low bits not coded
    /// Positions of the magnitudes above 0, in the order in which a walk came to know them.
    std::array<std::vector<std::uint16_t>, Components> significant;

    Coefficients();
};

/// The adaptive models of the stage.
struct CoefficientModels
{
    std::array<State, 2>
        significance; ///< luma, colour differences; context by neighbourhood activity
    State sign;       ///< context by the signs beside and above
    State refinement; ///< context by component, first or later bit
    State block;      ///< context by component and the blocks around
    /// The context of a significance decision, by the `ContextBits` of the coefficient's cell.
    std::array<std::uint8_t, ContextBits + 1> significanceContexts;

    CoefficientModels();
};

/// Walks over the decisions of a stream in their order. The decoder's coder answers each one; the
/// encoder's codes the true value and answers it, so that both see the same known coefficients and
/// contexts.
///
/// A coder has `bool exhausted() const` and `int decision(State&, int context, int truth)`.
template <typename Coder>
class CoefficientWalk
{
public:
    /// \param coded  1 where a coefficient stands (`decomposeMask`).
    /// \param known  filled with what the decisions say; starts empty.
    /// \param truth  the encoder's coefficients; null in the decoder.
    CoefficientWalk(Coder& coder, const Plane& coded, const StreamSetup& setup, Coefficients& known,
                    const Coefficients* truth);

    /// Goes on until the coder is exhausted or every bit plane is done.
    void run();

private:
    struct BlockState
    {
        bool isLive = false;
        bool hasLiveParent = false;
        std::uint8_t liveAround = 0; ///< live blocks beside, above and below
    };

    struct Component
    {
        std::vector<std::uint8_t> cells; ///< see photo_bands.h
        std::array<BlockState, Blocks> blocks;
    };

    bool becomesLive(size_t c, size_t block, int bit);
    void makeLive(size_t c, size_t number);
    bool blockTruth(size_t c, size_t block, int bit) const;
    void walkBlock(size_t c, size_t number, int bit);
    bool becomesSignificant(size_t c, std::uint8_t cell, size_t i, int bit);
    bool codeSign(size_t c, std::uint8_t* cell, const Band& band, size_t i);
    void refine(size_t c, size_t i, int bit);
    void tellChildren(size_t c, int band, int row, int column);

    Coder& m_coder;
    const StreamSetup& m_setup;
    Coefficients& m_known;
    const Coefficients* m_truth;
    CoefficientModels m_models;
    std::array<Component, Components> m_components;
};

} // namespace photo

#include "idimage/photo_coefficients_walk.h"
