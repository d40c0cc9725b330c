// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/holder_photo.h"

#include "files/fixed_file.h"

#include <QBuffer>
#include <QImage>
#include <QString>

#include <algorithm>

namespace {

constexpr int faceWidth = 307;
constexpr int faceHeight = 378;
constexpr int bytesPerPixel = 4;
constexpr int alphaByte = 3;

bool isNearWhite(const uchar* pixel)
{
    constexpr uchar limit = 240;
    constexpr uchar opaque = 255;
    if (pixel[alphaByte] == opaque)
        return pixel[0] > limit && pixel[1] > limit && pixel[2] > limit;
    const QRgb colour = qUnpremultiply(qRgba(pixel[0], pixel[1], pixel[2], pixel[alphaByte]));
    return qRed(colour) > limit && qGreen(colour) > limit && qBlue(colour) > limit;
}

// A photo without an alpha channel of its own has opaque and cleared pixels only, whose colours
// need no conversion.
void store(const QString& file, const QImage& painted, bool hadAlpha)
{
    const QImage colours(painted.constBits(), painted.width(), painted.height(),
                         painted.bytesPerLine(), QImage::Format_RGB32);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    if ((hadAlpha ? painted : colours).save(&buffer, "BMP"))
        FixedFile::write(file, buffer.data());
}

} // namespace

QImage HolderPhoto::prepareForFace()
{
    const QString file = QString::fromLatin1(path);
    const QImage loaded = QImage::fromData(FixedFile::read(file));
    QImage photo = loaded.convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    if (photo.isNull())
        return photo;
    clearNearWhite(photo);
    // In the painter's own format while it is small.
    photo = photo.convertToFormat(QImage::Format_ARGB32_Premultiplied)
                .scaled(faceWidth, faceHeight, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    store(file, photo, loaded.hasAlphaChannel());
    return photo;
}

void HolderPhoto::clearNearWhite(QImage& photo)
{
    for (int y = 0; y < photo.height(); ++y) {
        uchar* line = photo.scanLine(y);
        uchar* end = line + static_cast<std::ptrdiff_t>(photo.width()) * bytesPerPixel;
        for (uchar* pixel = line; pixel != end; pixel += bytesPerPixel) {
            if (isNearWhite(pixel))
                std::fill_n(pixel, bytesPerPixel, uchar{0});
        }
    }
}
