// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

class QMessageLogContext;
class QString;

/// \brief Message handler that appends each diagnostic to "log.txt" in the working directory.
///
/// Not installed by default: diagnostics go to standard error. Callable from any thread. A fatal
/// message aborts the process at once and is not written; a line is lost when the file cannot be
/// opened.
void outputMessage(QtMsgType type, const QMessageLogContext& context, const QString& msg);
