// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

#include <vector>

namespace virtual_desk {

/// \brief One endpoint of an emulated device, as its descriptor states it.
struct UsbEndpoint
{
    enum Type : quint8 { Bulk = 2, Interrupt = 3 };

    quint8 address = 0; ///< number, with bit 7 set for IN
    Type type = Bulk;
    quint16 maxPacket = 64; ///< bytes
    quint8 interval = 0;    ///< polling interval of interrupt endpoints, milliseconds at full speed
};

/// \brief One interface of an emulated device.
struct UsbInterface
{
    quint8 number = 0;
    quint8 classCode = 0xFF; ///< 0x03 is HID, 0xFF vendor-specific
    std::vector<UsbEndpoint> endpoints;
    QByteArray kernelDriver; ///< the driver that the kernel has bound when the device is plugged;
                             ///< empty: none
    QByteArray reportDescriptor = {}; ///< of a HID interface: what its reports look like
    quint8 subclass = 0;
    QByteArray classDescriptors = {}; ///< of another class, between interface and endpoints
};

/// \brief The three numbers of a device or interface association that say what it is.
struct UsbClass
{
    quint8 code = 0;
    quint8 subclass = 0;
    quint8 protocol = 0;
};

/// \brief The descriptor data of a device.
struct UsbDescription
{
    quint16 vendor = 0;
    quint16 product = 0;
    std::vector<UsbInterface> interfaces;
    QByteArray name = {};   ///< the product string
    bool highSpeed = false; ///< 480 Mbit/s instead of 12
    UsbClass deviceClass = {};
    QByteArray association = {}; ///< descriptor of interfaces that belong together, before them
};

/// The maker that every emulated device names.
extern const char usbManufacturer[];

/// The device descriptor followed by the one configuration with all that belongs to it, as the
/// kernel offers them in the "descriptors" attribute (USB 2.0, 9.6).
QByteArray usbDescriptors(const UsbDescription& description);
/// Its two parts.
QByteArray deviceDescriptor(const UsbDescription& description);
QByteArray configurationDescriptors(const UsbDescription& description);

/// The descriptor of a HID interface that announces its report descriptor (HID 1.11, 6.2.1).
QByteArray hidDescriptor(const UsbInterface& interface);

/// String descriptor 0 (the languages), 1 (the maker) or 2 (the product); empty for others.
QByteArray stringDescriptor(const UsbDescription& description, int index);

} // namespace virtual_desk
