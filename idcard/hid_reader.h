// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idcard/card_data.h"

#include <cstdint>

struct libusb_context;
struct libusb_device_handle;

/// \brief An identity-card reader that presents itself as a HID device.
///
/// Messages travel as 32-byte feature reports through control transfers of at most 1000 ms. The
/// operations keep the names and result codes of the usual libraries of such readers. One object
/// serves one command, on the thread that handles the command; the destructor releases what is
/// still open.
class HidIDCard
{
public:
    static constexpr std::uint16_t VendorId = 0x072F;  ///< of the device descriptor
    static constexpr std::uint16_t ProductId = 0x90D5; ///< of the device descriptor

    /// Results of the operations below, besides 0.
    static constexpr int CardRefused = -2;    ///< no card found, or not selected
    static constexpr int InvalidHandle = -12; ///< the reader has not been opened
    static constexpr int NothingMoved = -15;  ///< a transfer moved no bytes
    static constexpr int ErrorStatus = -20;   ///< the reader reported an error

    /// Bytes that the target of a message takes: a card's text, photo and fingerprints.
    static constexpr int MessageBytes = CardData::mostBytes;

    /// Attaches the reader's kernel driver again if any object ever detached it: otherwise other
    /// programs could not use the reader until it is replugged. For the end of the process; has no
    /// effect while an object has the reader open. Any thread.
    static void giveBack();

    HidIDCard() = default;
    ~HidIDCard();
    HidIDCard(const HidIDCard&) = delete;
    HidIDCard& operator=(const HidIDCard&) = delete;

    /// Opens and claims the first attached reader, taking it from a kernel driver if need be.
    /// \param port not used.
    /// \return the reader handle (greater than 0), or a negative value.
    long ICC_Reader_Open(char* port);

    /// Closes the reader, if one is open.
    /// \return 0.
    int ICC_Reader_Close(long handle);

    /// Looks for a card.
    /// \return 0, `CardRefused`, `InvalidHandle` or `NothingMoved`.
    long PICC_Reader_ID_Request(long handle);

    /// Selects the card found. Only the result byte 1 counts as refused.
    /// \return 0, `CardRefused`, `InvalidHandle` or `NothingMoved`.
    long PICC_Reader_ID_Select(long handle);

    /// Reads the selected card; see `CardData` for what arrives where.
    /// \param out takes `MessageBytes`; bytes that the reader does not deliver are not changed.
    /// \return 0, or the negative result of `GetUsbMsg`.
    long PICC_Reader_ID_Read(long handle, unsigned char* out);

    /// Part of the library's interface; the service itself does not call it.
    /// Requests, selects and reads in one call. None of the outputs is filled, but for "无卡" (7
    /// bytes) in \p message when there is no card.
    /// \return 244 no card, 252 not selected or not read, otherwise the result of the selection.
    int PICC_Reader_ReadMsg(long handle, char* name, char* gender, char* nation, char* birthday,
                            char* address, char* idNum, char* issueOrg, char* effectDate,
                            char* expireDate, char* passNum, char* signCount, char* message,
                            unsigned char* photo, int* photoLength);

    /// Sends a message of up to 32 bytes in one report, a longer one in several (its first byte is
    /// then set to the kind of a first report).
    /// \return 0 or `NothingMoved`.
    int SetUsbMsg(long handle, unsigned char* data, int length);

    /// Receives a message; waits without limit while the reader says that it is busy. Of a reply
    /// that states a greater length only `MessageBytes` are read and stored.
    /// \param out takes `MessageBytes`.
    /// \param length set to the length that the reply states, may be null.
    /// \return 0, `NothingMoved` or `ErrorStatus`.
    int GetUsbMsg(long handle, unsigned char* out, unsigned int* length);

    /// One feature report of 32 bytes, whatever \p length says.
    /// \return the bytes moved or a negative libusb error. Only 0 counts as a failure above: after
    /// an error the report stays cleared, which is interpreted as an empty reply.
    int HidD_SetFeature(long handle, unsigned char* report, int length);
    int HidD_GetFeature(long handle, unsigned char* report, int length);

private:
    int claim();
    bool addressCard(long handle, unsigned char command, unsigned char& result);
    bool isOpen(long handle) const;
    long openHandle() const;
    void release();

    libusb_context* m_context = nullptr;
    libusb_device_handle* m_handle = nullptr;
    libusb_device_handle* m_unclaimed = nullptr; ///< opened but not claimed; closed at the end
};
