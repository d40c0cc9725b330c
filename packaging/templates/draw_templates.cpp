// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Draws the two card templates that the service paints on: pale paper with fine wave lines, no
// emblem and no symbol of any authority.
//
//     card-templates <folder>     writes front.jpg and back.jpg, 1070 x 675 pixels

#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <cstdio>

namespace {

constexpr int width = 1070;
constexpr int height = 675;
constexpr int jpegQuality = 95;

struct Waves
{
    QColor colour;
    double amplitude; // pixels
    double length;    // pixels
    double drift;     // radians from one line to the next
    int spacing;      // pixels between two lines
};

struct Paper
{
    QColor topLeft;
    QColor bottomRight;
    Waves waves;
    Waves counterWaves;
};

void drawWaves(QPainter& painter, const Waves& waves)
{
    constexpr int step = 4;
    constexpr double fullTurn = 6.283185307179586;
    painter.setPen(QPen(waves.colour, 1.0));
    const int margin = static_cast<int>(waves.amplitude) + waves.spacing;
    double phase = 0;
    for (int y = -margin; y < height + margin; y += waves.spacing) {
        QPainterPath line;
        for (int x = 0; x <= width + step; x += step) {
            const double lift = waves.amplitude * std::sin(x * fullTurn / waves.length + phase);
            if (x == 0)
                line.moveTo(x, y + lift);
            else
                line.lineTo(x, y + lift);
        }
        painter.drawPath(line);
        phase += waves.drift;
    }
}

QImage draw(const Paper& paper)
{
    QImage image(width, height, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient ground(0, 0, width, height);
    ground.setColorAt(0, paper.topLeft);
    ground.setColorAt(1, paper.bottomRight);
    painter.fillRect(image.rect(), ground);
    drawWaves(painter, paper.waves);
    drawWaves(painter, paper.counterWaves);
    return image;
}

bool save(const QImage& image, const QString& file)
{
    if (image.save(file, "JPEG", jpegQuality))
        return true;
    std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2) {
        std::fprintf(stderr, "usage: card-templates <folder>\n");
        return 2;
    }
    const Paper front{QColor(238, 246, 250),
                      QColor(246, 240, 232),
                      {QColor(150, 196, 214, 90), 16, 310, 0.16, 9},
                      {QColor(222, 186, 160, 70), 11, 190, -0.21, 13}};
    const Paper back{QColor(246, 242, 234),
                     QColor(236, 246, 242),
                     {QColor(160, 200, 180, 90), 20, 380, -0.14, 9},
                     {QColor(214, 188, 150, 70), 9, 160, 0.24, 13}};
    const QDir folder(arguments.at(1));
    const bool saved = save(draw(front), folder.filePath(QStringLiteral("front.jpg"))) &&
                       save(draw(back), folder.filePath(QStringLiteral("back.jpg")));
    return saved ? 0 : 1;
}
