// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QPoint>
#include <QRect>
#include <QString>
#include <QStringList>

namespace virtual_desk {

/// \brief Operates the service's windows as a person does: finds them on the X display and sends
/// pointer and key events to the X server (XTEST, through xdotool).
class WindowOperator
{
public:
    /// \param title the exact title of the windows
    explicit WindowOperator(const QString& title);

    /// The X identifiers of the visible windows with the title, the topmost last. The frames that
    /// mutter draws since version 44 have the same titles and are left out.
    QStringList windows() const;
    /// Whether `count` such windows are visible, now or within `timeoutMs`.
    bool waitForWindows(int count, int timeoutMs = 60000) const;

    /// Position and size of the topmost window, without its frame.
    QRect place() const;
    /// Its opacity in percent.
    int opacity() const;

    /// Clicks a point of the topmost window, in its own coordinates.
    bool click(QPoint position) const;
    /// Presses keys one after the other, by X name ("Return", "Escape", "Down").
    bool press(const QStringList& keys) const;

private:
    QString m_title;
};

/// \brief Operates the capture window.
class CaptureOperator : public WindowOperator
{
public:
    CaptureOperator();

    bool takePicture() const;
    /// Closes the window with its own button, so that the picture is sent.
    bool handOver() const;
    /// \param item 0 for 640 x 480 to 8 for 2592 x 1944
    bool chooseResolution(int item) const;
    /// \param item 0 for the first camera of the selector, 1 for the second
    bool chooseCamera(int item) const;

private:
    bool choose(QPoint selector, int item) const;
};

} // namespace virtual_desk
