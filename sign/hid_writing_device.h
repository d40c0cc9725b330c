// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// \brief A signature pad, independent of how it is connected.
///
/// The drivers are QObjects and are never deleted through this interface. `findDevice`,
/// `openDevice` and `closeDevice` belong to the GUI thread, `readData` to the pen reader thread,
/// which is stopped before the device is opened or closed.
class QHidWritingDevice
{
public:
    /// \return 1 when a pad is attached, else 0
    virtual int findDevice() = 0;

    /// \return 1 opened, -1 no pad, -2 the pad's interface is held by another program
    virtual int openDevice() = 0;

    /// Waits for one pen sample. The outputs are written only when 0 is returned.
    /// \param x 0 to 21692 over the width of the pad's display
    /// \param y 0 to 13564 over its height
    /// \param p pressure, 0 (pen lifted) to 1023
    /// \return 0 a sample, negative none
    virtual int readData(int& x, int& y, int& p) = 0;

    /// Does nothing on a closed device.
    /// \return 1
    virtual int closeDevice() = 0;

protected:
    ~QHidWritingDevice() = default;
};

/// Scales a device coordinate to pixels, truncated toward zero: logicalRange / physicalRange x
/// value, with the division first, in double precision. Results beyond the range of int are its
/// nearest bound.
/// \param physicalRange not 0
int convertPhysicalTologicalValue(int value, int physicalRange, int logicalRange);
