// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo_tables.h"

/// \brief The coefficients as they are while they are coded: one byte, a cell, each.
///
/// Every band has a frame of cells around it, so that a coefficient can look at its neighbours and
/// tell them about itself without asking where its band ends. All blocks of one band stand one row
/// after the other.
namespace photo {

/// What the coding of a coefficient depends on, in the bits of its cell.
enum CellBits : std::uint8_t {
    ActivityBits = 0x0F, ///< significant neighbours: 2 for each beside or above, 1 for diagonal
    SignificantParent = 0x10,
    ContextBits = ActivityBits | SignificantParent,
    Significant = 0x20,
    Negative = 0x40,
    NotCoded = 0x80, ///< outside the object
};

struct Band
{
    int top; ///< of its first row and column in a plane
    int left;
    int blockRows; ///< of blocks, likewise
    int blockColumns;
    int firstBlock; ///< in coding order
    int stride;     ///< cells of a row, the frame's included
    int firstCell;  ///< of the band's first coefficient

    /// Index of a coefficient's cell, by its row and column in the band.
    constexpr size_t cellAt(int row, int column) const
    {
        const int cell = firstCell + row * stride + column;
        return static_cast<size_t>(cell);
    }
    constexpr int blockAt(int row, int column) const
    {
        return firstBlock + row * blockColumns + column;
    }
};

/// One block; its band and its place in the band, counted in blocks.
struct Block
{
    std::uint8_t band;
    std::uint8_t row;
    std::uint8_t column;
};

/// The bands below the finest level have children: four for every coefficient and every block, at
/// twice its row and column in the band three further on. The coarsest approximation has none.
constexpr bool hasChildren(int band)
{
    return band > 0 && band + 3 < Bands;
}

constexpr int Cells = 15768;

struct BandLayout
{
    std::array<Band, Bands> bands{};
    std::array<Block, Blocks> blocks{};
};

/// Where everything is; the same for every photo.
const BandLayout& bandLayout();

/// The cells before anything is coded. \param coded 1 where a coefficient stands (`decomposeMask`).
std::vector<std::uint8_t> freshCells(const Plane& coded);

} // namespace photo
