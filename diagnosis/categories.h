// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QLoggingCategory>

/// \file
/// Logging categories for the errors of libraries and the kernel: what failed and why. Off unless a
/// logging rule ("desk.*=true") switches them on, so that by default only the documented
/// diagnostics are written. They never contain a customer's data: no card text, digits, pictures
/// or coordinates.

Q_DECLARE_LOGGING_CATEGORY(padLog)    // desk.pad
Q_DECLARE_LOGGING_CATEGORY(idcardLog) // desk.idcard
Q_DECLARE_LOGGING_CATEGORY(simLog)    // desk.sim
Q_DECLARE_LOGGING_CATEGORY(cameraLog) // desk.camera
Q_DECLARE_LOGGING_CATEGORY(serverLog) // desk.server
