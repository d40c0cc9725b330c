// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/holder_photo.h"

#include "files/fixed_file.h"

#include <QBuffer>
#include <QImage>
#include <QString>

#include <algorithm>

namespace {

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

void store(const QString& file, const QImage& photo)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    if (photo.save(&buffer, "BMP"))
        FixedFile::write(file, buffer.data());
}

} // namespace

QImage HolderPhoto::prepareForFace()
{
    const QString file = QString::fromLatin1(path);
    QImage photo = QImage::fromData(FixedFile::read(file))
                       .convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    if (photo.isNull())
        return photo;
    clearNearWhite(photo);
    photo = photo.scaled(faceWidth, faceHeight, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    store(file, photo);
    return photo;
}

void HolderPhoto::clearNearWhite(QImage& photo)
{
    for (int y = 0; y < photo.height(); ++y) {
        uchar* line = photo.scanLine(y);
        uchar* end = line + static_cast<std::ptrdiff_t>(photo.width()) * bytesPerPixel;
        for (uchar* pixel = line; pixel != end; pixel += bytesPerPixel)
            if (isNearWhite(pixel))
                std::fill_n(pixel, bytesPerPixel, uchar{0});
    }
}
