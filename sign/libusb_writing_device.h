// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "sign/hid_writing_device.h"

#include <QObject>

struct libusb_context;
struct libusb_device_handle;

/// \brief The pad through libusb: interface 0, interrupt endpoint 0x81. The driver that the service
/// uses.
class QHandWritingDevForLibUsb : public QObject, public QHidWritingDevice
{
    Q_OBJECT

public:
    explicit QHandWritingDevForLibUsb(QObject* parent = nullptr);
    ~QHandWritingDevForLibUsb() override;

    /// Opens the pad and closes it at once.
    int findDevice() override;

    /// Opens the pad and claims its interface, after detaching the kernel's driver where that is
    /// needed. The kernel's driver stays detached until `giveBack`.
    int openDevice() override;

    /// Waits up to 300 ms. A failed read takes the full time too: an unplugged pad fails at once,
    /// and the reading thread would otherwise repeat the read without a pause.
    /// \return 0 a sample, -1 time-out or failed transfer or closed device, -2 fewer than 8 bytes
    int readData(int& x, int& y, int& p) override;

    int closeDevice() override;

    /// Closes the pad and, if its kernel driver was ever detached here, attaches it again:
    /// otherwise the desktop could not use the pad until it is replugged.
    void giveBack();

private:
    libusb_device_handle* openHandle() const;
    int claimInterface() const;
    int transfer(struct PenReport& report, int& received) const;

    int claimed = 0; ///< 1 while interface 0 is claimed
    libusb_device_handle* handle = nullptr;
    libusb_context* context = nullptr; ///< owned; null when libusb could not be initialised
    bool detachedKernelDriver = false;
};
