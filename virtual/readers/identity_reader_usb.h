// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/transfer_script.h"
#include "virtual/kernel/usb_device.h"

#include <QByteArray>
#include <QStringList>

#include <map>
#include <memory>
#include <mutex>

namespace virtual_desk {

/// \brief The USB identity-card reader (0400:C35A), with a security module of either generation.
///
/// The "0501" module receives a command's header on endpoint 0x02 and its body on 0x06, and answers
/// with a header on 0x81 and a body on 0x85. The "0503" module receives a whole frame on 0x01 (or
/// on 0x02, see `setFramesOnSecondEndpointOnly`) and answers on 0x81. Starts unplugged and without
/// a card. All functions may be called from any thread but the virtual kernel's.
class IdentityReaderUsb
{
public:
    enum Module { Module0501, Module0503 };

    /// The commands of a module, by their two bytes in a frame.
    enum Command { GetSamNumber = 0x12FF, FindCard = 0x2001, SelectCard = 0x2002, ReadCard = 0x30 };

    /// The number of a security module at first.
    static QByteArray factorySamNumber();

    IdentityReaderUsb(VirtualKernel& kernel, Module module);
    ~IdentityReaderUsb();

    /// \return an empty text, or why not
    QString plug();
    void unplug();
    bool isPlugged() const;

    /// Replaces the module; a plugged reader is unplugged and plugged in again.
    void setModule(Module module);

    /// Puts a card on the reader: text (256 bytes), photo (1024) and, on cards that have them,
    /// fingerprints (1024), one after the other.
    void putCard(const QByteArray& data);
    void takeCard();

    /// The "0503" module then receives frames on 0x02 only, as some of these modules do.
    void setFramesOnSecondEndpointOnly(bool second);

    /// Answers \p command with these three status bytes and no data, from now on.
    void setStatus(Command command, const QByteArray& status);

    /// Sets the length field of the reply to the read command; -1: the correct length.
    void setStatedReadLength(int length);

    /// Answers \p command with exactly these bytes: the "0501" module's header and body, or the
    /// "0503" module's whole reply as \p header.
    void setRawReply(Command command, const QByteArray& header, const QByteArray& body = {});

    /// Delays every reply by that many milliseconds.
    void setReplyDelay(int milliseconds);

    /// Replaces the reader's answer to the transfer with this number, counted from 0 since the last
    /// call of `resetFaults`, or to all transfers from this number on.
    void replaceTransfer(int transfer, const UsbAnswer& answer);
    void replaceTransfersFrom(int transfer, const UsbAnswer& answer);

    /// Undoes all settings of the functions from `setFramesOnSecondEndpointOnly` to here.
    void resetFaults();

    /// As if another program had claimed the interface.
    void setHeldElsewhere(bool held);

    /// The transfers and other events of the reader, in order; see `UsbEvent::text`.
    QStringList log() const;
    std::vector<UsbEvent> events() const;
    void clearLog();

private:
    struct Faults;

    void createDevice();
    UsbAnswer answer(const UsbRequest& request);
    UsbAnswer takeBytes(const UsbRequest& request);
    UsbAnswer giveReply(quint8 endpoint);
    void execute(const QByteArray& commandBody);
    QByteArray statusOf(int command) const;
    QByteArray dataOf(int command) const;
    void reply(int command, const QByteArray& status, const QByteArray& data);

    VirtualKernel& m_kernel;
    std::unique_ptr<UsbDevice> m_device;
    mutable std::mutex m_mutex; ///< guards everything below
    Module m_module;
    QByteArray m_samNumber;
    QByteArray m_card;
    std::unique_ptr<Faults> m_faults;
    std::map<quint8, QByteArray> m_replies; ///< not read yet, by endpoint
};

} // namespace virtual_desk
