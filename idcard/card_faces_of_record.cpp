// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The faces of a card whose record was read, and files as Base64 text.

#include "idcard/id_info.h"
#include "idcard/id_info_text.h"
#include "idcard/read_id_card.h"
#include "idimage/card_faces.h"

#include <QByteArray>
#include <QDebug>
#include <QFile>
#include <QString>

namespace {

CardFaces::FrontTexts frontTexts(const IDINFO& info)
{
    return {fieldText(info.name),     fieldText(info.gender),  fieldText(info.nation),
            fieldText(info.birthday), fieldText(info.address), fieldText(info.idNum)};
}

CardFaces::BackTexts backTexts(const IDINFO& info)
{
    return {fieldText(info.issueOrg), fieldText(info.effectDate), fieldText(info.expireDate)};
}

} // namespace

void ReadIDCard::addMask(QPixmap& face, IDINFO* info)
{
    CardFaces::paintFront(face, frontTexts(*info));
}

void ReadIDCard::addMaskBack(QPixmap& face, IDINFO* info)
{
    CardFaces::paintBack(face, backTexts(*info));
}

void ReadIDCard::addMaskByPath(QString& source, QString& target, IDINFO* info)
{
    CardFaces::writeFront(source, target, frontTexts(*info));
}

void ReadIDCard::addMaskByPathBack(QString& source, QString& target, IDINFO* info)
{
    CardFaces::writeBack(source, target, backTexts(*info));
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
