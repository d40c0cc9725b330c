// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/stroke.h"

#include "sign/saturated_cast.h"

#include <QLineF>
#include <QPainter>
#include <QPen>

#include <algorithm>
#include <cmath>

namespace {

// Pressure has ten bits.
constexpr double pressureScale = 1.0 / 1024;
// Wider than any canvas, so a wider pen draws the same; keeps the numbers of Qt's rasteriser in
// range.
constexpr int widestPen = 32767;
// Antialiasing and the rasteriser's rounding change pixels a little outside the geometry.
constexpr double margin = 2;
// Qt 5 clips lines at this coordinate by itself; Qt 6 processes every row of a line, also outside
// the canvas.
constexpr double farthest = 32767;

bool isFar(const QPointF& point)
{
    return std::abs(point.x()) > farthest || std::abs(point.y()) > farthest;
}

// Clips a line to a rectangle.
// \return false when no part of it lies inside.
bool cutTo(const QRectF& rectangle, QLineF& line)
{
    double begin = 0;
    double end = 1;
    const auto cut = [&](double start, double length, double low, double high) {
        if (length == 0)
            return start >= low && start <= high;
        const double atLow = (low - start) / length;
        const double atHigh = (high - start) / length;
        begin = std::max(begin, std::min(atLow, atHigh));
        end = std::min(end, std::max(atLow, atHigh));
        return begin <= end;
    };
    if (!cut(line.x1(), line.dx(), rectangle.left(), rectangle.right()) ||
        !cut(line.y1(), line.dy(), rectangle.top(), rectangle.bottom()))
        return false;
    line = QLineF(line.pointAt(begin), line.pointAt(end));
    return true;
}

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
    QLineF line(m_from, m_to);
    const double reach = m_width / 2.0 + margin;
    const QRectF reached = QRectF(canvas.rect()).adjusted(-reach, -reach, reach, reach);
    if ((isFar(m_from) || isFar(m_to)) && !cutTo(reached, line))
        return;
    QPainter painter(&canvas);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.setPen(QPen(m_color, m_width, Qt::SolidLine, Qt::RoundCap));
    if (m_isPoint)
        painter.drawPoint(m_to);
    else
        painter.drawLine(line);
}
