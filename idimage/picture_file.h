// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

class QByteArray;
class QString;

/// Makes \p bytes the whole content of a file, which is created when it is missing.
///
/// A file that exists is written over where it is: some file systems flush a file that was cut to
/// nothing and written again when it is closed, which takes longer than the writing.
/// \return false when the file cannot be opened or written.
bool writePictureFile(const QString& path, const QByteArray& bytes);
