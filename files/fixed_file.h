// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

class QByteArray;
class QString;

/// \brief The files that the service keeps under fixed names, in /tmp and in its working directory.
///
/// Anybody who can write there can lay something else under such a name. Only regular files are
/// opened, symbolic links to them included, and without waiting: opening a FIFO would hold up the
/// service until somebody opens the other end.
namespace FixedFile {

/// \return the whole content; empty when there is no such file, and, after a warning, when it
/// cannot be read
QByteArray read(const QString& path);

/// Makes \p bytes the whole content of a file, which is created when it is missing.
///
/// A file that exists is written over where it is: some file systems flush a file that was cut to
/// nothing and written again when it is closed, which takes longer than the writing. A file that
/// cannot be written to its end (full disk) is left empty, so that no earlier customer's picture
/// stands under the name.
/// \return false, after a warning, when the file cannot be opened or written
bool write(const QString& path, const QByteArray& bytes);

} // namespace FixedFile
