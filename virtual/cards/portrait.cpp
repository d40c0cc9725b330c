// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/cards/portrait.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QRandomGenerator>

#include <array>
#include <cmath>

namespace virtual_desk {

namespace {

// Drawn at four times the size and scaled down, which smooths the edges.
constexpr int Width = 408;
constexpr int Height = 504;
constexpr int Oversampling = 4;
constexpr qreal FaceX = 204;
constexpr qreal FaceY = 220;

struct Holder
{
    QColor background;
    QColor skin;
    QColor hair;
    QColor clothes;
    QColor collar;
    QColor iris;
    qreal faceWidth;
    bool longHair;
    bool glasses;
    quint32 seed;
};

std::array<Holder, Portraits> holders()
{
    return {
        {{QColor(236, 240, 244), QColor(224, 178, 148), QColor(32, 26, 24), QColor(44, 56, 88),
          QColor(240, 240, 244), QColor(50, 34, 24), 92, false, true, 11},
         {QColor(70, 140, 214), QColor(240, 200, 176), QColor(96, 58, 32), QColor(150, 40, 60),
          QColor(236, 220, 200), QColor(60, 110, 90), 84, true, false, 23},
         {QColor(214, 214, 206), QColor(150, 104, 78), QColor(20, 18, 20), QColor(200, 196, 180),
          QColor(60, 84, 70), QColor(36, 24, 18), 96, false, false, 37}}};
}

void drawBackground(QPainter& painter, const Holder& holder)
{
    QRadialGradient light(QPointF(Width * 0.4, Height * 0.3), Height * 0.8);
    light.setColorAt(0, holder.background.lighter(106));
    light.setColorAt(1, holder.background.darker(118));
    painter.fillRect(0, 0, Width, Height, light);
}

void drawClothes(QPainter& painter, const Holder& holder, QRandomGenerator& random)
{
    QPainterPath body;
    body.moveTo(10, Height);
    body.cubicTo(16, 420, 70, 396, 150, 376);
    body.lineTo(258, 376);
    body.cubicTo(338, 396, 392, 420, 398, Height);
    QLinearGradient shade(0, 370, Width, Height);
    shade.setColorAt(0, holder.clothes.lighter(130));
    shade.setColorAt(1, holder.clothes.darker(140));
    painter.fillPath(body, shade);
    painter.save();
    painter.setClipPath(body);
    for (int fold = 0; fold < 26; ++fold) {
        const qreal x = random.bounded(Width);
        const QColor tone =
            fold % 2 == 0 ? holder.clothes.darker(125) : holder.clothes.lighter(120);
        painter.setPen(QPen(tone, 2 + random.bounded(5)));
        painter.drawLine(QPointF(x, 380), QPointF(x + random.bounded(60) - 30, Height));
    }
    painter.restore();
    painter.setPen(Qt::NoPen);
    painter.setBrush(holder.collar);
    painter.drawPolygon(QPolygonF({{150, 374}, {204, 452}, {180, 480}, {128, 392}}));
    painter.drawPolygon(QPolygonF({{258, 374}, {204, 452}, {228, 480}, {280, 392}}));
}

void drawHead(QPainter& painter, const Holder& holder)
{
    painter.setBrush(holder.skin.darker(128));
    painter.drawRoundedRect(QRectF(164, 300, 80, 110), 30, 30);
    QRadialGradient light(QPointF(FaceX - 28, FaceY - 30), 190);
    light.setColorAt(0, holder.skin.lighter(112));
    light.setColorAt(0.6, holder.skin);
    light.setColorAt(1, holder.skin.darker(165));
    painter.setBrush(light);
    for (const int side : {-1, 1})
        painter.drawEllipse(QPointF(FaceX + side * holder.faceWidth, FaceY + 14), 14, 30);
    painter.drawEllipse(QPointF(FaceX, FaceY + 4), holder.faceWidth, 122);
}

void drawEyes(QPainter& painter, const Holder& holder)
{
    for (const int side : {-1, 1}) {
        const QPointF eye(FaceX + side * 36, FaceY - 6);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(246, 244, 240));
        painter.drawEllipse(eye, 18, 9);
        painter.setBrush(holder.iris);
        painter.drawEllipse(eye, 9, 9);
        painter.setBrush(Qt::white);
        painter.drawEllipse(eye + QPointF(-3, -3), 2.5, 2.5);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(holder.hair, 4));
        painter.drawArc(QRectF(eye.x() - 19, eye.y() - 12, 38, 26), 20 * 16, 140 * 16);
        painter.setPen(QPen(holder.hair, 8, Qt::SolidLine, Qt::RoundCap));
        painter.drawArc(QRectF(eye.x() - 24, eye.y() - 34, 48, 30), 30 * 16, 120 * 16);
        if (holder.glasses) {
            painter.setPen(QPen(QColor(40, 40, 46), 5));
            painter.drawRoundedRect(QRectF(eye.x() - 28, eye.y() - 18, 56, 40), 12, 12);
        }
    }
}

void drawNoseAndMouth(QPainter& painter, const Holder& holder)
{
    QPainterPath nose(QPointF(FaceX - 4, FaceY - 4));
    nose.cubicTo(FaceX - 10, FaceY + 30, FaceX - 22, FaceY + 44, FaceX - 12, FaceY + 50);
    nose.cubicTo(FaceX - 4, FaceY + 54, FaceX + 8, FaceY + 54, FaceX + 16, FaceY + 48);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(holder.skin.darker(140), 4, Qt::SolidLine, Qt::RoundCap));
    painter.drawPath(nose);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(176, 84, 80));
    painter.drawEllipse(QPointF(FaceX, FaceY + 78), 34, 9);
    painter.setPen(QPen(QColor(110, 44, 44), 3));
    painter.drawArc(QRectF(FaceX - 36, FaceY + 66, 72, 18), 190 * 16, 160 * 16);
}

void drawHair(QPainter& painter, const Holder& holder, QRandomGenerator& random)
{
    const qreal w = holder.faceWidth;
    QPainterPath hair(QPointF(FaceX - w - 10, FaceY + 6));
    hair.cubicTo(FaceX - w - 26, FaceY - 170, FaceX + w + 26, FaceY - 170, FaceX + w + 10,
                 FaceY + 6);
    hair.cubicTo(FaceX + w - 8, FaceY - 70, FaceX + 30, FaceY - 92, FaceX - 20, FaceY - 84);
    hair.cubicTo(FaceX - w + 20, FaceY - 80, FaceX - w + 4, FaceY - 40, FaceX - w - 10, FaceY + 6);
    if (holder.longHair)
        for (const int side : {-1, 1})
            hair.addRoundedRect(QRectF(FaceX + side * (w + 8) - 24, FaceY - 60, 48, 230), 24, 24);
    hair.setFillRule(Qt::WindingFill);
    painter.fillPath(hair, holder.hair);
    painter.setBrush(Qt::NoBrush);
    painter.save();
    painter.setClipPath(hair);
    for (int strand = 0; strand < 160; ++strand) {
        const qreal angle = 3.3 * (random.generateDouble() - 0.5);
        const QPointF root(FaceX + 10 * std::sin(angle), FaceY - 130);
        const QPointF end(FaceX + 150 * std::sin(angle),
                          FaceY - 40 + 220 * std::abs(std::sin(angle)));
        QPainterPath path(root);
        path.quadTo(QPointF(end.x(), root.y() + 10), end);
        const int tone = 110 + static_cast<int>(random.bounded(90));
        painter.setPen(
            QPen(strand % 3 == 0 ? holder.hair.darker(tone) : holder.hair.lighter(tone), 2));
        painter.drawPath(path);
    }
    painter.restore();
}

// Adds a little noise to every pixel, as a small camera does.
void addGrain(QImage& picture, QRandomGenerator& random)
{
    for (int row = 0; row < picture.height(); ++row) {
        for (int column = 0; column < picture.width(); ++column) {
            const int noise = static_cast<int>(random.bounded(5)) - 2;
            const QRgb rgb = picture.pixel(column, row);
            const auto noisy = [noise](int channel) { return qBound(0, channel + noise, 255); };
            picture.setPixel(column, row,
                             qRgb(noisy(qRed(rgb)), noisy(qGreen(rgb)), noisy(qBlue(rgb))));
        }
    }
}

} // namespace

QImage drawPortrait(int holder)
{
    const Holder features = holders().at(static_cast<size_t>(holder));
    QRandomGenerator random(features.seed);
    QImage picture(Width, Height, QImage::Format_RGB32);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    drawBackground(painter, features);
    painter.setPen(Qt::NoPen);
    drawClothes(painter, features, random);
    drawHead(painter, features);
    drawEyes(painter, features);
    drawNoseAndMouth(painter, features);
    drawHair(painter, features, random);
    painter.end();
    QImage photo = picture.scaled(Width / Oversampling, Height / Oversampling,
                                  Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    addGrain(photo, random);
    return photo;
}

} // namespace virtual_desk
