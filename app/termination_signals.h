// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>
#include <QSocketNotifier>

/// \brief Turns the first SIGINT, SIGTERM or SIGHUP into a Qt signal. One object per process.
///
/// The next one ends the process at once. A signal that the process was started to ignore, as
/// nohup(1) has it, stays ignored.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    TerminationSignals();

Q_SIGNALS:
    /// Emitted on the object's thread.
    void arrived();

private:
    QSocketNotifier m_notifier; ///< a child, so that it moves to another thread with the object
};
