// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QThread>

#include <atomic>

/// \brief Reads pen samples from the pad of `g_globalObj` and passes each to the GUI thread.
///
/// The object lives on the GUI thread, so its signals arrive there as queued events, in order. It
/// neither opens nor closes the pad and never ends by itself.
class QGetHandWrtingDevData : public QThread
{
    Q_OBJECT

public:
    QGetHandWrtingDevData();

    /// Starts reading, after stopping a loop that still runs. GUI thread.
    void startReading();

    /// Ends the loop and waits for it: one `readData`, up to about 300 ms. GUI thread.
    void stopReading();

    std::atomic<bool> stop; ///< ends the loop at its next iteration

Q_SIGNALS:
    void findDeviceErro(); ///< not emitted by this thread
    void openDeviceErro(); ///< not emitted by this thread
    void readDataErro();   ///< a read gave no sample
    /// One sample, x, y and pressure in device units.
    void getDataOk(int, int, int);

protected:
    void run() override;
};
