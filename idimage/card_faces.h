// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

class QPixmap;

/// The pictures of an identity card's two faces, painted onto templates.
///
/// Every position is a fraction of the template's size plus a fixed number of pixels. A null
/// template is not painted on. GUI thread only; afterwards the locale's text codec is GB2312.
namespace CardFaces {

struct FrontTexts
{
    QString name;
    QString gender;
    QString nation;
    QString birthday; ///< eight digits, year, month, day
    QString address;
    QString idNum;
};

struct BackTexts
{
    QString issueOrg;
    QString effectDate;
    QString expireDate;
};

/// Paints the captions, the texts and the holder's photo, see `HolderPhoto::prepareForFace`.
/// Without the photo's file, or with one that is no image, the face stays without a photo.
void paintFront(QPixmap& face, const FrontTexts& texts);
void paintBack(QPixmap& face, const BackTexts& texts);

/// Load the template \p source, paint it and write it to \p target as JPEG. A template that is
/// missing leaves the target empty.
void writeFront(const QString& source, const QString& target, const FrontTexts& texts);
void writeBack(const QString& source, const QString& target, const BackTexts& texts);

} // namespace CardFaces
