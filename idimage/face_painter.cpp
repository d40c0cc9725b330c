// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/face_painter.h"

#include "toolkit/qt_versions.h"

#include <QFont>
#include <QImage>
#include <QPixmap>
#include <QString>

FacePainter::FacePainter(QPixmap& face)
    : m_width(face.width())
    , m_height(face.height())
    , m_painter(&face)
{
}

void FacePainter::setFont(const QString& family, int pointSize, int spacing, int weight)
{
    QFont font(family, pointSize);
    qt_versions::setFontWeight(font, weight);
    font.setLetterSpacing(QFont::AbsoluteSpacing, spacing);
    m_painter.setFont(font);
}

void FacePainter::setColour(const QColor& colour)
{
    m_painter.setPen(colour);
}

void FacePainter::drawText(double x, double y, int offset, const QString& text)
{
    m_painter.drawText(left(x), top(y) + offset, text);
}

void FacePainter::drawImage(double x, double y, const QImage& image)
{
    m_painter.drawImage(left(x), top(y), image);
}

int FacePainter::left(double x) const
{
    return static_cast<int>(m_width * x);
}

int FacePainter::top(double y) const
{
    return static_cast<int>(m_height * y);
}
