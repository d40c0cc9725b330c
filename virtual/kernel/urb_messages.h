// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/usb_device.h"

#include <optional>

namespace virtual_desk {

/// Every message of the URB protocol begins with a header of this size (Linux,
/// Documentation/usb/usbip_protocol.rst).
constexpr int urbHeaderBytes = 48;

/// \brief What a kernel asks of a device: to carry out a transfer (an URB), or to forget one.
struct UrbCommand
{
    enum Kind : quint32 { Submit = 1, Unlink = 2 };

    Kind kind = Submit;
    quint32 number = 0; ///< which the reply carries, too
    bool in = false;
    quint8 endpoint = 0;  ///< without the direction
    int length = 0;       ///< of Submit: bytes to move, without the setup bytes
    UsbSetup setup;       ///< of Submit to endpoint 0
    quint32 unlinked = 0; ///< of Unlink: the number of the transfer

    /// How many bytes follow the header.
    int dataBytes() const { return kind == Submit && !in ? length : 0; }
};

/// The command of a header; std::nullopt when it is none that a device can carry out.
std::optional<UrbCommand> readUrbCommand(const QByteArray& header);

/// The transfer of a Submit; std::nullopt when the device has no such endpoint.
std::optional<UsbRequest> transferOf(const UrbCommand& command, const QByteArray& data,
                                     const UsbDescription& description);

/// The end of a transfer. \param status 0 or a negative errno \param bytes what arrived, if IN
QByteArray submitReply(quint32 number, int status, int actual, const QByteArray& bytes = {});

/// \param status -ECONNRESET: the transfer is forgotten; 0: it had ended before
QByteArray unlinkReply(quint32 number, int status);

} // namespace virtual_desk
