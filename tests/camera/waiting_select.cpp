// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// select() for the test program and the libraries in it. A virtual camera's node is a plain file,
// which the kernel always calls ready; this one says that no frame came, and notes how long its
// caller was willing to wait for one.

#include <QFile>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <dlfcn.h>
#include <sys/select.h>

std::atomic<long> longestCameraWait{0}; // in microseconds

extern "C" int select(int count, fd_set* readable, fd_set* writable, fd_set* failed,
                      timeval* timeout)
{
    const QString file = QFile::symLinkTarget(QStringLiteral("/proc/self/fd/%1").arg(count - 1));
    if (readable == nullptr || timeout == nullptr || !file.contains(QLatin1String("/dev/video"))) {
        using Select = int (*)(int, fd_set*, fd_set*, fd_set*, timeval*);
        static const auto next = reinterpret_cast<Select>(dlsym(RTLD_NEXT, "select"));
        return next(count, readable, writable, failed, timeout);
    }
    longestCameraWait =
        std::max<long>(longestCameraWait, timeout->tv_sec * 1000000 + timeout->tv_usec);
    return 0;
}
