// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/signature_image.h"

#include "files/fixed_file.h"

#include <QBuffer>
#include <QDebug>
#include <QFileInfo>

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
        QBuffer encoded;
        encoded.open(QIODevice::WriteOnly);
        if (pixmap.save(&encoded, QFileInfo(path).suffix().toLatin1().constData()))
            FixedFile::write(path, encoded.data());
    }
    return pixmap;
}
