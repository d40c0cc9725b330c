// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo_bands.h"

namespace photo {

namespace {

constexpr BandLayout findLayout()
{
    BandLayout layout;
    int cell = 0;
    int block = 0;
    for (int index = 0; index < Bands; ++index) {
        const int level = index == 0 ? Levels : Levels - (index - 1) / 3;
        const int orientation = index == 0 ? 0 : (index - 1) % 3 + 1;
        const int rows = PlaneRows >> level;
        const int columns = PlaneColumns >> level;
        Band& band = layout.bands[static_cast<size_t>(index)];
        band.top = (orientation & 2) != 0 ? rows : 0;
        band.left = (orientation & 1) != 0 ? columns : 0;
        band.blockRows = rows / BlockRows;
        band.blockColumns = columns / BlockColumns;
        band.firstBlock = block;
        band.stride = columns + 2;
        band.firstCell = cell + band.stride + 1;
        cell += (rows + 2) * band.stride;
        for (int i = 0; i < band.blockRows * band.blockColumns; ++i, ++block) {
            layout.blocks[static_cast<size_t>(block)] = {
                static_cast<std::uint8_t>(index), static_cast<std::uint8_t>(i / band.blockColumns),
                static_cast<std::uint8_t>(i % band.blockColumns)};
        }
    }
    return layout;
}

constexpr BandLayout Layout = findLayout();

constexpr const Band& LastBand = Layout.bands[Bands - 1];
static_assert(LastBand.firstCell - LastBand.stride - 1 +
                  (LastBand.blockRows * BlockRows + 2) * LastBand.stride ==
              Cells);
static_assert(LastBand.blockAt(LastBand.blockRows - 1, LastBand.blockColumns - 1) == Blocks - 1);

} // namespace

const BandLayout& bandLayout()
{
    return Layout;
}

std::vector<std::uint8_t> freshCells(const Plane& coded)
{
    std::vector<std::uint8_t> cells(Cells, NotCoded);
    for (const Band& band : Layout.bands) {
        const int columns = band.blockColumns * BlockColumns;
        for (int row = 0; row < band.blockRows * BlockRows; ++row) {
            const std::int32_t* from = &coded[at(band.top + row, band.left)];
            std::uint8_t* to = &cells[band.cellAt(row, 0)];
            for (int column = 0; column < columns; ++column) {
                to[column] = from[column] == 1 ? std::uint8_t{0} : std::uint8_t{NotCoded};
            }
        }
    }
    return cells;
}

} // namespace photo
