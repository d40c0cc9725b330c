// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QList>
#include <QLocalSocket>
#include <QObject>
#include <QPointer>
#include <QWidget>

namespace virtual_desk {

/// \brief Reports the windows of its process to the virtual terminal whenever one of them opens,
/// moves or closes.
///
/// A report is one line of JSON: the list "windows" of the control port's state
/// (docs/virtual-terminal.md). GUI thread only.
class WindowObserver : public QObject
{
    Q_OBJECT

public:
    /// \param server name of the terminal's local server
    explicit WindowObserver(const QString& server);

    /// Sees the events of all objects in the process, and changes none.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void report();
    void updateOpenWindows();

    QLocalSocket m_terminal;
    QList<QPointer<QWidget>> m_open; ///< in the order in which they opened
    QByteArray m_reported;
    bool m_reportIsDue = false;
};

} // namespace virtual_desk
