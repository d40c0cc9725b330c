// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/sim/pcsc_daemon.h"
#include "virtual/sim/sim_files.h"

#include <QByteArray>
#include <QList>
#include <QMap>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace virtual_desk {

/// \brief A SIM card for a slot of the virtual reader. It runs on its own thread.
///
/// The reader's driver is the TCP server and the card its client: connecting inserts the card,
/// disconnecting removes it. The daemon notices either after up to 0.4 s. All functions may be
/// called from any thread.
class VirtualSimCard
{
public:
    /// The card's reaction to a command, instead of the answer from its files.
    struct Behaviour
    {
        enum class Kind { files, bytes, pulled };
        Kind kind = Kind::files;
        /// The response with its status word, for Kind::bytes.
        QByteArray bytes = {};
        /// Delay of the response.
        int delayMs = 0;
    };

    /// \param port the slot's, see PcscDaemon
    explicit VirtualSimCard(quint16 port = PcscDaemon::SlotPort);
    ~VirtualSimCard();
    VirtualSimCard(const VirtualSimCard&) = delete;
    VirtualSimCard& operator=(const VirtualSimCard&) = delete;

    /// The file 2FE2: 10 bytes with swapped nibbles. At first 98681031547698103204, ICCID
    /// 89860113456789012340.
    void setIccid(const QByteArray& bytes);

    /// Sets the reaction to commands that begin with these bytes, until the next call with the same
    /// bytes.
    void setBehaviour(const QByteArray& commandStart, const Behaviour& behaviour);

    /// Puts the card into the slot and waits until the daemon reports it to its clients. After a
    /// removal it first waits half a second, because the daemon would not notice a faster change.
    /// \return false when the daemon did not report it within five seconds
    bool insert();

    /// Takes the card out.
    void pull();
    /// Waits, after a removal, until the daemon reports an empty slot to its clients, for up to
    /// five seconds. Not to be called while the daemon is frozen.
    void awaitRemoval() const;

    /// Whether the reader has the card powered, and how often it has powered it on.
    bool isPowered() const;
    int powerOns() const;

    /// Every command that the card received, the oldest first.
    QList<QByteArray> commands() const;

    /// The card's usual answer to reset: T=0.
    static QByteArray answerToReset();
    /// What the card answers to a reset instead. Only while it is out of the reader.
    void setAnswerToReset(const QByteArray& answer);

private:
    void serve();
    void control(quint8 code);
    void serveCommand(const QByteArray& command);
    QByteArray response(const QByteArray& command, const Behaviour& behaviour);
    Behaviour behaviour(const QByteArray& command) const;
    void setPowered(bool powered);

    const quint16 m_port;
    QByteArray m_answerToReset = answerToReset();
    int m_socket = -1;
    std::thread m_thread;
    std::chrono::steady_clock::time_point m_pulledAt;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    SimFiles m_files;
    QMap<QByteArray, Behaviour> m_behaviours;
    QList<QByteArray> m_commands;
    bool m_powered = false;
    int m_powerOns = 0;
    bool m_pulling = false;
};

} // namespace virtual_desk
