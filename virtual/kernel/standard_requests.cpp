// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/kernel/standard_requests.h"

#include <algorithm>

namespace virtual_desk {
namespace {

// bmRequestType
enum : quint8 { TypeMask = 0x60, ClassType = 0x20, RecipientMask = 0x1F, ToInterface = 1 };

enum StandardRequest : quint8 {
    GetStatus = 0,
    ClearFeature = 1,
    SetFeature = 3,
    GetDescriptor = 6,
    GetConfiguration = 8,
    SetConfiguration = 9,
    GetInterface = 10,
    SetInterface = 11
};
const quint8 hidSetIdle = 10;

enum DescriptorType : quint8 {
    Device = 1,
    Configuration = 2,
    String = 3,
    Hid = 0x21,
    Report = 0x22
};

const UsbInterface* hidInterface(const UsbDescription& description, int number)
{
    const auto found =
        std::find_if(description.interfaces.begin(), description.interfaces.end(),
                     [number](const UsbInterface& entry) {
                         return entry.number == number && !entry.reportDescriptor.isEmpty();
                     });
    return found == description.interfaces.end() ? nullptr : &*found;
}

QByteArray ofInterface(const UsbDescription& description, const UsbSetup& setup)
{
    const UsbInterface* hid = hidInterface(description, setup.index & 0xFF);
    if (!hid)
        return {};
    switch (setup.value >> 8) {
    case Hid:
        return hidDescriptor(*hid);
    case Report:
        return hid->reportDescriptor;
    default:
        return {};
    }
}

QByteArray descriptor(const UsbDescription& description, const UsbSetup& setup)
{
    if ((setup.requestType & RecipientMask) == ToInterface)
        return ofInterface(description, setup);
    switch (setup.value >> 8) {
    case Device:
        return deviceDescriptor(description);
    case Configuration:
        return configurationDescriptors(description);
    case String:
        return stringDescriptor(description, setup.value & 0xFF);
    default:
        return {};
    }
}

// A descriptor is cut to the length that is asked for.
UsbAnswer descriptorAnswer(const UsbDescription& description, const UsbRequest& request)
{
    const QByteArray bytes = descriptor(description, request.setup);
    return bytes.isEmpty() ? UsbAnswer::stall() : UsbAnswer::data(bytes.left(request.length));
}

} // namespace

std::optional<UsbAnswer> standardAnswer(const UsbDescription& description,
                                        const UsbRequest& request)
{
    const UsbSetup& setup = request.setup;
    if (request.kind != UsbRequest::Control)
        return std::nullopt;
    const quint8 type = setup.requestType & TypeMask;
    if (type == ClassType && setup.request == hidSetIdle &&
        hidInterface(description, setup.index & 0xFF))
        return UsbAnswer::accept();
    if (type != 0)
        return std::nullopt;
    switch (setup.request) {
    case GetDescriptor:
        return descriptorAnswer(description, request);
    case GetStatus:
        return UsbAnswer::data(QByteArray(2, '\0'));
    case GetConfiguration:
        return UsbAnswer::data(QByteArray(1, '\1'));
    case GetInterface:
        return UsbAnswer::data(QByteArray(1, '\0'));
    case SetConfiguration:
    case SetInterface:
    case SetFeature:
    case ClearFeature:
        return UsbAnswer::accept();
    default:
        return UsbAnswer::stall();
    }
}

} // namespace virtual_desk
