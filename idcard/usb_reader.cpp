// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The transfers that are common to both generations of the module.

#include "idcard/usb_reader.h"

#include "diagnosis/categories.h"
#include "diagnosis/usb_failure.h"

#include <QDebug>

#include <cstdio>

namespace UsbReader {

namespace {

constexpr unsigned char frameEndpoint = 0x01;
constexpr unsigned char fallbackEndpoint = 0x02;
constexpr unsigned char replyEndpoint = 0x81;

constexpr bool checkByteFits(const Frame& frame)
{
    return (frame[5] ^ frame[6] ^ frame[7] ^ frame[8]) == frame[9];
}

bool passed(unsigned char endpoint, int result)
{
    if (result < 0)
        qCWarning(idcardLog, "endpoint %02x: %s", unsigned{endpoint}, libusb_error_name(result));
    return result == LIBUSB_SUCCESS;
}

static_assert(checkByteFits(getSamNumber) && checkByteFits(findCard) && checkByteFits(selectCard) &&
              checkByteFits(readCard0501) && checkByteFits(readCard0503));

} // namespace

bool write(libusb_device_handle* handle, unsigned char endpoint, const unsigned char* data,
           int length, unsigned timeout)
{
    auto* const bytes = const_cast<unsigned char*>(data); // libusb only reads on the way out
    int transferred = 0;
    const int result = libusb_bulk_transfer(handle, endpoint, bytes, length, &transferred, timeout);
    return passed(endpoint, result);
}

bool read(libusb_device_handle* handle, unsigned char endpoint, unsigned timeout, Reply& reply)
{
    reply = {};
    const int result = libusb_bulk_transfer(handle, endpoint, reply.bytes.data(), replyBytes,
                                            &reply.received, timeout);
    return passed(endpoint, result);
}

bool writeFrame0503(libusb_device_handle* handle, const Frame& frame, unsigned timeout)
{
    const int length = static_cast<int>(frame.size());
    return write(handle, frameEndpoint, frame.data(), length, timeout) ||
           write(handle, fallbackEndpoint, frame.data(), length, timeout);
}

bool readReply0503(libusb_device_handle* handle, Reply& reply)
{
    return read(handle, replyEndpoint, shortTimeout, reply);
}

void formatSamNumber(const unsigned char* number, char* text)
{
    for (std::ptrdiff_t i = 0; i < samBytes; ++i)
        std::snprintf(text + i * 2, 3, "%02X", static_cast<unsigned>(number[i]));
}

bool Session::initialise()
{
    m_initialised = logged(idcardLog, "start libusb", libusb_init(nullptr)) == LIBUSB_SUCCESS;
    return m_initialised;
}

bool Session::open()
{
    m_handle = libusb_open_device_with_vid_pid(nullptr, vendorId, productId);
    if (!m_handle)
        logUnopened(idcardLog, nullptr, vendorId, productId);
    return m_handle != nullptr;
}

bool Session::claim()
{
    m_claimed = logged(idcardLog, "claim interface 0",
                       libusb_claim_interface(m_handle, interfaceNumber)) == LIBUSB_SUCCESS;
    return m_claimed;
}

void Session::end()
{
    if (m_claimed)
        libusb_release_interface(m_handle, interfaceNumber);
    if (m_handle)
        libusb_close(m_handle);
    if (m_initialised)
        libusb_exit(nullptr);
    m_claimed = false;
    m_handle = nullptr;
    m_initialised = false;
}

} // namespace UsbReader
