// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/demo/demo_session.h"

/// Writes one HTML page that shows what each device gave, beside the files that it shows.
/// \return false when it could not be written
bool writeReport(const QString& path, const QVector<DemoSession::Result>& results);
