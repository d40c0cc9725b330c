// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo_transform.h"

namespace photo {

namespace {

using WorkRow = std::array<std::int32_t, PlaneRows>;

constexpr bool isLow(int position)
{
    return position % 2 == 0;
}

// The work rows of one transform, and the way of a line through them: coefficients and mask, every
// `stride` entries from the same place.
class LineInverter
{
public:
    void inverse(std::int32_t* values, std::int32_t* mask, size_t stride, int m, Line line)
    {
        for (size_t i = 0; i < static_cast<size_t>(m); ++i) {
            m_valuesIn[i] = values[i * stride];
            m_maskIn[i] = mask[i * stride];
        }
        mergeMaskLine(m_maskIn.data(), m_maskOut.data(), m, line);
        mergeValues(m, line);
        liftSegments(m);
        for (size_t i = 0; i < static_cast<size_t>(m); ++i) {
            values[i * stride] = m_valuesOut[i];
            mask[i * stride] = m_maskOut[i];
        }
    }

private:
    void liftSegments(int m)
    {
        for (int start = 0; start < m;) {
            int end = start;
            while (end < m && m_maskOut[static_cast<size_t>(end)] == 1) {
                ++end;
            }
            if (end > start) {
                inverseLifting(&m_valuesOut[static_cast<size_t>(start)], start, end - start);
            }
            start = end + 1;
        }
    }

    void mergeValues(int m, Line line)
    {
        const auto h = static_cast<size_t>(m >> 1);
        for (size_t k = 0; k < h; ++k) {
            const bool moved = isMovedSample(m_maskIn[h + k], line);
            m_valuesOut[2 * k] = moved ? 0 : m_valuesIn[k];
            m_valuesOut[2 * k + 1] = moved ? m_valuesIn[k] : m_valuesIn[h + k];
        }
    }

    WorkRow m_valuesIn{};
    WorkRow m_valuesOut{};
    WorkRow m_maskIn{};
    WorkRow m_maskOut{};
};

} // namespace

void inverseLifting(std::int32_t* samples, int start, int length)
{
    if (length == 1) {
        samples[0] = scaled(samples[0], LowScale);
        return;
    }
    for (int i = 0; i < length; ++i) {
        samples[i] = scaled(samples[i], isLow(start + i) ? LowScale : HighScale);
    }
    const auto before = [samples](int i) { return samples[i > 0 ? i - 1 : 1]; };
    const auto after = [samples, length](int i) {
        return samples[i + 1 < length ? i + 1 : length - 2];
    };
    const int firstLow = isLow(start) ? 0 : 1;
    for (int i = firstLow; i < length; i += 2) {
        samples[i] -= (before(i) + after(i) + 2) >> 2;
    }
    for (int i = 1 - firstLow; i < length; i += 2) {
        samples[i] += (before(i) + after(i)) >> 1;
    }
}

void inverseTransform(Plane& plane, const Plane& decomposed, int levels)
{
    Plane mask = decomposed;
    LineInverter inverter;
    for (int level = levels; level >= 1; --level) {
        const int columns = PlaneColumns >> (level - 1);
        const int rows = PlaneRows >> (level - 1);
        for (int column = 0; column < columns; ++column) {
            inverter.inverse(&plane[at(0, column)], &mask[at(0, column)], PlaneColumns, rows,
                             Line::Column);
        }
        for (int row = 0; row < rows; ++row) {
            inverter.inverse(&plane[at(row, 0)], &mask[at(row, 0)], 1, columns, Line::Row);
        }
    }
}

} // namespace photo
