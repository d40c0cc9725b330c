// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>
#include <QSocketNotifier>

namespace virtual_desk {

/// \brief Turns SIGINT, SIGTERM and SIGHUP into a Qt signal. One object per process.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    TerminationSignals();

Q_SIGNALS:
    void arrived();

private:
    QSocketNotifier m_notifier;
};

} // namespace virtual_desk
