// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Reading the templates and writing the painted faces as JPEG files.

#include "files/fixed_file.h"
#include "idimage/card_faces.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QPixmap>

namespace {

// Not QPixmap::load, whose cache would return the old picture of a template that was changed within
// the same second.
QPixmap loadTemplate(const QString& path)
{
    return QPixmap::fromImage(QImage::fromData(FixedFile::read(path)));
}

void writeFace(const QPixmap& face, const QString& path)
{
    QBuffer jpeg;
    jpeg.open(QIODevice::WriteOnly);
    if (!face.isNull())
        face.save(&jpeg, "JPEG");
    FixedFile::write(path, jpeg.data());
}

} // namespace

void CardFaces::writeFront(const QString& source, const QString& target, const FrontTexts& texts)
{
    QPixmap face = loadTemplate(source);
    paintFront(face, texts);
    writeFace(face, target);
}

void CardFaces::writeBack(const QString& source, const QString& target, const BackTexts& texts)
{
    QPixmap face = loadTemplate(source);
    paintBack(face, texts);
    writeFace(face, target);
}
