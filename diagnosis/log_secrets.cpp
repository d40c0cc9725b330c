// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "diagnosis/log_secrets.h"

#include <atomic>

namespace {

std::atomic<bool> tellsAll{true};

} // namespace

bool logTellsAll()
{
    return tellsAll;
}

void keepSecretsOutOfLog()
{
    tellsAll = false;
}
