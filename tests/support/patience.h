// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QTest>

// Waits for what comes in a moment on a machine that does nothing else, and much later on one that
// is busy or was suspended.
#define AWAIT(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, 60000)
#define AWAIT_EQUAL(actual, expected) QTRY_COMPARE_WITH_TIMEOUT(actual, expected, 60000)
