// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/arithmetic_decoder.h"
#include "idimage/photo/photo_tables.h"

#include <array>
#include <cstdint>
#include <vector>

namespace photo {

/// The values in a stream before its coefficients.
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

/// Quantised coefficients of one component, by position in the plane.
struct Coefficients
{
    Plane magnitude = Plane(PlaneSize);
    std::vector<std::uint8_t> negative = std::vector<std::uint8_t>(PlaneSize);
    std::vector<std::uint8_t> unknownBits = std::vector<std::uint8_t>(PlaneSize); ///< not coded
};

using PlaneCoefficients = std::array<Coefficients, Components>;

/// \brief Decodes the coefficient stage of this project's streams, an embedded coding of wavelet
/// coefficients.
///
/// Coefficients are coded by bit planes, from the highest down; in each plane component after
/// component, block after block from the coarsest band to the finest. A block that has no
/// significant coefficient yet starts with one decision: whether it gets one in this bit plane. A
/// coefficient that is not significant yet is coded as 0 or as significant with its sign, one that
/// is significant gets its next bit. The stream may end after any decision; the rest of a
/// coefficient is then estimated.
///
/// \param coded 1 where a coefficient stands (`decomposeMask`)
std::array<Coefficients, Components>
decodeCoefficients(ArithmeticDecoder& decoder, const Plane& coded, const StreamSetup& setup);

} // namespace photo
