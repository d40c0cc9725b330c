// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "files/fixed_file.h"

#include <QByteArray>
#include <QDebug>
#include <QFile>
#include <QString>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t anybodysFile = 0666; // reduced by the umask

void warn(const QString& path, const char* what, const char* reason)
{
    qWarning("cannot %s %s: %s", what, qUtf8Printable(path), reason);
}

bool isRegular(const struct stat& status, const QString& path, const char* what)
{
    if (S_ISREG(status.st_mode))
        return true;
    warn(path, what, "not a regular file");
    return false;
}

// Opens `file` and warns when it cannot, except for reading a file that does not exist.
bool open(QFile& file, QIODevice::OpenMode mode, int flags, const char* what)
{
    const QString path = file.fileName();
    const int descriptor = ::open(QFile::encodeName(path).constData(),
                                  flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, anybodysFile);
    if (descriptor == -1) {
        if (errno != ENOENT || (flags & O_CREAT) != 0)
            warn(path, what, std::strerror(errno));
        return false;
    }
    struct stat status = {};
    if (::fstat(descriptor, &status) == 0 && isRegular(status, path, what) &&
        file.open(descriptor, mode, QFileDevice::AutoCloseHandle))
        return true;
    ::close(descriptor);
    return false;
}

} // namespace

QByteArray FixedFile::read(const QString& path)
{
    QFile file(path);
    return open(file, QIODevice::ReadOnly, O_RDONLY, "read") ? file.readAll() : QByteArray();
}

bool FixedFile::write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!open(file, QIODevice::WriteOnly | QIODevice::Unbuffered, O_WRONLY | O_CREAT, "write"))
        return false;
    if (file.write(bytes) == bytes.size() && file.resize(bytes.size()))
        return true;
    warn(path, "write",
         file.error() == QFile::NoError ? "no room for the whole of it"
                                        : qUtf8Printable(file.errorString()));
    file.resize(0);
    return false;
}
