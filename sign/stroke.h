// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QColor>
#include <QPixmap>
#include <QRect>

/// \brief A pen sample in canvas coordinates.
struct PenSample
{
    int x = 0;
    int y = 0;
    int pressure = 0;
    int reserved = 0;
};

/// Width of a stroke in pixels from the pressures (0 to 1023) at its ends, truncated. At least 1:
/// every smaller \p penWidth, 0 included, gives one pixel.
int strokeWidth(int lastPressure, int pressure, int penWidth);

/// \brief The stroke between two pen samples: a line with round ends, or a point where the pen is
/// put down.
class Stroke
{
public:
    /// \param color 0xRRGGBB
    Stroke(const PenSample& from, const PenSample& to, int penWidth, unsigned color);

    /// The pixels that `paint` may change on a canvas of that size; empty when the stroke lies
    /// outside.
    QRect bounds(const QSize& canvas) const;

    void paint(QPixmap& canvas) const;

private:
    QPointF m_from;
    QPointF m_to;
    bool m_isPoint;
    int m_width;
    QColor m_color;
};
