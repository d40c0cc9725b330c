// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/pen_path.h"
#include "virtual/usb_device.h"

#include <deque>
#include <mutex>

namespace virtual_desk {

/// The pad's USB identity, and its sensor's range over the whole of its display.
constexpr quint16 PadVendor = 0x05AF;
constexpr quint16 PadProduct = 0x0060;

/// \brief The signature pad on USB: one HID interface with the interrupt endpoint 0x81.
///
/// Each read of a program takes the oldest queued answer; with none queued it waits until one comes
/// or the program gives up, like a pen that is lifted. All functions may be called from any thread.
class SignaturePad
{
public:
    explicit SignaturePad(Testbed& testbed);

    /// The device itself: plug, unplug, the log of what programs did.
    UsbDevice& device() { return m_device; }

    /// Queues one 16-byte report.
    void pen(const PenPoint& point);
    void pen(const std::vector<PenPoint>& points);
    /// Queues any other answer: fewer bytes, a stall, the plug pulled.
    void queue(const UsbAnswer& answer);

    /// How many queued answers no program has taken yet.
    int queued() const;
    void clearQueue();

    /// Plays a path at that many reports per second, blocking the caller until the last one is
    /// queued.
    void play(const std::vector<PenPoint>& points, int reportsPerSecond);

private:
    UsbAnswer next();

    mutable std::mutex m_mutex;
    std::deque<UsbAnswer> m_queue;
    UsbDevice m_device;
};

/// The pad's input report for a point; see the table in sign/pen_report.h.
QByteArray penReport(const PenPoint& point);

} // namespace virtual_desk
