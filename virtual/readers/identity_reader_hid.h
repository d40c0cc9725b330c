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

    /// \return an empty text, or why not
    QString plug();
    void unplug();
    bool isPlugged() const;

    /// Puts a card on the reader: text (256 bytes), photo (1024) and, on cards that have them,
    /// fingerprints (1024), one after the other.
    void putCard(const QByteArray& data);
    void takeCard();

    /// The result byte of the replies to request or select, from now on.
    void setResult(Command command, int result);

    /// Answers "busy" that many times before it sends the data of a read; -1: always.
    void setBusyReplies(int count);

    /// Answers the next read command with exactly these reports (zeros fill each to 32 bytes).
    void setRawReply(const QList<QByteArray>& reports);

    /// Splits a message of up to 65535 bytes into reports, as a reader sends it.
    static QList<QByteArray> reportsOf(const QByteArray& message);

    /// Delays every reply by that many milliseconds.
    void setReplyDelay(int milliseconds);

    /// Replaces the reader's answer to the transfer with this number, counted from 0 since the last
    /// call of `resetFaults`, or to all transfers from this number on.
    void replaceTransfer(int transfer, const UsbAnswer& answer);
    void replaceTransfersFrom(int transfer, const UsbAnswer& answer);

    /// Undoes all settings of the functions from `setResult` to here.
    void resetFaults();

    /// As if another program had claimed the interface.
    void setHeldElsewhere(bool held);

    /// The transfers and other events of the reader, in order; see `UsbEvent::text`.
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
    std::deque<QByteArray> m_reports; ///< not read yet
    UsbDevice m_device;               ///< the last member: its handler uses the others
};

} // namespace virtual_desk
