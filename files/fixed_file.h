// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

class QByteArray;
class QString;

/// \brief The files that the service keeps under fixed names, in /tmp and in its working directory.
///
/// Every account that can write to the folder can create something else under such a name. Only
/// regular files are opened, symbolic links to them included, and without waiting: opening a FIFO
/// would block the service until another program opens the other end.
namespace FixedFile {

/// \return the whole content; empty when there is no such file, and, after a warning, when it
/// cannot be read
QByteArray read(const QString& path);

/// Makes \p bytes the whole content of a file, which is created when it is missing.
///
/// An existing file is overwritten without truncating it first: some file systems flush a truncated
/// and rewritten file to disk when it is closed, which takes longer than the writing. A file that
/// cannot be written completely (full disk) is left empty, so that it does not keep an earlier
/// customer's picture.
/// \return false, after a warning, when the file cannot be opened or written
bool write(const QString& path, const QByteArray& bytes);

} // namespace FixedFile
