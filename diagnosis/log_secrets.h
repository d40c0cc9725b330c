// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// Whether the documented diagnostics tell what is the customer's: the pen's coordinates and the
/// SIM card's digits. They do unless the administrator has switched privacy on. Any thread.
bool logTellsAll();

/// Leaves these out from now on. Before the first client.
void keepSecretsOutOfLog();
