// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>
#include <QSocketNotifier>

/// \brief Turns the first SIGINT, SIGTERM or SIGHUP into a Qt signal. One object per process.
///
/// A second signal ends the process at once. A signal that was ignored when the process was started
/// (nohup(1) does that) stays ignored.
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
