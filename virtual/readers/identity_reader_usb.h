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
/// The "0501" module takes a command's header on endpoint 0x02 and its body on 0x06, and answers
/// with a header on 0x81 and a body on 0x85. The "0503" module takes a whole frame on 0x01 (0x02 on
/// request) and answers on 0x81. Starts unplugged and without a card. All functions may be called
/// from any thread but the virtual kernel's.
class IdentityReaderUsb
{
public:
    enum Module { Module0501, Module0503 };

    /// The commands that a module knows, by their two bytes in a frame.
    enum Command { GetSamNumber = 0x12FF, FindCard = 0x2001, SelectCard = 0x2002, ReadCard = 0x30 };

    /// The number that a module has from the factory.
    static QByteArray factorySamNumber();

    IdentityReaderUsb(VirtualKernel& kernel, Module module);
    ~IdentityReaderUsb();

    void plug();
    void unplug();
    bool isPlugged() const;

    /// Exchanges the module; a plugged reader is pulled and plugged in again.
    void setModule(Module module);

    /// Lays down a card: text (256 bytes), photo (1024) and, on cards that have them, fingerprints
    /// (1024), one after the other.
    void putCard(const QByteArray& data);
    void takeCard();

    /// The "0503" module takes its frames on 0x02 only, as some do.
    void setFramesOnSecondEndpointOnly(bool second);

    /// Answers \p command with these three status bytes and no data, from now on.
    void setStatus(Command command, const QByteArray& status);

    /// States \p length in the reply to the read command, whatever the reply holds; -1: the truth.
    void setStatedReadLength(int length);

    /// Answers \p command with exactly these bytes: the "0501" module's header and body, or the
    /// "0503" module's whole reply as \p header.
    void setRawReply(Command command, const QByteArray& header, const QByteArray& body = {});

    /// Every reply comes that many milliseconds late.
    void setReplyDelay(int milliseconds);

    /// Gives the transfer with this number, counted from 0 since the last call of `resetFaults`,
    /// another answer than the reader's own; or all transfers from this number on.
    void replaceTransfer(int transfer, const UsbAnswer& answer);
    void replaceTransfersFrom(int transfer, const UsbAnswer& answer);

    /// Takes back everything that the functions from `setFramesOnSecondEndpointOnly` to here set.
    void resetFaults();

    /// Another program holds the interface.
    void setHeldElsewhere(bool held);

    /// What programs did with the reader, in order; see `UsbEvent::text`.
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
    std::map<quint8, QByteArray> m_replies; ///< what waits to be read, by endpoint
};

} // namespace virtual_desk
