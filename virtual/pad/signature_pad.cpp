// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/pad/signature_pad.h"

#include <QtEndian>

#include <chrono>
#include <thread>

namespace virtual_desk {
namespace {

const quint8 penEndpoint = 0x81;
const quint8 hidClass = 0x03;
const std::chrono::seconds readPause{1};

// Report 2 with 15 bytes, of the maker's own kind: nothing that a desktop would take for a pointer.
QByteArray reportDescriptor()
{
    return QByteArray::fromHex("0602FF"   // usage page: vendor-defined
                               "0901A101" // an application's collection:
                               "8502"     // report id 2
                               "1500"     // values from 0
                               "26FF00"   // to 255,
                               "7508950F" // 15 of 8 bits,
                               "09018102" // input
                               "C0");
}

UsbDescription padDescription()
{
    UsbDescription description;
    description.vendor = padVendor;
    description.product = padProduct;
    description.interfaces = {{0,
                               hidClass,
                               {{penEndpoint, UsbEndpoint::Interrupt, 16, 4}},
                               "usbhid",
                               reportDescriptor()}};
    description.name = "Signature pad";
    return description;
}

} // namespace

QByteArray penReport(const PenPoint& point)
{
    QByteArray report(16, '\0');
    report[0] = 2;
    char* bytes = report.data();
    qToLittleEndian(static_cast<quint16>(point.x), bytes + 2);
    qToLittleEndian(static_cast<quint16>(point.y), bytes + 4);
    qToLittleEndian(static_cast<quint16>(point.pressure), bytes + 6);
    return report;
}

SignaturePad::SignaturePad(VirtualKernel& kernel)
    : m_device(kernel, padDescription(), [this](const UsbRequest&) { return next(); })
{
}

void SignaturePad::pen(const PenPoint& point)
{
    queue(UsbAnswer::data(penReport(point)));
}

void SignaturePad::pen(const std::vector<PenPoint>& points)
{
    for (const PenPoint& point : points)
        pen(point);
}

void SignaturePad::queue(const UsbAnswer& answer)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.push_back(answer);
    }
    m_device.retry(penEndpoint);
}

void SignaturePad::setForcedAnswer(const std::optional<UsbAnswer>& answer)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_forced = answer;
    }
    m_device.retry(penEndpoint);
}

bool SignaturePad::isRead() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastRead && std::chrono::steady_clock::now() - *m_lastRead < readPause;
}

int SignaturePad::queued() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(m_queue.size());
}

void SignaturePad::clearQueue()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_queue.clear();
}

void SignaturePad::play(const std::vector<PenPoint>& points, int reportsPerSecond)
{
    const auto pace = std::chrono::nanoseconds(std::chrono::seconds(1)) / reportsPerSecond;
    auto due = std::chrono::steady_clock::now();
    for (const PenPoint& point : points) {
        std::this_thread::sleep_until(due);
        pen(point);
        due += pace;
    }
}

UsbAnswer SignaturePad::next()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lastRead = std::chrono::steady_clock::now();
    if (m_forced)
        return *m_forced;
    if (m_queue.empty())
        return UsbAnswer::never();
    UsbAnswer answer = m_queue.front();
    m_queue.pop_front();
    return answer;
}

} // namespace virtual_desk
