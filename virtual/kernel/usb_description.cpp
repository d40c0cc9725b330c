// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/kernel/usb_description.h"

#include <initializer_list>

namespace virtual_desk {
namespace {

void append(QByteArray& target, std::initializer_list<int> bytes)
{
    for (const int byte : bytes)
        target.append(static_cast<char>(byte));
}

QByteArray interfaceDescriptors(const UsbInterface& interface)
{
    QByteArray result;
    append(result, {9, 4, interface.number, 0, static_cast<int>(interface.endpoints.size()),
                    interface.classCode, 0, 0, 0});
    for (const UsbEndpoint& endpoint : interface.endpoints) {
        append(result, {7, 5, endpoint.address, endpoint.type, endpoint.maxPacket & 0xFF,
                        endpoint.maxPacket >> 8, endpoint.interval});
    }
    return result;
}

} // namespace

QByteArray usbDescriptors(const UsbDescription& description)
{
    QByteArray interfaces;
    for (const UsbInterface& interface : description.interfaces)
        interfaces += interfaceDescriptors(interface);
    QByteArray result;
    append(result,
           {18, 1, 0x00, 0x02, 0, 0, 0, 64, description.vendor & 0xFF, description.vendor >> 8,
            description.product & 0xFF, description.product >> 8, 0x00, 0x01, 0, 0, 0, 1});
    const int total = 9 + static_cast<int>(interfaces.size());
    append(result, {9, 2, total & 0xFF, total >> 8, static_cast<int>(description.interfaces.size()),
                    1, 0, 0x80, 50});
    return result + interfaces;
}

} // namespace virtual_desk
