// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/probability_states.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// \brief The constants of the photo format.
///
/// Given by the format: the sizes, `ShiftTb`, `vl2`, `ChTb`, the first three bytes of `FixNum` and
/// the meaning of `n`. The contents and uses of the other tables are defined by this project.
namespace photo {

constexpr int PhotoWidth = 102;
constexpr int PhotoHeight = 126;
constexpr int PlaneColumns = 112;
constexpr int PlaneRows = 128;
constexpr int PlaneSize = PlaneColumns * PlaneRows;
constexpr int Components = 3; ///< Y, Cb, Cr
constexpr int Levels = 4;     ///< of the mask decomposition, and of our transform

/// One row after the other, `PlaneColumns` entries each.
using Plane = std::vector<std::int32_t>;

/// `PublishedStates`.
extern std::array<ProbabilityState, ProbabilityStates> ShiftTb;

/// The format's parameters of a model with a binary alphabet; without a known use.
extern std::array<std::uint32_t, 8> vl2;
/// The least neighbourhood activity that selects each context of a model with 3, 4 or 8 contexts
/// (defined by this project).
extern std::array<std::uint32_t, 12> vl3;
extern std::array<std::uint32_t, 12> vl4;
extern std::array<std::uint32_t, 12> vl8;
/// Given by the format: the values 0 to 7, outward from the middle; without a known use.
extern std::array<std::uint8_t, 8> ChTb;

/// The numbers of one photo: the background's red, green and blue, written by every decode; then
/// ours, the part of a quantisation step, in 256ths, that is taken for the unknown rest of a
/// coefficient.
extern std::array<std::uint8_t, 4> FixNum;

/// The object mask: one entry for each pixel of a plane, above 0 where the photo is coded. Ours is
/// the whole picture: with the fixed first payload byte the header can express hardly any
/// background colours but blue-greens with a red of 1, which would look wrong on most photos.
extern std::array<std::int32_t, PlaneSize> n;

/// Blocks of coefficients, ours: columns and rows of their first positions in coding order,
/// coarsest band first. The sides divide those of every band.
constexpr int BlockColumns = 7;
constexpr int BlockRows = 8;
constexpr int Blocks = PlaneSize / (BlockColumns * BlockRows);
extern std::array<std::uint8_t, Blocks> x;
extern std::array<std::uint8_t, Blocks> y;
/// The band of each position of a plane, ours: 0 for the coarsest approximation, then three for
/// each level, horizontal detail, vertical detail and both, from level 4 to level 1.
constexpr int Bands = 1 + 3 * Levels;
extern std::array<std::uint8_t, PlaneSize> r;

/// Quantisation steps in 1024ths, ours. `fix` is the fine scale in 16 steps of a sixteenth of an
/// octave. The others compensate for the effect of a band's coefficients on the pixels, and make
/// the steps of the colour differences coarser than those of luma: `fixL` for the coarsest
/// approximation, `fixM` for detail in one direction and `fixS` for detail in both, by component
/// and level (1 is the finest).
constexpr int StepBits = 10;
constexpr int FineScales = 16;
extern std::array<std::uint32_t, FineScales> fix;
extern std::array<std::uint32_t, Components> fixL;
extern std::array<std::array<std::uint32_t, Levels + 1>, Components> fixM;
extern std::array<std::array<std::uint32_t, Levels + 1>, Components> fixS;

/// Fills every table above, the same values every time.
void InitData();

/// Step of a band (see `r`) in 1024ths of a coefficient unit, by component and fine scale.
std::uint32_t quantisationStep(size_t component, size_t band, int fineScale);

/// Index of a pixel or coefficient in a plane.
constexpr size_t at(int row, int column)
{
    return static_cast<size_t>(row) * PlaneColumns + static_cast<size_t>(column);
}

} // namespace photo
