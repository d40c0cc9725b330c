// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/libusb_writing_device.h"

#include "diagnosis/categories.h"
#include "diagnosis/log_secrets.h"
#include "diagnosis/usb_failure.h"
#include "sign/pen_report.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QThread>

#include <libusb.h>

#include <cstdio>

namespace {

constexpr int padInterface = 0;
constexpr unsigned char penEndpoint = LIBUSB_ENDPOINT_IN | 1;
constexpr unsigned readTimeoutMs = 300;

// A read without a sample takes the full time-out, also when it failed at once: the reading thread
// repeats it immediately and would otherwise use a whole processor while the pad is unplugged.
void sleepUntilTimeout(const QElapsedTimer& started)
{
    const qint64 left = static_cast<qint64>(readTimeoutMs) - started.elapsed();
    if (left > 0)
        QThread::msleep(static_cast<unsigned long>(left));
}

} // namespace

QHandWritingDevForLibUsb::QHandWritingDevForLibUsb(QObject* parent)
    : QObject(parent)
{
    if (logged(padLog, "start libusb", libusb_init(&context)) < 0) {
        qDebug("failed to initialise libusb\n");
        context = nullptr;
    }
}

QHandWritingDevForLibUsb::~QHandWritingDevForLibUsb()
{
    QHandWritingDevForLibUsb::closeDevice();
    if (context)
        libusb_exit(context);
}

int QHandWritingDevForLibUsb::findDevice()
{
    libusb_device_handle* probe = openHandle();
    if (!probe)
        return 0;
    libusb_close(probe);
    return 1;
}

int QHandWritingDevForLibUsb::openDevice()
{
    if (handle)
        closeDevice(); // otherwise the claim of the earlier handle would make this one fail
    handle = openHandle();
    if (!handle) {
        qDebug("Cannot open device\n");
        return -1;
    }
    int result = claimInterface();
    if (result < 0) {
        if (logged(padLog, "detach kernel driver",
                   libusb_detach_kernel_driver(handle, padInterface)) == 0) {
            detachedKernelDriver = true;
            qDebug("Kernel Driver Detached!\n");
        }
        result = claimInterface();
    }
    if (result < 0) {
        std::perror("Cannot Claim Interface\n");
        closeDevice();
        return -2;
    }
    claimed = 1;
    return 1;
}

int QHandWritingDevForLibUsb::readData(int& x, int& y, int& p)
{
    qWarning("readData");
    QElapsedTimer started;
    started.start();
    PenReport report;
    int received = 0;
    const int result = transfer(report, received);
    qWarning("libusb_interrupt_transfer ,ret = %d", result);
    const bool isShort = received < PenReport::UsefulSize;
    if (result != LIBUSB_ERROR_TIMEOUT) // a pen that is lifted
        logged(padLog, "read", result);
    if (result == 0 && isShort)
        qCWarning(padLog, "read: %d bytes", received);
    if (result != 0 || isShort) {
        sleepUntilTimeout(started);
        return result != 0 ? -1 : -2;
    }
    x = report.x();
    y = report.y();
    p = report.pressure();
    if (logTellsAll())
        qWarning("x = %d , y = %d , p = %d", x, y, p);
    return 0;
}

int QHandWritingDevForLibUsb::closeDevice()
{
    if (handle) {
        if (claimed) {
            const int result = libusb_release_interface(handle, padInterface);
            std::puts(result == 0 ? "Released hid Interface!" : "Cannot hid Released Interface!");
            claimed = 0;
        }
        libusb_close(handle);
    }
    handle = nullptr;
    return 1;
}

void QHandWritingDevForLibUsb::giveBack()
{
    closeDevice();
    if (!detachedKernelDriver)
        return;
    detachedKernelDriver = false;
    // Fails, without harm, for a pad that was replugged: its driver is attached already.
    if (libusb_device_handle* pad = openHandle()) {
        libusb_attach_kernel_driver(pad, padInterface);
        libusb_close(pad);
    }
}

libusb_device_handle* QHandWritingDevForLibUsb::openHandle() const
{
    // With a null context libusb would use its default context, which is not initialised.
    if (!context)
        return nullptr;
    auto* const opened = libusb_open_device_with_vid_pid(context, padVendor, padProduct);
    if (!opened)
        logUnopened(padLog, context, padVendor, padProduct);
    return opened;
}

int QHandWritingDevForLibUsb::claimInterface() const
{
    return logged(padLog, "claim interface 0", libusb_claim_interface(handle, padInterface));
}

// \return libusb's result, 0 for success; -1 for a foreign exception
int QHandWritingDevForLibUsb::transfer(PenReport& report, int& received) const
{
    if (!handle)
        return LIBUSB_ERROR_NO_DEVICE;
    try {
        return libusb_interrupt_transfer(handle, penEndpoint, report.bytes.data(), PenReport::Size,
                                         &received, readTimeoutMs);
    } catch (...) {
        return -1;
    }
}
