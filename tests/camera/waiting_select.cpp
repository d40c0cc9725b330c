// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// select() for the test program and the libraries in it. A virtual camera's node is a plain file,
// which the kernel always calls ready; this one waits for a frame as long as its caller is willing
// to, as the node of a camera that sends nothing would make it wait.

#include <QFile>

#include <ctime>
#include <dlfcn.h>
#include <sys/select.h>

extern "C" int select(int count, fd_set* readable, fd_set* writable, fd_set* failed,
                      timeval* timeout)
{
    const QString file = QFile::symLinkTarget(QStringLiteral("/proc/self/fd/%1").arg(count - 1));
    if (readable == nullptr || timeout == nullptr || !file.contains(QLatin1String("/dev/video"))) {
        using Select = int (*)(int, fd_set*, fd_set*, fd_set*, timeval*);
        static const auto next = reinterpret_cast<Select>(dlsym(RTLD_NEXT, "select"));
        return next(count, readable, writable, failed, timeout);
    }
    const timespec wait = {timeout->tv_sec, timeout->tv_usec * 1000};
    nanosleep(&wait, nullptr);
    FD_ZERO(readable);
    return 0;
}
