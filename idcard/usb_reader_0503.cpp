// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The operations of the "0503" module: a frame is sent in one transfer and its reply received in
// one.

#include "idcard/card_data.h"
#include "idcard/usb_reader.h"

#include <QDebug>

#include <algorithm>

namespace {

using namespace UsbReader;

// Sends a find or select frame; the result counts down from firstCode: write, read, refused.
int32_t addressCard(libusb_device_handle* handle, const Frame& frame, unsigned timeout,
                    unsigned char refused, int firstCode)
{
    if (!writeFrame0503(handle, frame, timeout))
        return firstCode;
    Reply reply;
    if (!readReply0503(handle, reply))
        return firstCode - 1;
    return reply.hasStatus(statusOffset0503, refused) ? firstCode - 2 : 0;
}

void logFourBytes(const unsigned char* bytes)
{
    qWarning("%02X %02X %02X %02X", unsigned{bytes[0]}, unsigned{bytes[1]}, unsigned{bytes[2]},
             unsigned{bytes[3]});
}

} // namespace

int32_t UsbReader::getIDSAM0503(libusb_device_handle* handle, char* samText)
{
    if (!writeFrame0503(handle, getSamNumber, shortTimeout)) {
        qWarning("libusb_bulk_transfer(0x01) write failed:[0] \n");
        return -31;
    }
    Reply reply;
    if (!readReply0503(handle, reply)) {
        qWarning("libusb_bulk_transfer(0x81) read failed:[1] \n");
        return -32;
    }
    if (reply.hasStatus(statusOffset0503, statusDone))
        formatSamNumber(reply.bytes.data() + dataOffset0503, samText);
    return 0;
}

int32_t UsbReader::findCard0503(libusb_device_handle* handle)
{
    return addressCard(handle, findCard, longTimeout, statusNoCard, -310);
}

int32_t UsbReader::selectCard0503(libusb_device_handle* handle)
{
    return addressCard(handle, selectCard, shortTimeout, statusNotSelected, -300);
}

int32_t UsbReader::readCardData0503(libusb_device_handle* handle, unsigned char* output,
                                    int* fingerprintFlag)
{
    if (!writeFrame0503(handle, readCard0503, shortTimeout))
        return -320;
    Reply reply;
    if (!readReply0503(handle, reply))
        return -321;
    const unsigned char* status = reply.bytes.data() + statusOffset0503;
    if (!reply.hasStatus(statusOffset0503, statusDone)) {
        qWarning("%02X %02X %02X", unsigned{status[0]}, unsigned{status[1]}, unsigned{status[2]});
        return -322;
    }

    constexpr int notCopied = 4;
    const int length = reply.statedLength() - notCopied;
    const auto* first = reply.bytes.begin() + dataOffset0503;
    if (length > 0)
        std::copy_n(first, std::min<std::ptrdiff_t>(length, reply.bytes.end() - first), output);
    if (length > CardData::fingerprintOffset)
        *fingerprintFlag = 1;
    logFourBytes(output);
    logFourBytes(reply.bytes.data());
    return 0;
}
