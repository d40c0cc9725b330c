// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/stroke.h"

#include "sign/saturated_cast.h"

#include <QPainter>
#include <QPen>

#include <algorithm>

namespace {

// Pressure has ten bits.
constexpr double pressureScale = 1.0 / 1024;
// Wider than any canvas: such a pen covers all that it touches, and the rasteriser's numbers stay
// small.
constexpr int widestPen = 32767;
// Antialiasing and the rounding of the rasteriser reach a little beyond the geometry.
constexpr double margin = 2;

} // namespace

int strokeWidth(int lastPressure, int pressure, int penWidth)
{
    const int sum = lastPressure + pressure;
    const int width = saturatedInt((sum * 0.5 + 1.0) * pressureScale * penWidth);
    return std::clamp(width, 0, widestPen);
}

Stroke::Stroke(const PenSample& from, const PenSample& to, int penWidth, unsigned color)
    : m_from(from.x, from.y)
    , m_to(to.x, to.y)
    , m_isPoint(from.pressure == 0)
    , m_width(strokeWidth(from.pressure, to.pressure, penWidth))
    , m_color(QColor::fromRgb(color))
{
}

QRect Stroke::bounds(const QSize& canvas) const
{
    const QPointF from = m_isPoint ? m_to : m_from;
    const double reach = m_width / 2.0 + margin;
    const QRectF mark = QRectF(from, m_to).normalized().adjusted(-reach, -reach, reach, reach);
    return mark.intersected(QRectF(QPointF(0, 0), QSizeF(canvas))).toAlignedRect();
}

void Stroke::paint(QPixmap& canvas) const
{
    QPainter painter(&canvas);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.setPen(QPen(m_color, m_width, Qt::SolidLine, Qt::RoundCap));
    if (m_isPoint)
        painter.drawPoint(m_to);
    else
        painter.drawLine(m_from, m_to);
}
