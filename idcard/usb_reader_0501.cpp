// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The operations of the "0501" module: a frame is sent as a header and a body, and the reply
// consists of a header with its length and a body with its status.

#include "idcard/card_data.h"
#include "idcard/usb_reader.h"

#include <QDebug>

#include <algorithm>
#include <cstdio>

namespace {

using namespace UsbReader;

constexpr unsigned char headerOut = 0x02;
constexpr unsigned char bodyOut = 0x06;
constexpr unsigned char headerIn = 0x81;
constexpr unsigned char bodyIn = 0x85;

constexpr std::size_t bodyStatus = 0;
constexpr std::size_t selectStatus = 7; // the offset in the reply to the select command only

// The steps of an exchange, in order; an operation's result code counts down from its first.
enum Step { WriteHeader, WriteBody, ReadHeader, ReadBody, Completed };
constexpr int statusRefused = 4;

bool writeHeader(libusb_device_handle* handle, const Frame& frame, unsigned timeout)
{
    return write(handle, headerOut, frame.data(), headerBytes, timeout);
}

bool writeBody(libusb_device_handle* handle, const Frame& frame, unsigned timeout)
{
    return write(handle, bodyOut, frame.data() + headerBytes, bodyBytes, timeout);
}

struct Exchange
{
    const Frame& frame;
    unsigned writeTimeout;
    unsigned readTimeout;
    Reply header{};
    Reply body{};

    // Returns the step that failed, or Completed.
    Step run(libusb_device_handle* handle)
    {
        if (!writeHeader(handle, frame, writeTimeout))
            return WriteHeader;
        if (!writeBody(handle, frame, writeTimeout))
            return WriteBody;
        if (!read(handle, headerIn, readTimeout, header))
            return ReadHeader;
        return read(handle, bodyIn, readTimeout, body) ? Completed : ReadBody;
    }
};

void dump(const Reply& reply)
{
    for (int i = 0; i < reply.received; ++i)
        std::printf("%02X ", static_cast<unsigned>(reply.bytes[static_cast<std::size_t>(i)]));
}

} // namespace

int32_t UsbReader::getIDSAM0501(libusb_device_handle* handle, char* samText)
{
    if (!writeHeader(handle, getSamNumber, shortTimeout)) {
        qWarning("getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[0] \n");
        return -2;
    }
    if (!writeBody(handle, getSamNumber, shortTimeout)) {
        qWarning("getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[1] \n");
        return -3;
    }
    Reply header;
    if (!read(handle, headerIn, shortTimeout, header)) {
        qWarning("getIDSAM0501-libusb_bulk_transfer(0x81) read failed:[2] \n");
        return -4;
    }
    dump(header);
    Reply body;
    if (!read(handle, bodyIn, shortTimeout, body)) {
        qWarning("libusb_bulk_transfer(0x81) read failed:[3] \n");
        return -5;
    }
    if (body.hasStatus(bodyStatus, statusDone))
        formatSamNumber(body.bytes.data() + 3, samText);
    return 0;
}

int32_t UsbReader::findCard0501(libusb_device_handle* handle)
{
    constexpr int firstCode = -100;
    Exchange exchange{findCard, longTimeout, shortTimeout};
    const Step step = exchange.run(handle);
    if (step != Completed)
        return firstCode - step;
    return exchange.body.hasStatus(bodyStatus, statusNoCard) ? firstCode - statusRefused : 0;
}

int32_t UsbReader::selectCard0501(libusb_device_handle* handle)
{
    constexpr int firstCode = -110;
    Exchange exchange{selectCard, shortTimeout, shortTimeout};
    const Step step = exchange.run(handle);
    if (step != Completed)
        return firstCode - step;
    return exchange.body.hasStatus(selectStatus, statusNotSelected) ? firstCode - statusRefused : 0;
}

int32_t UsbReader::readCardData0501(libusb_device_handle* handle, unsigned char* output,
                                    int* fingerprintFlag)
{
    constexpr int firstCode = -120;
    Exchange exchange{readCard0501, shortTimeout, longTimeout};
    const Step step = exchange.run(handle);
    if (step != Completed)
        return firstCode - step;
    if (!exchange.body.hasStatus(bodyStatus, statusDone))
        return firstCode - statusRefused;

    constexpr int notCopied = 8;
    const int length = exchange.header.statedLength() - notCopied;
    if (length < 1)
        return 0;
    const auto* first = exchange.body.bytes.begin() + 1;
    std::copy_n(first, std::min<std::ptrdiff_t>(length, exchange.body.bytes.end() - first), output);
    if (length > CardData::fingerprintOffset)
        *fingerprintFlag = 1;
    return 0;
}
