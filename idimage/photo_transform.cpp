// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo_transform.h"

#include <algorithm>
#include <utility>

namespace photo {

namespace {

// The loops over plain ranges below are what the compiler turns into vector instructions.
bool areZero(const std::int32_t* samples, size_t count)
{
    std::int32_t bits = 0;
    for (size_t i = 0; i < count; ++i) {
        bits |= samples[i];
    }
    return bits == 0;
}

void scale(std::int32_t* samples, size_t count, double factor)
{
    if (areZero(samples, count)) {
        return; // much of the finest detail
    }
    for (size_t i = 0; i < count; ++i) {
        samples[i] = scaled(samples[i], factor);
    }
}

void restoreLow(std::int32_t* low, const std::int32_t* before, const std::int32_t* after,
                size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        low[i] -= (before[i] + after[i] + 2) >> 2;
    }
}

void restoreHigh(std::int32_t* high, const std::int32_t* before, const std::int32_t* after,
                 size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        high[i] += (before[i] + after[i]) >> 1;
    }
}

// Calls step(from, count) for the samples from to to - 1: each alone where other lines' samples lie
// between them, all at once where not.
template <typename Step>
void forRange(const Halves& lines, size_t from, size_t to, Step step)
{
    if (from >= to) {
        return;
    }
    if (lines.stride == lines.width) {
        step(from, (to - from) * lines.width);
        return;
    }
    for (size_t k = from; k < to; ++k) {
        step(k, lines.width);
    }
}

// Objects of a line, and the pairs whose sample was moved.
struct LinePlan
{
    std::vector<std::pair<int, int>> segments; ///< start and length
    std::vector<size_t> moved;
};

LinePlan planOf(const Plane& mask, Corner corner, Line line, int number)
{
    const int m = corner.lengthOf(line);
    const auto in = maskLine(mask, corner, line, number);
    std::array<std::int32_t, PlaneRows> merged{};
    mergeMaskLine(in.data(), merged.data(), m, line);
    LinePlan plan;
    const auto half = static_cast<size_t>(m / 2);
    for (size_t k = 0; k < half; ++k) {
        if (isMovedSample(in[half + k], line)) {
            plan.moved.push_back(k);
        }
    }
    const auto isObject = [](std::int32_t entry) { return entry == 1; };
    const std::int32_t* const begin = merged.data();
    const std::int32_t* const end = begin + m;
    for (const std::int32_t* from = std::find_if(begin, end, isObject); from != end;) {
        const std::int32_t* const to = std::find_if_not(from, end, isObject);
        plan.segments.emplace_back(from - begin, to - from);
        from = std::find_if(to, end, isObject);
    }
    return plan;
}

void restoreLines(const Halves& lines, const LinePlan& plan)
{
    for (const size_t k : plan.moved) {
        std::copy_n(lines.low + k * lines.stride, lines.width, lines.high + k * lines.stride);
        std::fill_n(lines.low + k * lines.stride, lines.width, 0);
    }
    for (const auto& [start, length] : plan.segments) {
        inverseLifting(lines, start, length);
    }
}

void restoreColumns(Plane& plane, Corner corner, LineGroup group, const LinePlan& plan)
{
    restoreLines({&plane[at(0, group.first)], &plane[at(corner.rows / 2, group.first)],
                  PlaneColumns, static_cast<size_t>(group.count)},
                 plan);
}

// The row of a merged corner out of the row where the split has put it.
void restoreRow(Plane& from, Plane& to, Corner corner, int row, const LinePlan& plan)
{
    const int splitRow = row / 2 + (row % 2 == 0 ? 0 : corner.rows / 2);
    const auto half = static_cast<size_t>(corner.columns / 2);
    std::int32_t* low = &from[at(splitRow, 0)];
    std::int32_t* high = low + half;
    restoreLines({low, high, 1, 1}, plan);
    std::int32_t* out = &to[at(row, 0)];
    for (size_t k = 0; k < half; ++k) {
        out[2 * k] = low[k];
        out[2 * k + 1] = high[k];
    }
}

void copyCorner(const Plane& from, Plane& to, Corner corner)
{
    for (int row = 0; row < corner.rows; ++row) {
        std::copy_n(&from[at(row, 0)], corner.columns, &to[at(row, 0)]);
    }
}

} // namespace

void inverseLifting(const Halves& lines, int start, int length)
{
    const size_t end = static_cast<size_t>(start) + static_cast<size_t>(length);
    const auto lowFrom = static_cast<size_t>(start + 1) / 2;
    const size_t lowTo = (end + 1) / 2;
    const auto highFrom = static_cast<size_t>(start) / 2;
    const size_t highTo = end / 2;
    const auto low = [&](size_t k) { return lines.low + k * lines.stride; };
    const auto high = [&](size_t k) { return lines.high + k * lines.stride; };

    if (length == 1) {
        scale(start % 2 == 0 ? low(lowFrom) : high(highFrom), lines.width, LowScale);
        return;
    }
    forRange(lines, lowFrom, lowTo,
             [&](size_t k, size_t count) { scale(low(k), count, LowScale); });
    forRange(lines, highFrom, highTo,
             [&](size_t k, size_t count) { scale(high(k), count, HighScale); });

    // The first and the last sample of a kind have one neighbour where their segment ends.
    const size_t lowInnerFrom = std::max(lowFrom, highFrom + 1);
    const size_t lowInnerTo = std::min(lowTo, highTo);
    if (lowFrom < lowInnerFrom) {
        restoreLow(low(lowFrom), high(lowFrom), high(lowFrom), lines.width);
    }
    forRange(lines, lowInnerFrom, lowInnerTo,
             [&](size_t k, size_t count) { restoreLow(low(k), high(k - 1), high(k), count); });
    if (lowTo > lowInnerTo) {
        restoreLow(low(lowTo - 1), high(lowTo - 2), high(lowTo - 2), lines.width);
    }

    const size_t highInnerFrom = std::max(highFrom, lowFrom);
    const size_t highInnerTo = std::min(highTo, lowTo - 1);
    if (highFrom < highInnerFrom) {
        restoreHigh(high(highFrom), low(highFrom + 1), low(highFrom + 1), lines.width);
    }
    forRange(lines, highInnerFrom, highInnerTo,
             [&](size_t k, size_t count) { restoreHigh(high(k), low(k), low(k + 1), count); });
    if (highTo > highInnerTo) {
        restoreHigh(high(highTo - 1), low(highTo - 1), low(highTo - 1), lines.width);
    }
}

void inverseTransform(std::array<Plane, Components>& planes, const Plane& decomposed, int levels)
{
    Plane mask = decomposed;
    std::array<Plane, Components> merged;
    for (Plane& plane : merged) {
        plane.resize(PlaneSize);
    }
    for (int level = levels; level >= 1; --level) {
        const Corner corner = cornerAt(level);
        const LineGroups columns = equalLines(mask, corner, Line::Column);
        for (const LineGroup group : columns) {
            const LinePlan plan = planOf(mask, corner, Line::Column, group.first);
            for (Plane& plane : planes) {
                restoreColumns(plane, corner, group, plan);
            }
        }
        mergeMask(mask, corner, Line::Column, columns);

        const LineGroups rows = equalLines(mask, corner, Line::Row);
        for (const LineGroup group : rows) {
            const LinePlan plan = planOf(mask, corner, Line::Row, group.first);
            for (size_t c = 0; c < Components; ++c) {
                for (int row = group.first; row < group.first + group.count; ++row) {
                    restoreRow(planes[c], merged[c], corner, row, plan);
                }
            }
        }
        mergeMask(mask, corner, Line::Row, rows);
        for (size_t c = 0; c < Components && level > 1; ++c) {
            copyCorner(merged[c], planes[c], corner);
        }
    }
    planes.swap(merged);
}

} // namespace photo
