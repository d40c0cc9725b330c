// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QLoggingCategory>

/// \file
/// What failed and why, in the words of the libraries and the kernel, for whoever looks for a
/// fault. Off unless a logging rule ("desk.*=true") switches it on: the documented diagnostics stay
/// alone by default. Never a customer's data: no card text, digits, pictures or coordinates.

Q_DECLARE_LOGGING_CATEGORY(padLog)    // desk.pad
Q_DECLARE_LOGGING_CATEGORY(idcardLog) // desk.idcard
Q_DECLARE_LOGGING_CATEGORY(simLog)    // desk.sim
Q_DECLARE_LOGGING_CATEGORY(cameraLog) // desk.camera
Q_DECLARE_LOGGING_CATEGORY(serverLog) // desk.server
