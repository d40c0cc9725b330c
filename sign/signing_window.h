// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QDialog>
#include <QPixmap>

#include <memory>

QT_BEGIN_NAMESPACE
class Ui_MainWindow;
QT_END_NAMESPACE

/// \brief The dialog on the pad's display: pen samples are drawn as strokes, pen taps press the
/// buttons.
///
/// Reads its settings from `g_SignData`. The command that created it runs it with `exec()`, reads
/// the result and deletes it. GUI thread only. Only its own slots close it; the window manager and
/// keys cannot.
class MainWindow : public QDialog
{
    Q_OBJECT
    /// The pad's display in pixels of the desktop. The virtual terminal presses buttons through the
    /// pad and reads the property for that.
    Q_PROPERTY(QRect padDisplay READ padDisplay)

public:
    /// Results of `exec()`.
    enum Result {
        Signed = 0,
        Cancelled = -1, ///< or the signature could not be encoded
        DeviceNotFound = -2,
        DeviceNotOpened = -3,
        EndedByCommand = -88,
    };

    /// Computes the window's position and layout on the pad's display, without showing it.
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    /// Shows the window above all others of its display without taking the keyboard focus, and
    /// returns when it has been closed.
    int exec() override;

    /// Draws from the last sample to this one, in canvas pixels. Pressure 0 lifts the pen and draws
    /// nothing.
    void DrawWgtHandWriting(int cx, int cy, int p);

    static QRect padDisplay();

    /// Clears the canvas to white, unless the button is disabled. The window stays open.
    void btnResign_clicked();

    int result = Cancelled;
    QByteArray imageBase64;      ///< PNG of the canvas as Base64 text, set by OK
    bool endedByCommand = false; ///< closed by a command, which sends its own reply
    bool closeAllowed = false;   ///< close events are accepted only when set
    Ui_MainWindow* ui;           ///< owned
    QPixmap* canvas = nullptr;   ///< owned; the label `wgtHandwriting` shows it

public Q_SLOTS:
    void on_btnOK_clicked();
    void on_btnCancel_clicked();
    void on_btnResign_clicked();
    /// Takes one pen sample in device units: draws it, shows the button under the pen as pressed,
    /// and clicks it when the pen lifts.
    void on_getDataOk(int x, int y, int p);
    void onsEndSign();
    void on_findDeviceErro();
    void on_openDeviceErro();
    void on_readDataErro();

    /// Called for Escape; does nothing, so that the session goes on.
    void reject() override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void placeOnPad();
    void layOutUnseen();
    void leaveWindowManagerOut();
    void makeButtonsReadable();
    void showPressed(const QPointF& touch, bool penIsDown);
    void clickButtonAt(const QPointF& touch);
    void showCanvas(const QRect& changed);
    void closeWith(int outcome);
};
