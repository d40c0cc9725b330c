// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// Whether the documented diagnostics contain the customer's data (the pen's coordinates and the
/// SIM card's digits). True unless the administrator has switched privacy on. Any thread.
bool logTellsAll();

/// Leaves that data out of the log. To be called before the first client connects.
void keepSecretsOutOfLog();
