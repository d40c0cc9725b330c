// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <winscard.h>

#include <cstdint>
#include <string>
#include <vector>

/// \brief One connection to the PC/SC daemon, with the reader chosen on it and the card powered in
/// that reader.
///
/// Every function returns PC/SC's code (SCARD_S_SUCCESS or an error) and may block for as long as
/// the daemon or the card does, so it runs on the thread of PcscWorker. Not safe for use by two
/// threads at once.
class PcscSession
{
public:
    PcscSession() = default;
    ~PcscSession();
    PcscSession(const PcscSession&) = delete;
    PcscSession& operator=(const PcscSession&) = delete;

    /// Connects to the daemon and chooses the reader that `wanted` stands for; its full name goes
    /// to `opened`. An earlier connection is closed first. After a failure there is no connection.
    LONG open(const std::string& wanted, std::string& opened);

    /// Powers the card, after powering it off if it was on. The card is locked against other
    /// programs until it is powered off.
    LONG powerOn(std::vector<std::uint8_t>& answerToReset);

    /// Sends one command. A response of less than two bytes is SCARD_W_REMOVED_CARD: the daemon
    /// reports success with no data when the card is pulled during the command.
    LONG transmit(const std::vector<std::uint8_t>& command, std::vector<std::uint8_t>& response);

    /// Powers the card off and releases it.
    LONG powerOff();

    /// Powers off a card that is on, and disconnects from the daemon. Afterwards there is no
    /// connection, also when an error is returned.
    LONG close();

private:
    std::vector<std::string> readers(LONG& code) const;

    bool m_connected = false;
    SCARDCONTEXT m_context = 0;
    std::string m_reader;
    bool m_powered = false;
    SCARDHANDLE m_card = 0;
    DWORD m_protocol = 0;
};
