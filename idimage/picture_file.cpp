// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/picture_file.h"

#include <QByteArray>
#include <QFile>
#include <QString>

bool writePictureFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::ReadWrite | QIODevice::Unbuffered) &&
           file.write(bytes) == bytes.size() && file.resize(bytes.size());
}
