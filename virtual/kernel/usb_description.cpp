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

// Indexes of the string descriptors.
const int manufacturerString = 1;
const int productString = 2;
const int usEnglish = 0x0409;

QByteArray interfaceDescriptors(const UsbInterface& interface)
{
    QByteArray result;
    append(result, {9, 4, interface.number, 0, static_cast<int>(interface.endpoints.size()),
                    interface.classCode, interface.subclass, 0, 0});
    if (!interface.reportDescriptor.isEmpty())
        result += hidDescriptor(interface);
    result += interface.classDescriptors;
    for (const UsbEndpoint& endpoint : interface.endpoints) {
        append(result, {7, 5, endpoint.address, endpoint.type, endpoint.maxPacket & 0xFF,
                        endpoint.maxPacket >> 8, endpoint.interval});
    }
    return result;
}

QByteArray stringDescriptorOf(const QByteArray& text)
{
    QByteArray result;
    append(result, {2 + 2 * static_cast<int>(text.size()), 3});
    for (const char letter : text)
        append(result, {letter, 0});
    return result;
}

} // namespace

const char usbManufacturer[] = "Virtual desk";

QByteArray deviceDescriptor(const UsbDescription& description)
{
    const UsbClass& kind = description.deviceClass;
    const bool named = !description.name.isEmpty();
    QByteArray result;
    append(result, {18, 1, 0x00, 0x02, kind.code, kind.subclass, kind.protocol, 64,
                    description.vendor & 0xFF, description.vendor >> 8, description.product & 0xFF,
                    description.product >> 8, 0x00, 0x01, named ? manufacturerString : 0,
                    named ? productString : 0, 0, 1});
    return result;
}

QByteArray configurationDescriptors(const UsbDescription& description)
{
    QByteArray interfaces = description.association;
    for (const UsbInterface& interface : description.interfaces)
        interfaces += interfaceDescriptors(interface);
    const int total = 9 + static_cast<int>(interfaces.size());
    QByteArray result;
    append(result, {9, 2, total & 0xFF, total >> 8, static_cast<int>(description.interfaces.size()),
                    1, 0, 0x80, 50});
    return result + interfaces;
}

QByteArray usbDescriptors(const UsbDescription& description)
{
    return deviceDescriptor(description) + configurationDescriptors(description);
}

QByteArray hidDescriptor(const UsbInterface& interface)
{
    const int length = static_cast<int>(interface.reportDescriptor.size());
    QByteArray result;
    append(result, {9, 0x21, 0x11, 0x01, 0, 1, 0x22, length & 0xFF, length >> 8});
    return result;
}

QByteArray stringDescriptor(const UsbDescription& description, int index)
{
    QByteArray languages;
    switch (description.name.isEmpty() ? -1 : index) {
    case 0:
        append(languages, {4, 3, usEnglish & 0xFF, usEnglish >> 8});
        return languages;
    case manufacturerString:
        return stringDescriptorOf(usbManufacturer);
    case productString:
        return stringDescriptorOf(description.name);
    default:
        return {};
    }
}

} // namespace virtual_desk
