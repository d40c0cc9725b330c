// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/pad/pen_path.h"

#include <algorithm>
#include <cmath>

namespace virtual_desk {
namespace {

// Ranges of the sensor in device units.
const int sensorWidth = 21692;
const int sensorHeight = 13564;

const int tapPressure = 400;
const int lightestPressure = 300;
const int hardestPressure = 1023;
const int pointsPerStroke = 24;

using Line = std::vector<QPointF>;

// The strokes of 王中 in writing order, on a field of 2 by 1.
const std::vector<Line>& strokes()
{
    static const std::vector<Line> lines = {
        {{0.15, 0.12}, {0.85, 0.08}}, {{0.20, 0.50}, {0.80, 0.46}},
        {{0.50, 0.10}, {0.50, 0.88}}, {{0.08, 0.90}, {0.92, 0.88}},
        {{1.20, 0.28}, {1.24, 0.66}}, {{1.20, 0.28}, {1.82, 0.25}, {1.77, 0.64}},
        {{1.24, 0.64}, {1.77, 0.62}}, {{1.50, 0.02}, {1.50, 0.98}},
    };
    return lines;
}

// The point at `share` (0 to 1) of a stroke, whose segments count as equally long.
QPointF along(const Line& line, double share)
{
    const double position = share * static_cast<double>(line.size() - 1);
    const auto side = std::min(static_cast<std::size_t>(position), line.size() - 2);
    const double part = position - static_cast<double>(side);
    return line[side] + (line[side + 1] - line[side]) * part;
}

} // namespace

PenPoint PadGeometry::at(const QPointF& pixel, int pressure) const
{
    const auto units = [](double coordinate, int range, int pixels) {
        return std::clamp(static_cast<int>((std::floor(coordinate) + 0.5) * range / pixels), 0,
                          0xFFFF);
    };
    return {units(pixel.x(), sensorWidth, m_display.width()),
            units(pixel.y(), sensorHeight, m_display.height()), pressure};
}

std::vector<PenPoint> PadGeometry::tap(const QPointF& pixel) const
{
    return {at(pixel, tapPressure), at(pixel, tapPressure), at(pixel, 0)};
}

std::vector<PenPoint> PadGeometry::signature(const QRectF& area) const
{
    std::vector<PenPoint> points;
    for (const Line& line : strokes()) {
        PenPoint last;
        for (int i = 0; i < pointsPerStroke; ++i) {
            const double share = static_cast<double>(i) / (pointsPerStroke - 1);
            const QPointF place = along(line, share);
            const double weight = std::sin(M_PI * (0.15 + 0.75 * share));
            const int pressure =
                lightestPressure + static_cast<int>((hardestPressure - lightestPressure) * weight);
            last =
                at({area.x() + place.x() / 2 * area.width(), area.y() + place.y() * area.height()},
                   pressure);
            points.push_back(last);
        }
        points.push_back({last.x, last.y, 0});
    }
    return points;
}

} // namespace virtual_desk
