// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/photo_mask.h"

#include <algorithm>

namespace photo {

namespace {

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

void splitLevel(Plane& mask, int columns, int rows)
{
    Plane line(static_cast<size_t>(std::max(columns, rows)));
    Plane split(line.size());
    for (int row = 0; row < rows; ++row) {
        std::copy_n(&mask[at(row, 0)], columns, line.begin());
        splitMaskLine(line.data(), &mask[at(row, 0)], columns, Line::Row);
    }
    for (int column = 0; column < columns; ++column) {
        for (int row = 0; row < rows; ++row)
            line[static_cast<size_t>(row)] = mask[at(row, column)];
        splitMaskLine(line.data(), split.data(), rows, Line::Column);
        for (int row = 0; row < rows; ++row)
            mask[at(row, column)] = split[static_cast<size_t>(row)];
    }
}

} // namespace

void splitMaskLine(const std::int32_t* in, std::int32_t* out, int m, Line line)
{
    const std::ptrdiff_t h = m >> 1;
    if (m == 1)
        out[0] = in[0];
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
        while (p < m && in[p] == 1)
            ++p;
        const int k = start >> 1;
        if (p - start == 1 && k < h)
            moveIsolatedSample(out[k], out[h + k], line);
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

Plane objectMask()
{
    Plane mask(PlaneSize);
    std::transform(n.begin(), n.end(), mask.begin(), [](std::int32_t v) { return v > 0 ? 1 : 0; });
    return mask;
}

Plane decomposeMask(const Plane& mask, int levels)
{
    Plane result = mask;
    for (int level = 1; level <= levels; ++level)
        splitLevel(result, PlaneColumns >> (level - 1), PlaneRows >> (level - 1));
    return result;
}

} // namespace photo
