// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/stored_pictures.h"

#include "idimage/holder_photo.h"
#include "sign/signature_image.h"

#include <QDebug>
#include <QFile>

void deleteStoredPictures()
{
    for (const QString& path :
         {QString::fromLatin1(HolderPhoto::path), QStringLiteral("./frontNew.jpg"),
          QStringLiteral("./backNew.jpg"), signatureFile(), QStringLiteral("/tmp/kvo_cv.jpg")}) {
        QFile file(path);
        if (!file.remove() && file.exists())
            qWarning("cannot delete %s: %s", qUtf8Printable(path),
                     qUtf8Printable(file.errorString()));
    }
}
