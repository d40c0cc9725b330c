// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDir>
#include <QFile>

#include <malloc.h>

/// The number of this process's open descriptors, or of those whose file's path contains `path`.
inline int openDescriptors(const char* path = "")
{
    int count = 0;
    const QDir folder(QStringLiteral("/proc/self/fd"));
    const auto all = QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System;
    for (const QFileInfo& each : folder.entryInfoList(all))
        count += each.symLinkTarget().contains(QLatin1String(path)) ? 1 : 0;
    return count;
}

/// Bytes of this process's heap in use.
inline std::size_t heapInUse()
{
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd; // large blocks are mapped on their own
}
