// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QPainter>

class QColor;
class QImage;
class QPixmap;
class QString;

/// \brief Draws texts on one face at the positions of its layout.
///
/// x and y are fractions of the template's width and height; the product is truncated to whole
/// pixels before the offset is added. A text's position is the left end of its baseline.
class FacePainter
{
public:
    explicit FacePainter(QPixmap& face);

    /// \param spacing pixels between two letters, in addition to their own advance
    /// \param weight from 0, thin, to 50, normal
    void setFont(const QString& family, int pointSize, int spacing, int weight = 50);
    void setColour(const QColor& colour);
    void drawText(double x, double y, int offset, const QString& text);
    void drawImage(double x, double y, const QImage& image);

private:
    int left(double x) const;
    int top(double y) const;

    int m_width;
    int m_height;
    QPainter m_painter;
};
