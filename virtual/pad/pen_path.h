// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

#include <vector>

namespace virtual_desk {

/// \brief One pen sample of the pad's sensor.
struct PenPoint
{
    int x = 0; ///< device units
    int y = 0;
    int pressure = 0; ///< 0 (lifted) to 1023
};

/// \brief Converts points on the pad's display to samples of its sensor.
class PadGeometry
{
public:
    /// \param display size of the pad's display in pixels
    explicit PadGeometry(QSize display = QSize(1280, 800))
        : m_display(display)
    {
    }

    /// The centre of a pixel, in coordinates of the display.
    PenPoint at(const QPointF& pixel, int pressure) const;

    /// The pen is put down at a point and lifted again, which presses a button.
    std::vector<PenPoint> tap(const QPointF& pixel) const;

    /// A readable signature, the name 王中, in `area` (pixels of the display) with varying
    /// pressure. Ends with the pen lifted.
    std::vector<PenPoint> signature(const QRectF& area) const;

private:
    QSize m_display;
};

} // namespace virtual_desk
