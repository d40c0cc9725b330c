// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The face with the heading, the issuing authority and the validity period.

#include "idimage/card_faces.h"
#include "idimage/face_painter.h"
#include "toolkit/qt_versions.h"

#include <QColor>
#include <QPixmap>
#include <QString>

namespace {

constexpr double captionX = 0.2313084112149533;
constexpr double valueX = 0.4088785046728972;
constexpr double authorityY = 0.7068110886726638;
constexpr double validityY = 0.8353221957040573;
constexpr int rowOffset = 40;

constexpr int normalWeight = 50;
constexpr int veryLightWeight = 5;

const QString& plainFamily()
{
    static const QString family = QStringLiteral("SimHei");
    return family;
}

void paintHeading(FacePainter& painter)
{
    const QString family = QStringLiteral("宋体");
    painter.setFont(family, 55, 4);
    painter.drawText(0.33411214953271035, 0.10280888562511474, 64,
                     QStringLiteral("中华人民共和国"));
    painter.setFont(family, 68, 32);
    painter.drawText(0.308411214953271, 0.27905268955388285, 78, QStringLiteral("居民身份证"));
}

void paintCaptions(FacePainter& painter)
{
    painter.setFont(plainFamily(), 24, 0);
    painter.drawText(captionX, authorityY, rowOffset, QStringLiteral("签发机关"));
    painter.drawText(captionX, validityY, rowOffset, QStringLiteral("有效期限"));
}

void paintValues(FacePainter& painter, const CardFaces::BackTexts& texts)
{
    painter.setFont(plainFamily(), 26, 2, normalWeight);
    painter.drawText(valueX, authorityY, rowOffset, texts.issueOrg);
    painter.setFont(plainFamily(), 26, 1, veryLightWeight);
    painter.drawText(valueX, validityY, rowOffset,
                     texts.effectDate + QLatin1Char('-') + texts.expireDate);
}

} // namespace

void CardFaces::paintBack(QPixmap& face, const BackTexts& texts)
{
    qt_versions::setLocaleCodecToGb2312();
    if (face.isNull())
        return;
    FacePainter painter(face);
    painter.setColour(Qt::black);
    paintHeading(painter);
    paintCaptions(painter);
    paintValues(painter, texts);
}
