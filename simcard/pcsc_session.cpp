// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "simcard/pcsc_session.h"

#include "simcard/reader_name.h"

#include <array>

namespace {

// More than any response to a command of the lengths we send (258 bytes), and what a response
// buffer of 1024 characters holds as hexadecimal text with its NUL. The daemon refuses a longer
// one.
// Its hexadecimal digits and a zero fit into the callers' 1024 characters.
constexpr std::size_t longestResponse = 511;

constexpr DWORD statusWordBytes = 2;

} // namespace

PcscSession::~PcscSession()
{
    close();
}

LONG PcscSession::open(const std::string& wanted, std::string& opened)
{
    close();
    LONG code = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &m_context);
    if (code != SCARD_S_SUCCESS)
        return code;
    m_connected = true;
    const auto chosen = chooseReader(readers(code), wanted);
    if (!chosen) {
        close();
        return code == SCARD_S_SUCCESS ? SCARD_E_UNKNOWN_READER : code;
    }
    m_reader = *chosen;
    opened = *chosen;
    return SCARD_S_SUCCESS;
}

LONG PcscSession::powerOn(std::vector<std::uint8_t>& answerToReset)
{
    if (m_powered)
        powerOff();
    LONG code = SCardConnect(m_context, m_reader.c_str(), SCARD_SHARE_SHARED,
                             SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1, &m_card, &m_protocol);
    if (code != SCARD_S_SUCCESS)
        return code;
    m_powered = true;
    // A file selected here must still be selected at the read, whatever other programs do with the
    // card.
    code = SCardBeginTransaction(m_card);
    if (code == SCARD_S_SUCCESS) {
        answerToReset.resize(MAX_ATR_SIZE);
        DWORD length = MAX_ATR_SIZE;
        code =
            SCardStatus(m_card, nullptr, nullptr, nullptr, nullptr, answerToReset.data(), &length);
        answerToReset.resize(code == SCARD_S_SUCCESS ? length : 0);
    }
    if (code != SCARD_S_SUCCESS)
        powerOff();
    return code;
}

LONG PcscSession::transmit(const std::vector<std::uint8_t>& command,
                           std::vector<std::uint8_t>& response)
{
    if (!m_powered)
        return SCARD_W_UNPOWERED_CARD;
    const SCARD_IO_REQUEST* const header =
        m_protocol == SCARD_PROTOCOL_T1 ? SCARD_PCI_T1 : SCARD_PCI_T0;
    response.resize(longestResponse);
    DWORD length = longestResponse;
    LONG code = SCardTransmit(m_card, header, command.data(), command.size(), nullptr,
                              response.data(), &length);
    if (code == SCARD_S_SUCCESS && length < statusWordBytes)
        code = SCARD_W_REMOVED_CARD;
    response.resize(code == SCARD_S_SUCCESS ? length : 0);
    return code;
}

LONG PcscSession::powerOff()
{
    if (!m_powered)
        return SCARD_W_UNPOWERED_CARD;
    m_powered = false;
    return SCardDisconnect(m_card, SCARD_UNPOWER_CARD);
}

LONG PcscSession::close()
{
    if (m_powered)
        powerOff();
    if (!m_connected)
        return SCARD_S_SUCCESS;
    m_connected = false;
    return SCardReleaseContext(m_context);
}

std::vector<std::string> PcscSession::readers(LONG& code) const
{
    // Every name PC/SC can list, each with its NUL, and one more NUL behind the last.
    std::array<char, static_cast<std::size_t>(PCSCLITE_MAX_READERS_CONTEXTS) * MAX_READERNAME + 1>
        list{};
    DWORD length = list.size();
    code = SCardListReaders(m_context, nullptr, list.data(), &length);
    std::vector<std::string> names;
    if (code == SCARD_S_SUCCESS) {
        list.back() = '\0';
        for (const char* name = list.data(); *name != '\0'; name += names.back().size() + 1)
            names.emplace_back(name);
    }
    return names;
}
