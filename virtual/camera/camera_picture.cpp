// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The pictures of the virtual cameras. They are drawn from shapes: text would need an application
// object and would look different with every font.

#include "virtual/camera/camera_picture.h"

#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>

#include <algorithm>
#include <cstdlib>

namespace virtual_desk {
namespace {

// The scenes are drawn on a canvas of 400 x 300 units and stretched to the picture.
constexpr int canvasWidth = 400;
constexpr int canvasHeight = 300;

// The band's height is this part of the picture's. Its cells from the left: a white one, a black
// one, sixteen bits with the highest first, then the digits.
constexpr int bandShare = 16;
constexpr int cells = 24;
constexpr int bits = 16;
constexpr int digits = 5;

int bandHeight(QSize size)
{
    return std::max(2, size.height() / bandShare);
}

void drawTestCard(QPainter& painter)
{
    const QRgb bars[] = {0xffffff, 0xc0c000, 0x00c0c0, 0x00c000,
                         0xc000c0, 0xc00000, 0x0000c0, 0x101010};
    for (int bar = 0; bar < 8; ++bar) {
        painter.fillRect(bar * canvasWidth / 8, 0, canvasWidth / 8, canvasHeight * 3 / 4,
                         QColor(bars[bar]));
        const int grey = bar * 255 / 7;
        painter.fillRect(bar * canvasWidth / 8, canvasHeight * 3 / 4, canvasWidth / 8,
                         canvasHeight / 4, QColor(grey, grey, grey));
    }
    painter.setPen(QPen(Qt::white, 4));
    painter.drawEllipse(QPoint(200, 160), 110, 110);
}

void drawDocument(QPainter& painter)
{
    painter.fillRect(0, 0, canvasWidth, canvasHeight, QColor(92, 74, 58)); // the desk
    painter.fillRect(60, 24, 280, 270, QColor(248, 246, 238));             // the sheet
    painter.fillRect(130, 40, 140, 12, QColor(30, 30, 40));                // its heading
    for (int line = 0; line < 12; ++line) {
        const int length = line % 4 == 3 ? 120 : 220 - (line * 37) % 30;
        painter.fillRect(85, 70 + line * 14, length, 5, QColor(90, 90, 100));
    }
    painter.setPen(QPen(QColor(40, 60, 160), 2)); // a signature
    QPainterPath name(QPointF(90, 268));
    name.cubicTo(110, 230, 120, 300, 140, 255);
    name.cubicTo(150, 240, 160, 290, 185, 258);
    painter.drawPath(name);
    painter.setPen(QPen(QColor(200, 30, 30), 4)); // a stamp
    painter.drawEllipse(QPoint(270, 240), 34, 34);
    painter.fillRect(250, 236, 40, 8, QColor(200, 30, 30));
}

void drawPortrait(QPainter& painter)
{
    painter.fillRect(0, 0, canvasWidth, canvasHeight, QColor(120, 160, 200));
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(40, 50, 90)); // shoulders
    painter.drawEllipse(QPoint(200, 330), 130, 110);
    painter.setBrush(QColor(224, 180, 150)); // neck and head
    painter.drawRect(178, 190, 44, 50);
    painter.drawEllipse(QPoint(200, 140), 62, 80);
    painter.setBrush(QColor(40, 28, 20)); // hair
    painter.drawChord(136, 52, 128, 110, 0, 180 * 16);
    painter.setBrush(Qt::black); // eyes
    painter.drawEllipse(QPoint(177, 138), 6, 5);
    painter.drawEllipse(QPoint(223, 138), 6, 5);
    painter.setBrush(QColor(170, 70, 70)); // mouth
    painter.drawChord(178, 172, 44, 20, 180 * 16, 180 * 16);
}

// Draws one decimal digit as a seven-segment display does.
void drawDigit(QPainter& painter, const QRect& cell, int digit)
{
    // Top, upper left, upper right, middle, lower left, lower right, bottom: from the lowest bit.
    constexpr int lit[] = {0x77, 0x24, 0x5d, 0x6d, 0x2e, 0x6b, 0x7b, 0x25, 0x7f, 0x6f};
    const int w = cell.width() / 2;
    const int h = cell.height() * 3 / 8;
    const int line = std::max(1, w / 4);
    const int x = cell.x() + w / 2;
    const int y = cell.y() + cell.height() / 8;
    const QRect bars[] = {
        {x, y, w, line},
        {x, y, line, h},
        {x + w - line, y, line, h},
        {x, y + h - line / 2, w, line},
        {x, y + h, line, h},
        {x + w - line, y + h, line, h},
        {x, y + 2 * h - line, w, line},
    };
    for (int bar = 0; bar < 7; ++bar)
        if (((lit[digit] >> bar) & 1) != 0)
            painter.fillRect(bars[bar], Qt::yellow);
}

int lightness(const QImage& picture, int cell)
{
    const int height = bandHeight(picture.size());
    return qGray(picture.pixel((2 * cell + 1) * picture.width() / (2 * cells), height / 2));
}

int clampByte(int value)
{
    return std::clamp(value, 0, 255);
}

} // namespace

QImage drawScene(Scene scene, QSize size)
{
    QImage picture(size, QImage::Format_RGB32);
    picture.fill(Qt::black);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(double(size.width()) / canvasWidth, double(size.height()) / canvasHeight);
    switch (scene) {
    case Scene::TestCard:
        drawTestCard(painter);
        break;
    case Scene::Document:
        drawDocument(painter);
        break;
    case Scene::Portrait:
        drawPortrait(painter);
        break;
    }
    return picture;
}

QImage drawFrameBand(QSize pictureSize, int frame)
{
    const int width = pictureSize.width();
    QImage band(width, bandHeight(pictureSize), QImage::Format_RGB32);
    band.fill(Qt::black);
    QPainter painter(&band);
    const auto cellAt = [&](int cell) {
        const int left = cell * width / cells;
        return QRect(left, 0, (cell + 1) * width / cells - left, band.height());
    };
    painter.fillRect(cellAt(0), Qt::white);
    for (int bit = 0; bit < bits; ++bit)
        if (((frame >> (bits - 1 - bit)) & 1) != 0)
            painter.fillRect(cellAt(2 + bit), Qt::white);
    for (int digit = 0, rest = frame; digit < digits; ++digit, rest /= 10)
        drawDigit(painter, cellAt(cells - 1 - digit), rest % 10);
    return band;
}

int readFrameNumber(const QImage& picture)
{
    if (picture.isNull() || lightness(picture, 0) < 200 || lightness(picture, 1) > 55)
        return -1;
    int frame = 0;
    for (int bit = 0; bit < bits; ++bit)
        frame = frame * 2 + (lightness(picture, 2 + bit) > 127 ? 1 : 0);
    return frame;
}

double sceneDifference(const QImage& picture, const QImage& expected)
{
    const QImage scaled = picture.scaled(expected.size()).convertToFormat(QImage::Format_RGB32);
    const QImage reference = expected.convertToFormat(QImage::Format_RGB32);
    qint64 sum = 0;
    const int first = bandHeight(expected.size()) + 2;
    for (int y = first; y < expected.height(); ++y) {
        for (int x = 0; x < expected.width(); ++x) {
            const QRgb a = scaled.pixel(x, y);
            const QRgb b = reference.pixel(x, y);
            sum += std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) +
                   std::abs(qBlue(a) - qBlue(b));
        }
    }
    return double(sum) / (3.0 * expected.width() * (expected.height() - first));
}

QImage fillSize(const QImage& picture, QSize size)
{
    const QImage scaled =
        picture.scaled(size, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    const QPoint corner((scaled.width() - size.width()) / 2, (scaled.height() - size.height()) / 2);
    return scaled.copy(QRect(corner, size)).convertToFormat(QImage::Format_RGB32);
}

QByteArray pictureNoise(int length)
{
    QByteArray bytes((length + 3) / 4 * 4, Qt::Uninitialized);
    QRandomGenerator(1).fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
    return bytes.left(length);
}

QByteArray packYuyv(const QImage& rows)
{
    QByteArray packed(rows.width() * rows.height() * 2, Qt::Uninitialized);
    char* out = packed.data();
    const auto luma = [](QRgb c) {
        return ((66 * qRed(c) + 129 * qGreen(c) + 25 * qBlue(c) + 128) >> 8) + 16;
    };
    for (int y = 0; y < rows.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(rows.constScanLine(y));
        for (int x = 0; x + 1 < rows.width(); x += 2) {
            const QRgb a = line[x];
            const QRgb b = line[x + 1];
            const int red = (qRed(a) + qRed(b)) / 2;
            const int green = (qGreen(a) + qGreen(b)) / 2;
            const int blue = (qBlue(a) + qBlue(b)) / 2;
            *out++ = static_cast<char>(luma(a));
            *out++ = static_cast<char>(
                clampByte(((-38 * red - 74 * green + 112 * blue + 128) >> 8) + 128));
            *out++ = static_cast<char>(luma(b));
            *out++ = static_cast<char>(
                clampByte(((112 * red - 94 * green - 18 * blue + 128) >> 8) + 128));
        }
    }
    return packed;
}

} // namespace virtual_desk
