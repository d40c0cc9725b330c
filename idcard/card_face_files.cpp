// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The card's faces as files beside the service, and files as Base64 text.

#include "files/fixed_file.h"
#include "idcard/read_id_card.h"
#include "idimage/card_faces.h"

#include <QBuffer>
#include <QByteArray>
#include <QDebug>
#include <QFile>
#include <QPainter>
#include <QPixmap>
#include <QString>

namespace {

// How one of the faces is painted, and its template with the captions: the large characters cost
// more than everything else on a face, and change only with the template.
struct Face
{
    void (*const paintCaptions)(QPixmap& face);
    void (*const paintValues)(QPixmap& face, const IDINFO& info);
    qint64 templateKey;
    QPixmap captioned;
};

// Never deleted, because a pixmap must not outlive the application.
Face& front()
{
    static auto* face = new Face{CardFaces::paintFrontCaptions, CardFaces::paintFrontValues, 0, {}};
    return *face;
}

Face& back()
{
    static auto* face = new Face{CardFaces::paintBackCaptions, CardFaces::paintBackValues, 0, {}};
    return *face;
}

// A template that was loaded before has its key again, unless its file has changed.
const QPixmap& withCaptions(Face& face, const QPixmap& blank)
{
    if (face.templateKey != blank.cacheKey() || blank.isNull()) {
        face.templateKey = blank.cacheKey();
        face.captioned = blank;
        face.paintCaptions(face.captioned);
    }
    return face.captioned;
}

// The face's pixels in memory that every face uses again: clearing pages for a fresh pixmap costs
// more than painting it. Never deleted, as above.
QPixmap& canvasWith(const QPixmap& face)
{
    static auto* canvas = new QPixmap;
    if (canvas->size() != face.size())
        *canvas = QPixmap(face.size());
    if (!face.isNull()) {
        QPainter painter(canvas);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.drawPixmap(0, 0, face);
    }
    return *canvas;
}

void paintFile(Face& face, const QString& source, const QString& target, const IDINFO& info)
{
    QPixmap& canvas = canvasWith(
        withCaptions(face, FixedFile::isSafeToOpen(source) ? QPixmap(source) : QPixmap()));
    face.paintValues(canvas, info);
    QBuffer jpeg;
    jpeg.open(QIODevice::WriteOnly);
    if (!canvas.isNull())
        canvas.save(&jpeg, "JPEG");
    FixedFile::write(target, jpeg.data());
}

} // namespace

void ReadIDCard::addMask(QPixmap& face, IDINFO* info)
{
    CardFaces::paintFrontCaptions(face);
    CardFaces::paintFrontValues(face, *info);
}

void ReadIDCard::addMaskBack(QPixmap& face, IDINFO* info)
{
    CardFaces::paintBackCaptions(face);
    CardFaces::paintBackValues(face, *info);
}

void ReadIDCard::addMaskByPath(QString& source, QString& target, IDINFO* info)
{
    paintFile(front(), source, target, *info);
}

void ReadIDCard::addMaskByPathBack(QString& source, QString& target, IDINFO* info)
{
    paintFile(back(), source, target, *info);
}

void ReadIDCard::IDCardPicFront(IDINFO* info)
{
    QString source = QStringLiteral("./front.jpg");
    QString target = QStringLiteral("./frontNew.jpg");
    addMaskByPath(source, target, info);
}

void ReadIDCard::IDCardPicBack(IDINFO* info)
{
    QString source = QStringLiteral("./back.jpg");
    QString target = QStringLiteral("./backNew.jpg");
    addMaskByPathBack(source, target, info);
}

bool ReadIDCard::getFileContetBase64(const QString& path, QString& base64)
{
    if (path.isEmpty() || !QFile::exists(path)) {
        qDebug("文件路径不存在");
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qDebug("打开文件失败");
        return false;
    }
    const QByteArray text = file.readAll().toBase64();
    if (!text.isNull())
        base64 = QString::fromLatin1(text);
    return true;
}
