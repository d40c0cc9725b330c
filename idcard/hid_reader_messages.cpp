// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Sending and receiving the HID reader's messages as feature reports.

#include "diagnosis/categories.h"
#include "diagnosis/usb_failure.h"
#include "idcard/hid_reader.h"
#include "idcard/hid_report.h"

#include <libusb.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace {

using namespace HidReport;

constexpr unsigned transferTimeout = 1000; // milliseconds
constexpr int firstDataBytes = reportBytes - static_cast<int>(replyData);
constexpr int nextDataBytes = reportBytes - static_cast<int>(continuationData);

// A report, and zeros behind it: a single report's length byte may state up to 255 bytes of data.
using ReplyBuffer = std::array<unsigned char, replyData + 0xFF>;

} // namespace

int HidIDCard::HidD_SetFeature(long handle, unsigned char* report, int /*length*/)
{
    constexpr std::uint8_t classRequestOut = 0x21;
    constexpr std::uint8_t setReport = 9;
    constexpr std::uint16_t reportId = 0;
    if (!isOpen(handle))
        return LIBUSB_ERROR_NO_DEVICE;
    return logged(idcardLog, "set feature report",
                  libusb_control_transfer(m_handle, classRequestOut, setReport, reportId, 0, report,
                                          reportBytes, transferTimeout));
}

int HidIDCard::HidD_GetFeature(long handle, unsigned char* report, int /*length*/)
{
    constexpr std::uint8_t classRequestIn = 0xA1;
    constexpr std::uint8_t getReport = 1;
    constexpr std::uint16_t reportId = 0x3000;
    if (!isOpen(handle))
        return LIBUSB_ERROR_NO_DEVICE;
    return logged(idcardLog, "get feature report",
                  libusb_control_transfer(m_handle, classRequestIn, getReport, reportId, 0, report,
                                          reportBytes, transferTimeout));
}

// libusb must not be called for a handle that this object did not return or has closed.
bool HidIDCard::isOpen(long handle) const
{
    return m_handle && handle == openHandle();
}

long HidIDCard::openHandle() const
{
    // A negative handle is an error. On 32-bit systems addresses in the upper half would be
    // negative.
    constexpr std::uintptr_t positive = std::numeric_limits<long>::max();
    return static_cast<long>(reinterpret_cast<std::uintptr_t>(m_handle) & positive);
}

int HidIDCard::SetUsbMsg(long handle, unsigned char* data, int length)
{
    const auto send = [&](Report report) {
        return HidD_SetFeature(handle, report.data(), reportBytes) != 0;
    };
    Report report{};
    if (length <= reportBytes) {
        std::copy_n(data, std::max(length, 0), report.begin());
        return send(report) ? 0 : NothingMoved;
    }
    data[0] = first;
    std::copy_n(data, reportBytes, report.begin());
    if (!send(report))
        return NothingMoved;
    const unsigned char* next = data + reportBytes;
    int remaining = length - reportBytes;
    while (remaining > 0) {
        const int part = std::min(remaining, nextDataBytes);
        report = {remaining > nextDataBytes ? first : single};
        std::copy_n(next, part, report.begin() + continuationData);
        if (!send(report))
            return NothingMoved;
        next += part;
        remaining -= part;
    }
    return 0;
}

int HidIDCard::GetUsbMsg(long handle, unsigned char* out, unsigned int* length)
{
    ReplyBuffer report{};
    // Cleared each time: otherwise the last "busy" report of a reader that was unplugged would be
    // repeated for ever.
    const auto receive = [&] {
        report = {};
        return HidD_GetFeature(handle, report.data(), reportBytes) != 0;
    };
    do {
        if (!receive())
            return NothingMoved;
    } while (report[status] == busy);
    if (report[status] != ready)
        return ErrorStatus;

    const bool isSingle = report[0] == single;
    const int stated = report[lengthLow] + (isSingle ? 0 : report[lengthHigh] << 8);
    if (length)
        *length = static_cast<unsigned>(stated);
    if (isSingle)
        std::copy_n(report.begin() + replyData, stated, out);
    if (report[0] != first)
        return 0;

    out = std::copy_n(report.begin() + replyData, firstDataBytes, out);
    int remaining = std::min(stated, MessageBytes) - firstDataBytes;
    do {
        if (!receive())
            return NothingMoved;
        const int part = std::clamp(remaining, 0, nextDataBytes);
        out = std::copy_n(report.begin() + continuationData, part, out);
        remaining -= nextDataBytes;
    } while (remaining > 0);
    return 0;
}
