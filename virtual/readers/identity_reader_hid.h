// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/transfer_script.h"
#include "virtual/kernel/usb_device.h"

#include <QByteArray>
#include <QStringList>

#include <deque>
#include <mutex>

namespace virtual_desk {

/// \brief The HID identity-card reader (072F:90D5), with its 32-byte feature reports.
///
/// Starts unplugged, without a card, and with the kernel's HID driver bound to its interface. All
/// functions may be called from any thread but the virtual kernel's.
class IdentityReaderHid
{
public:
    enum Command { RequestCard = 0xB0, SelectCard = 0xB1, ReadCard = 0xB4 };

    explicit IdentityReaderHid(VirtualKernel& kernel);

    void plug();
    void unplug();
    bool isPlugged() const;

    /// Lays down a card: text (256 bytes), photo (1024) and, on cards that have them, fingerprints
    /// (1024), one after the other.
    void putCard(const QByteArray& data);
    void takeCard();

    /// The result byte of the replies to request or select, from now on.
    void setResult(Command command, int result);

    /// Answers "busy" that many times before the data of a read come; -1: for ever.
    void setBusyReplies(int count);

    /// Answers the next read command with exactly these reports (zeros fill each to 32 bytes).
    void setRawReply(const QList<QByteArray>& reports);

    /// The reports in which a reader delivers a message of up to 65535 bytes.
    static QList<QByteArray> reportsOf(const QByteArray& message);

    /// Every reply comes that many milliseconds late.
    void setReplyDelay(int milliseconds);

    /// Gives the transfer with this number, counted from 0 since the last call of `resetFaults`,
    /// another answer than the reader's own; or all transfers from this number on.
    void replaceTransfer(int transfer, const UsbAnswer& answer);
    void replaceTransfersFrom(int transfer, const UsbAnswer& answer);

    /// Takes back everything that the functions from `setResult` to here set.
    void resetFaults();

    /// Another program holds the interface.
    void setHeldElsewhere(bool held);

    /// What programs did with the reader, in order; see `UsbEvent::text`.
    QStringList log() const;
    std::vector<UsbEvent> events() const;
    void clearLog();

private:
    struct Faults
    {
        std::map<int, int> results;
        int busyReplies = 0;
        QList<QByteArray> rawReply;
        int replyDelay = 0;
        TransferScript script;
    };

    UsbAnswer answer(const UsbRequest& request);
    void execute(const QByteArray& report);
    UsbAnswer giveReport();
    void replyWithResult(Command command);

    std::mutex m_mutex; ///< guards everything below but the device
    QByteArray m_card;
    Faults m_faults;
    int m_busyLeft = 0;
    std::deque<QByteArray> m_reports; ///< what waits to be read
    UsbDevice m_device;               ///< last: its handler uses the rest
};

} // namespace virtual_desk
