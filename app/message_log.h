// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

class QMessageLogContext;
class QString;

/// \brief Message handler that appends each diagnostic to "log.txt" in the working directory.
///
/// Not installed by default: diagnostics belong on standard error. Callable from any thread. A
/// fatal message ends the process at once and leaves no line; a file that cannot be opened loses
/// the line. \param context ignored
void outputMessage(QtMsgType type, const QMessageLogContext& context, const QString& msg);
