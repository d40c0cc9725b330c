// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/signature_image.h"

#include <QtDebug>

QString signatureFile()
{
    return QStringLiteral("/tmp/kvo_sign.png");
}

QPixmap Base64_To_Image(const QByteArray& base64, const QString& path)
{
    QPixmap pixmap;
    pixmap.loadFromData(QByteArray::fromBase64(base64));
    if (!path.isEmpty()) {
        qDebug("save");
        if (!pixmap.save(path) && !pixmap.isNull())
            qWarning("cannot write %s", qUtf8Printable(path));
    }
    return pixmap;
}
