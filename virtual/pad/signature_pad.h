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

/// The pad's USB identifiers, and its sensor's range over the whole display.
constexpr quint16 padVendor = 0x05AF;
constexpr quint16 padProduct = 0x0060;

/// \brief The signature pad on USB: one HID interface with the interrupt endpoint 0x81.
///
/// Each read of a program returns the oldest queued answer; with none queued it waits until one is
/// queued or the program cancels it, as with a lifted pen. All functions may be called from any
/// thread.
class SignaturePad
{
public:
    explicit SignaturePad(VirtualKernel& kernel);

    /// The USB device: plug, unplug, log of the transfers.
    UsbDevice& device() { return m_device; }
    const UsbDevice& device() const { return m_device; }

    /// Queues one 16-byte report.
    void pen(const PenPoint& point);
    void pen(const std::vector<PenPoint>& points);
    /// Queues any other answer: fewer bytes, a stall, an unplug.
    void queue(const UsbAnswer& answer);

    /// Every read returns \p answer and the queue is not used; std::nullopt ends that.
    void setForcedAnswer(const std::optional<UsbAnswer>& answer);

    /// Whether a program has requested a report within the last second. The service cancels a read
    /// after 0.3 s and starts another.
    bool isRead() const;

    /// The number of queued answers that no program has read yet.
    int queued() const;
    void clearQueue();

    /// Queues the reports of a path at that rate; returns when the last one is queued.
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
