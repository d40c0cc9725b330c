// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "diagnosis/categories.h"

// Switched off by default: only fatal messages would be written, and there are none.
Q_LOGGING_CATEGORY(padLog, "desk.pad", QtFatalMsg)
Q_LOGGING_CATEGORY(idcardLog, "desk.idcard", QtFatalMsg)
Q_LOGGING_CATEGORY(simLog, "desk.sim", QtFatalMsg)
Q_LOGGING_CATEGORY(cameraLog, "desk.camera", QtFatalMsg)
Q_LOGGING_CATEGORY(serverLog, "desk.server", QtFatalMsg)
