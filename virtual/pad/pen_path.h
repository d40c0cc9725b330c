// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

#include <vector>

namespace virtual_desk {

/// \brief What the pad's sensor reports of the pen.
struct PenPoint
{
    int x = 0; ///< device units
    int y = 0;
    int pressure = 0; ///< 0 (lifted) to 1023
};

/// \brief Turns places on the pad's display into what its sensor reports for them.
class PadGeometry
{
public:
    /// \param display size of the pad's display in pixels
    explicit PadGeometry(QSize display = QSize(1280, 800))
        : m_display(display)
    {
    }

    /// The middle of a pixel, counted from the display's own corner.
    PenPoint at(const QPointF& pixel, int pressure) const;

    /// The pen comes down on a place and is lifted again: what presses a button.
    std::vector<PenPoint> tap(const QPointF& pixel) const;

    /// A signature that anybody recognises, the name 王中, written into `area` (pixels of the
    /// display) with the pressure of a hand. Ends with the pen lifted.
    std::vector<PenPoint> signature(const QRectF& area) const;

private:
    QSize m_display;
};

} // namespace virtual_desk
