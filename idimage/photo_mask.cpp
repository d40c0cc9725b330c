// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo_mask.h"

#include <algorithm>

namespace photo {

namespace {

using MaskLine = std::array<std::int32_t, PlaneRows>;

void moveIsolatedSample(std::int32_t& low, std::int32_t& high, Line line)
{
    if (low == 0) {
        low = 1;
        high = line == Line::Row ? RowMarker : ColumnMarker;
    } else if (line == Line::Column && low == OverMarkerTest) {
        low = 1;
        high = ColumnOverMarker;
    }
}

LineGroups equalRows(const Plane& mask, Corner corner)
{
    LineGroups groups;
    for (int row = 0; row < corner.rows; ++row) {
        const auto line = mask.begin() + static_cast<std::ptrdiff_t>(at(row, 0));
        if (row > 0 && std::equal(line, line + corner.columns, line - PlaneColumns)) {
            ++groups.back().count;
        } else {
            groups.push_back({row, 1});
        }
    }
    return groups;
}

LineGroups equalColumns(const Plane& mask, Corner corner)
{
    std::array<std::int32_t, PlaneColumns> differences{};
    for (int row = 0; row < corner.rows; ++row) {
        const std::int32_t* line = &mask[at(row, 0)];
        for (int column = 1; column < corner.columns; ++column) {
            differences[static_cast<size_t>(column)] |= line[column] ^ line[column - 1];
        }
    }
    LineGroups groups{{0, 1}};
    for (int column = 1; column < corner.columns; ++column) {
        if (differences[static_cast<size_t>(column)] == 0) {
            ++groups.back().count;
        } else {
            groups.push_back({column, 1});
        }
    }
    return groups;
}

void putLines(Plane& mask, Corner corner, Line line, LineGroup group, const MaskLine& values)
{
    if (line == Line::Row) {
        for (int row = group.first; row < group.first + group.count; ++row) {
            std::copy_n(values.begin(), corner.columns, &mask[at(row, 0)]);
        }
        return;
    }
    for (int row = 0; row < corner.rows; ++row) {
        std::fill_n(&mask[at(row, group.first)], group.count, values[static_cast<size_t>(row)]);
    }
}

template <typename Change>
void changeLines(Plane& mask, Corner corner, Line line, const LineGroups& groups, Change change)
{
    MaskLine changed{};
    for (const LineGroup group : groups) {
        const MaskLine values = maskLine(mask, corner, line, group.first);
        change(values.data(), changed.data(), corner.lengthOf(line), line);
        putLines(mask, corner, line, group, changed);
    }
}

} // namespace

Corner cornerAt(int level)
{
    return {PlaneColumns >> (level - 1), PlaneRows >> (level - 1)};
}

LineGroups equalLines(const Plane& mask, Corner corner, Line line)
{
    return line == Line::Row ? equalRows(mask, corner) : equalColumns(mask, corner);
}

std::array<std::int32_t, PlaneRows> maskLine(const Plane& mask, Corner corner, Line line,
                                             int number)
{
    MaskLine values{};
    for (int i = 0; i < corner.lengthOf(line); ++i) {
        values[static_cast<size_t>(i)] = mask[line == Line::Row ? at(number, i) : at(i, number)];
    }
    return values;
}

void splitMaskLine(const std::int32_t* in, std::int32_t* out, int m, Line line)
{
    const std::ptrdiff_t h = m >> 1;
    if (m == 1) {
        out[0] = in[0];
    }
    for (std::ptrdiff_t k = 0; k < h; ++k) {
        out[k] = in[2 * k];
        out[h + k] = in[2 * k + 1];
    }
    for (int p = 0; p < m;) {
        if (in[p] != 1) {
            ++p;
            continue;
        }
        const int start = p;
        while (p < m && in[p] == 1) {
            ++p;
        }
        const int k = start >> 1;
        if (p - start == 1 && k < h) {
            moveIsolatedSample(out[k], out[h + k], line);
        }
    }
}

bool isMovedSample(std::int32_t high, Line line)
{
    return line == Line::Row ? high == RowMarker : high == ColumnMarker || high == ColumnOverMarker;
}

void mergeMaskLine(const std::int32_t* in, std::int32_t* out, int m, Line line)
{
    const std::ptrdiff_t h = m >> 1;
    for (std::ptrdiff_t k = 0; 2 * k + 2 <= m; ++k) {
        const std::int32_t high = in[h + k];
        if (isMovedSample(high, line)) {
            out[2 * k] = high == ColumnOverMarker ? RowMarker : 0;
            out[2 * k + 1] = 1;
        } else {
            out[2 * k] = in[k];
            out[2 * k + 1] = high;
        }
    }
}

void mergeMask(Plane& mask, Corner corner, Line line, const LineGroups& groups)
{
    changeLines(mask, corner, line, groups, mergeMaskLine);
}

Plane objectMask()
{
    Plane mask(PlaneSize);
    std::transform(n.begin(), n.end(), mask.begin(), [](std::int32_t v) { return v > 0 ? 1 : 0; });
    return mask;
}

Plane decomposeMask(const Plane& mask, int levels)
{
    Plane result = mask;
    for (int level = 1; level <= levels; ++level) {
        const Corner corner = cornerAt(level);
        for (const Line line : {Line::Row, Line::Column}) {
            changeLines(result, corner, line, equalLines(result, corner, line), splitMaskLine);
        }
    }
    return result;
}

} // namespace photo
