// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/support/service_process.h"

/// What the service gains by `rounds` of `work`, after as many have filled its caches; empty when
/// that is no descriptor and less than `allowedKiB` of memory.
template <class Work>
QString growthOf(virtual_desk::ServiceProcess& service, int rounds, qint64 allowedKiB, Work work)
{
#ifdef __SANITIZE_ADDRESS__
    allowedKiB += 512 * 1024; // it keeps what was freed for a while
#endif
    int descriptors = 0;
    qint64 memory = 0;
    for (int i = 0; i < 2 * rounds; ++i) {
        if (i == rounds) {
            descriptors = service.openDescriptors();
            memory = service.residentKiB();
        }
        work();
        service.forgetOutput();
    }
    descriptors = service.openDescriptors() - descriptors;
    memory = service.residentKiB() - memory;
    if (descriptors <= 0 && memory < allowedKiB)
        return {};
    return QStringLiteral("%1 descriptors and %2 KiB").arg(descriptors).arg(memory);
}
