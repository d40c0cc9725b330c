// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <csignal>
#include <sys/resource.h>

/// \brief While it lives, no file of this process grows beyond 1000 bytes, as on a disk that runs
/// full in the middle of a file.
class FullDisk
{
public:
    FullDisk()
    {
        std::signal(SIGXFSZ, SIG_IGN); // the write fails instead
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit little{1000, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &little);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit m_before{};
};
