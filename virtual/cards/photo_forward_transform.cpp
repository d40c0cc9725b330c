// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/cards/photo_forward_transform.h"

#include "idimage/photo/photo_transform.h"

namespace virtual_desk {

using photo::at;
using photo::Line;
using photo::Plane;
using photo::PlaneColumns;
using photo::PlaneRows;

namespace {

// The decoder multiplies by these factors' rounded reciprocals.
constexpr double LowGain = 1 / photo::LowScale;
constexpr double HighGain = 1 / photo::HighScale;

void transformLine(Plane& values, Plane& mask, size_t start, size_t stride, int m, Line line)
{
    std::vector<std::int32_t> samples(static_cast<size_t>(m));
    std::vector<std::int32_t> object(samples.size());
    std::vector<std::int32_t> split(samples.size());
    for (size_t i = 0; i < samples.size(); ++i) {
        samples[i] = values[start + i * stride];
        object[i] = mask[start + i * stride];
    }
    for (int from = 0; from < m;) {
        int to = from;
        while (to < m && object[static_cast<size_t>(to)] == 1)
            ++to;
        if (to > from)
            forwardLifting(&samples[static_cast<size_t>(from)], from, to - from);
        from = to + 1;
    }

    photo::splitMaskLine(object.data(), split.data(), m, line);
    const size_t half = samples.size() / 2;
    for (size_t k = 0; k < half; ++k) {
        const bool moved = photo::isMovedSample(split[half + k], line);
        values[start + k * stride] = samples[moved ? 2 * k + 1 : 2 * k];
        values[start + (half + k) * stride] = moved ? 0 : samples[2 * k + 1];
        mask[start + k * stride] = split[k];
        mask[start + (half + k) * stride] = split[half + k];
    }
}

} // namespace

void forwardLifting(std::int32_t* samples, int start, int length)
{
    if (length == 1) {
        samples[0] = photo::scaled(samples[0], LowGain);
        return;
    }
    const auto before = [samples](int i) { return samples[i > 0 ? i - 1 : 1]; };
    const auto after = [samples, length](int i) {
        return samples[i + 1 < length ? i + 1 : length - 2];
    };
    const int firstLow = start % 2;
    for (int i = 1 - firstLow; i < length; i += 2)
        samples[i] -= (before(i) + after(i)) >> 1;
    for (int i = firstLow; i < length; i += 2)
        samples[i] += (before(i) + after(i) + 2) >> 2;
    for (int i = 0; i < length; ++i)
        samples[i] = photo::scaled(samples[i], (start + i) % 2 == 0 ? LowGain : HighGain);
}

void forwardTransform(Plane& plane, const Plane& mask, int levels)
{
    Plane object = mask;
    for (int level = 1; level <= levels; ++level) {
        const int columns = PlaneColumns >> (level - 1);
        const int rows = PlaneRows >> (level - 1);
        for (int row = 0; row < rows; ++row)
            transformLine(plane, object, at(row, 0), 1, columns, Line::Row);
        for (int column = 0; column < columns; ++column)
            transformLine(plane, object, at(0, column), PlaneColumns, rows, Line::Column);
    }
}

} // namespace virtual_desk
