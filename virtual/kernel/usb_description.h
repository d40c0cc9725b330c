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
};

/// \brief The descriptor data of a device.
struct UsbDescription
{
    quint16 vendor = 0;
    quint16 product = 0;
    std::vector<UsbInterface> interfaces;
};

/// The device descriptor followed by the one configuration with all that belongs to it, as the
/// kernel offers them in the "descriptors" attribute (USB 2.0, 9.6).
QByteArray usbDescriptors(const UsbDescription& description);

} // namespace virtual_desk
