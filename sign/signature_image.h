// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QPixmap>
#include <QString>

/// Where the last signature is kept as a file.
QString signatureFile();

/// Decodes an image from Base64 text and, unless `path` is empty, saves it there in the format of
/// the path's suffix; a failure is logged. For data that is no image the result is a null pixmap
/// and nothing is written. GUI thread.
QPixmap Base64_To_Image(const QByteArray& base64, const QString& path);
