// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/usb_device.h"
#include "virtual/pad/pen_path.h"

#include <chrono>
#include <deque>
#include <mutex>
#include <optional>

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
    explicit SignaturePad(VirtualKernel& kernel);

    /// The device itself: plug, unplug, the log of what programs did.
    UsbDevice& device() { return m_device; }
    const UsbDevice& device() const { return m_device; }

    /// Queues one 16-byte report.
    void pen(const PenPoint& point);
    void pen(const std::vector<PenPoint>& points);
    /// Queues any other answer: fewer bytes, a stall, the plug pulled.
    void queue(const UsbAnswer& answer);

    /// Every read gets \p answer, and the queue waits; std::nullopt ends that.
    void setForcedAnswer(const std::optional<UsbAnswer>& answer);

    /// Whether a program reads the pad: it has asked within the last second. The service gives a
    /// read up after 0.3 s and asks again.
    bool isRead() const;

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
    std::optional<UsbAnswer> m_forced;
    std::optional<std::chrono::steady_clock::time_point> m_lastRead;
    UsbDevice m_device;
};

/// The pad's input report for a point; see the table in sign/pen_report.h.
QByteArray penReport(const PenPoint& point);

} // namespace virtual_desk
