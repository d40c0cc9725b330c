// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/photo_tables.h"

namespace photo {

std::array<ProbabilityState, ProbabilityStates> ShiftTb;
std::array<std::uint32_t, 8> vl2;
std::array<std::uint32_t, 12> vl3;
std::array<std::uint32_t, 12> vl4;
std::array<std::uint32_t, 12> vl8;
std::array<std::uint8_t, 8> ChTb;
std::array<std::uint8_t, 4> FixNum;
std::array<std::int32_t, PlaneSize> n;
std::array<std::uint8_t, Blocks> x;
std::array<std::uint8_t, Blocks> y;
std::array<std::uint8_t, PlaneSize> r;
std::array<std::uint32_t, FineScales> fix;
std::array<std::uint32_t, Components> fixL;
std::array<std::array<std::uint32_t, Levels + 1>, Components> fixM;
std::array<std::array<std::uint32_t, Levels + 1>, Components> fixS;

namespace {

// Reciprocals of the norms of the inverse transform's basis pictures, in 1024ths; entry 0 is not
// used.
constexpr std::uint32_t ApproximationStep = 1533;
constexpr std::array<std::uint32_t, Levels + 1> DetailSteps = {0, 986, 1286, 1403, 1437};
constexpr std::array<std::uint32_t, Levels + 1> DiagonalSteps = {0, 712, 1111, 1291, 1346};

// Steps of the colour differences over those of luma, in quarters.
constexpr std::uint32_t ColourFactor = 7;

// 2 to the power of i / 16, in 1024ths.
constexpr std::array<std::uint32_t, FineScales> SixteenthOctaves = {
    1024, 1069, 1117, 1166, 1218, 1272, 1328, 1387, 1448, 1512, 1579, 1649, 1722, 1798, 1878, 1961};

constexpr std::uint8_t UnknownPart = 96;

int bandAt(int row, int column)
{
    for (int level = 1; level <= Levels; ++level) {
        const bool right = column >= PlaneColumns >> level;
        const bool lower = row >= PlaneRows >> level;
        if (right || lower) {
            const int orientation = (right ? 1 : 0) + (lower ? 2 : 0);
            return 3 * (Levels - level) + orientation;
        }
    }
    return 0;
}

void fillPositions()
{
    for (int row = 0; row < PlaneRows; ++row) {
        for (int column = 0; column < PlaneColumns; ++column) {
            n[at(row, column)] = row < PhotoHeight && column < PhotoWidth ? 1 : 0;
            r[at(row, column)] = static_cast<std::uint8_t>(bandAt(row, column));
        }
    }
    size_t block = 0;
    for (int band = 0; band < Bands; ++band) {
        for (int row = 0; row < PlaneRows; row += BlockRows) {
            for (int column = 0; column < PlaneColumns; column += BlockColumns) {
                if (r[at(row, column)] == band) {
                    x[block] = static_cast<std::uint8_t>(column);
                    y[block] = static_cast<std::uint8_t>(row);
                    ++block;
                }
            }
        }
    }
}

void fillSteps()
{
    fix = SixteenthOctaves;
    for (size_t component = 0; component < Components; ++component) {
        const std::uint32_t quarters = component == 0 ? 4 : ColourFactor;
        fixL[component] = ApproximationStep * quarters / 4;
        for (size_t level = 0; level <= Levels; ++level) {
            fixM[component][level] = DetailSteps[level] * quarters / 4;
            fixS[component][level] = DiagonalSteps[level] * quarters / 4;
        }
    }
}

} // namespace

void InitData()
{
    ShiftTb = PublishedStates;
    vl2 = {1, 0, 1, 1, 0, 0, 0, 0};
    vl3 = {0, 1, 3};
    vl4 = {0, 1, 2, 4};
    vl8 = {0, 1, 2, 3, 4, 5, 7, 9};
    ChTb = {4, 3, 5, 2, 6, 1, 7, 0};
    FixNum = {0, 0, 0, UnknownPart};
    fillPositions();
    fillSteps();
}

std::uint32_t quantisationStep(size_t component, size_t band, int fineScale)
{
    std::uint32_t step = fixL[component];
    if (band > 0) {
        const size_t level = Levels - (band - 1) / 3;
        step = band % 3 == 0 ? fixS[component][level] : fixM[component][level];
    }
    return step * fix[static_cast<size_t>(fineScale)] >> StepBits;
}

} // namespace photo
