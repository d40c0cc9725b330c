// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The card's faces as files beside the service, and files as Base64 text.

#include "idcard/read_id_card.h"
#include "idimage/card_faces.h"

#include <QByteArray>
#include <QDebug>
#include <QFile>
#include <QPainter>
#include <QPixmap>
#include <QString>

namespace {

using Painter = void (ReadIDCard::*)(QPixmap&, IDINFO*);

// The template's pixels in memory that every face uses again: clearing pages for a fresh pixmap
// costs more than painting it. Never deleted, because a pixmap must not outlive the application.
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

void paintFile(ReadIDCard& reader, Painter paint, const QString& source, const QString& target,
               IDINFO* info)
{
    QPixmap& face = canvasWith(QPixmap(source));
    (reader.*paint)(face, info);
    QFile file(target);
    if (file.open(QIODevice::WriteOnly) && !face.isNull())
        face.save(&file, "JPEG");
}

} // namespace

void ReadIDCard::addMask(QPixmap& face, IDINFO* info)
{
    CardFaces::paintFront(face, *info);
}

void ReadIDCard::addMaskBack(QPixmap& face, IDINFO* info)
{
    CardFaces::paintBack(face, *info);
}

void ReadIDCard::addMaskByPath(QString& source, QString& target, IDINFO* info)
{
    paintFile(*this, &ReadIDCard::addMask, source, target, info);
}

void ReadIDCard::addMaskByPathBack(QString& source, QString& target, IDINFO* info)
{
    paintFile(*this, &ReadIDCard::addMaskBack, source, target, info);
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
