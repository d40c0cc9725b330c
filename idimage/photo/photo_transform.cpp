// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/photo_transform.h"

#include <array>

namespace photo {

namespace {

// A copy of one row or column of a plane.
using WorkLine = std::array<std::int32_t, PlaneRows>;

constexpr bool isLowPass(int position)
{
    return position % 2 == 0;
}

// Copies samples from the low and the high half of a line back to their even and odd positions; a
// sample that the split moved into the low half is copied to the odd one.
void mergeSamples(const WorkLine& in, WorkLine& out, const WorkLine& splitMask, int m, Line line)
{
    const auto half = static_cast<size_t>(m / 2);
    for (size_t k = 0; k < half; ++k) {
        const bool moved = isMovedSample(splitMask[half + k], line);
        out[2 * k] = moved ? 0 : in[k];
        out[2 * k + 1] = moved ? in[k] : in[half + k];
    }
}

// Every run of object samples is a segment of its own.
void liftSegments(WorkLine& samples, const WorkLine& mask, int m)
{
    for (int start = 0; start < m;) {
        int end = start;
        while (end < m && mask[static_cast<size_t>(end)] == 1)
            ++end;
        if (end > start)
            inverseLifting(&samples[static_cast<size_t>(start)], start, end - start);
        start = end + 1;
    }
}

// Undoes the transform and the mask's split of one line of m entries, `stride` apart in memory.
void invertLine(std::int32_t* samples, std::int32_t* mask, size_t stride, int m, Line line)
{
    WorkLine coefficients{};
    WorkLine splitMask{};
    for (size_t i = 0; i < static_cast<size_t>(m); ++i) {
        coefficients[i] = samples[i * stride];
        splitMask[i] = mask[i * stride];
    }
    WorkLine restored{};
    WorkLine mergedMask{};
    mergeMaskLine(splitMask.data(), mergedMask.data(), m, line);
    mergeSamples(coefficients, restored, splitMask, m, line);
    liftSegments(restored, mergedMask, m);
    for (size_t i = 0; i < static_cast<size_t>(m); ++i) {
        samples[i * stride] = restored[i];
        mask[i * stride] = mergedMask[i];
    }
}

} // namespace

void inverseLifting(std::int32_t* samples, int start, int length)
{
    if (length == 1) {
        samples[0] = scaled(samples[0], LowScale);
        return;
    }
    for (int i = 0; i < length; ++i)
        samples[i] = scaled(samples[i], isLowPass(start + i) ? LowScale : HighScale);
    const auto before = [samples](int i) { return samples[i > 0 ? i - 1 : 1]; };
    const auto after = [samples, length](int i) {
        return samples[i + 1 < length ? i + 1 : length - 2];
    };
    const int firstLow = isLowPass(start) ? 0 : 1;
    for (int i = firstLow; i < length; i += 2)
        samples[i] -= (before(i) + after(i) + 2) >> 2;
    for (int i = 1 - firstLow; i < length; i += 2)
        samples[i] += (before(i) + after(i)) >> 1;
}

void inverseTransform(Plane& plane, const Plane& decomposed, int levels)
{
    Plane mask = decomposed;
    for (int level = levels; level >= 1; --level) {
        const int columns = PlaneColumns >> (level - 1);
        const int rows = PlaneRows >> (level - 1);
        for (int column = 0; column < columns; ++column)
            invertLine(&plane[at(0, column)], &mask[at(0, column)], PlaneColumns, rows,
                       Line::Column);
        for (int row = 0; row < rows; ++row)
            invertLine(&plane[at(row, 0)], &mask[at(row, 0)], 1, columns, Line::Row);
    }
}

} // namespace photo
