// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <libusb.h>

#include <array>
#include <cstdint>

/// The protocol of the USB identity-card reader: identifiers, frames and transfers, shared by both
/// generations of its module ("0501" and "0503") and by the security-module query.
///
/// A command frame, 10 bytes:
///
///     AA AA AA 96 69 | 00 03 | command | parameter | check byte
///     preamble       | length of the rest, high byte first; the check byte is the XOR of 5 to 8
namespace UsbReader {

constexpr std::uint16_t vendorId = 0x0400;  ///< of the device descriptor
constexpr std::uint16_t productId = 0xC35A; ///< of the device descriptor
constexpr int interfaceNumber = 0;

constexpr unsigned shortTimeout = 1000; ///< milliseconds, unless `longTimeout` is used
constexpr unsigned longTimeout = 3000;  ///< milliseconds, while the module works on the card

using Frame = std::array<unsigned char, 10>;
constexpr Frame getSamNumber = {0xAA, 0xAA, 0xAA, 0x96, 0x69, 0x00, 0x03, 0x12, 0xFF, 0xEE};
constexpr Frame findCard = {0xAA, 0xAA, 0xAA, 0x96, 0x69, 0x00, 0x03, 0x20, 0x01, 0x22};
constexpr Frame selectCard = {0xAA, 0xAA, 0xAA, 0x96, 0x69, 0x00, 0x03, 0x20, 0x02, 0x21};
constexpr Frame readCard0501 = {0xAA, 0xAA, 0xAA, 0x96, 0x69, 0x00, 0x03, 0x30, 0x01, 0x32};
constexpr Frame readCard0503 = {0xAA, 0xAA, 0xAA, 0x96, 0x69, 0x00, 0x03, 0x30, 0x10, 0x23};

/// The "0501" module receives a frame in two parts, on two endpoints.
constexpr int headerBytes = 7;
constexpr int bodyBytes = 3;

constexpr int replyBytes = 4096; ///< asked for in every read
constexpr int samBytes = 16;     ///< of the security module's number in a reply
constexpr int samTextBytes = 33; ///< its hexadecimal digits and the terminating zero

/// \brief What one read delivered; bytes that did not arrive are zero.
struct Reply
{
    std::array<unsigned char, replyBytes> bytes{};
    int received = 0; ///< bytes that arrived

    /// The length that the reply states for itself, 0 to 65535; it may exceed what arrived.
    int statedLength() const { return bytes[5] << 8 | bytes[6]; }

    /// Whether the status bytes at \p offset are 00 00 and \p last.
    bool hasStatus(std::size_t offset, unsigned char last) const
    {
        return bytes[offset] == 0 && bytes[offset + 1] == 0 && bytes[offset + 2] == last;
    }
};

constexpr unsigned char statusDone = 0x90;
constexpr unsigned char statusNoCard = 0x80;
constexpr unsigned char statusNotSelected = 0x81;

/// Where the "0503" module's whole reply carries its status and its data.
constexpr std::size_t statusOffset0503 = 7;
constexpr std::size_t dataOffset0503 = 10;

/// One bulk write of \p length bytes.
/// \return whether libusb reported success.
bool write(libusb_device_handle* handle, unsigned char endpoint, const unsigned char* data,
           int length, unsigned timeout);

/// One bulk read of up to 4096 bytes into a cleared \p reply.
/// \return whether it succeeded.
bool read(libusb_device_handle* handle, unsigned char endpoint, unsigned timeout, Reply& reply);

/// Sends a whole frame as the "0503" module takes it: to endpoint 0x01, and to 0x02 if that fails.
bool writeFrame0503(libusb_device_handle* handle, const Frame& frame, unsigned timeout);

/// Reads the "0503" module's reply.
bool readReply0503(libusb_device_handle* handle, Reply& reply);

/// Writes 16 bytes as 32 upper-case hexadecimal digits and a terminating zero (33 bytes).
void formatSamNumber(const unsigned char* number, char* text);

/// \name The operations of a module on an open and claimed reader
///
/// Each returns 0, or a negative code that says which transfer failed or which status refused. \p
/// samText takes `samTextBytes` and is not changed when the module refuses. \p output takes
/// `replyBytes`. \p fingerprintFlag is set to 1 when more than text and photo arrived.
///
/// @{
int32_t getIDSAM0501(libusb_device_handle* handle, char* samText);
int32_t findCard0501(libusb_device_handle* handle);
int32_t selectCard0501(libusb_device_handle* handle);
int32_t readCardData0501(libusb_device_handle* handle, unsigned char* output, int* fingerprintFlag);
int32_t getIDSAM0503(libusb_device_handle* handle, char* samText);
int32_t findCard0503(libusb_device_handle* handle);
int32_t selectCard0503(libusb_device_handle* handle);
int32_t readCardData0503(libusb_device_handle* handle, unsigned char* output, int* fingerprintFlag);
/// @}

/// \brief The connection to the reader for one call. The steps that succeeded are undone in reverse
/// order, at the latest by the destructor.
class Session
{
public:
    Session() = default;
    ~Session() { end(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool initialise(); ///< libusb's default context
    bool open();       ///< the first attached reader
    bool claim();      ///< interface 0
    void end();        ///< undoes the steps that succeeded

    libusb_device_handle* handle() const { return m_handle; }

private:
    bool m_initialised = false;
    bool m_claimed = false;
    libusb_device_handle* m_handle = nullptr;
};

} // namespace UsbReader
