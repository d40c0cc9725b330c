// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idcard/text_conversions.h"

#include <cstddef>
#include <cstdint>

class QPixmap;
class QString;
struct IDINFO;
struct libusb_device_handle;

/// \brief A USB identity-card reader with a security module, and the decoding of its cards.
///
/// Except `readCard` and `getFileContetBase64`, the public members only forward to free functions,
/// which do the work.
///
/// One object serves one command, on the thread that handles the command.
class ReadIDCard
{
public:
    /// Results of `readCard`.
    static constexpr int CardRead = 131001;
    static constexpr int ReaderNotOpened = 431003; ///< libusb, the reader or its interface failed
    static constexpr int CardNotRead = 431004;     ///< the module delivered no card data
    static constexpr int NoSamNumber = 0;          ///< neither module answered with its number

    /// Bytes that the target of a message takes, terminating zero included.
    static constexpr int MessageBytes = 64;

    /// Bytes that the target of a card's raw data takes: as much as one reply can hold.
    static constexpr int CardDataBytes = 4096;

    /// Opens the USB reader, finds out its module, reads the card on it into \p info and closes the
    /// reader again. Blocks for up to the sum of the transfers' timeouts, 1 to 3 seconds each.
    ///
    /// \param info filled by `AnalysisID` on success, untouched otherwise.
    /// \param message takes `MessageBytes`; names the step that failed, or the SAM number's
    /// success.
    /// \return `CardRead` or what went wrong, see above.
    int readCard(IDINFO* info, char* message);

    /// \name Results of the last read
    /// Part of the library's interface; the service itself does not call them.
    /// @{

    /// The security module's number of the last read, 32 hexadecimal digits; empty when the module
    /// answered without one.
    const char* samNumber() const { return m_samText; }

    /// Whether the last read found the "0501" module (otherwise "0503").
    bool isModule0501() const { return m_isModule0501; }
    /// @}

    /// \name Single operations on an open and claimed reader, see the functions of `UsbReader`
    /// The names `selectCard0503` and `findCard0503` are exchanged: the first sends the find-card
    /// frame, the second the select-card frame.
    /// @{
    int32_t getIDSAM0501(libusb_device_handle* handle, char* samText);
    int32_t getIDSAM0503(libusb_device_handle* handle, char* samText);
    int32_t findCard0501(libusb_device_handle* handle);
    int32_t selectCard0501(libusb_device_handle* handle);
    int32_t readCardData0501(libusb_device_handle* handle, unsigned char* output,
                             int* fingerprintFlag);
    int32_t selectCard0503(libusb_device_handle* handle);
    int32_t findCard0503(libusb_device_handle* handle);
    int32_t readCardData0503(libusb_device_handle* handle, unsigned char* output,
                             int* fingerprintFlag);
    /// @}

    /// \name The pictures of the card's faces
    /// Painted on the GUI thread, onto templates whose size scales the layout; the holder's photo
    /// is taken from `HolderPhoto::path`, which is rewritten at the size it is painted in. The
    /// first call sets the locale's text codec to GB2312.
    /// @{
    /// The front (photo, name, number) and the back (authority, validity).
    /// Part of the library's interface; the service itself does not call them.
    void addMask(QPixmap& face, IDINFO* info);
    void addMaskBack(QPixmap& face, IDINFO* info);

    /// Load the template \p source, paint it and write it to \p target as JPEG. A template that is
    /// missing leaves the target empty.
    void addMaskByPath(QString& source, QString& target, IDINFO* info);
    void addMaskByPathBack(QString& source, QString& target, IDINFO* info);

    void IDCardPicFront(IDINFO* info); ///< "./front.jpg" to "./frontNew.jpg"
    void IDCardPicBack(IDINFO* info);  ///< "./back.jpg" to "./backNew.jpg"
    /// @}

    /// Reads a whole file as Base64 text (standard alphabet, padded, no line breaks).
    /// Part of the library's interface; the service itself does not call it.
    /// \return false, with \p base64 untouched, when the file does not exist or cannot be opened.
    bool getFileContetBase64(const QString& path, QString& base64);

    /// `decodeRecord`.
    /// \param scratch not used, may be null.
    /// \return always 0.
    int AnalysisID(const unsigned char* data, IDINFO* info, bool withPrefix, char* scratch);

    /// \name Conversions of text, see the free functions of the same names
    /// Part of the library's interface; the service itself does not call them.
    /// @{
    int Utf16_To_Utf8(const uint16_t* source, uint8_t* target, size_t targetSize,
                      ConversionFlags flags);
    int TurnAscii(long codePoint, char* out);
    int U2A(const char* gbHex, char* out);
    int UnicodeToAnsihc(const uint8_t* source, uint8_t* target, int unused, int sourceBytes);
    int delete_spance(const char* source, char* target);
    /// @}

private:
    bool identifyModule(libusb_device_handle* handle);
    int32_t takeCard0501(libusb_device_handle* handle, unsigned char* data, int* fingerprintFlag);
    int32_t takeCard0503(libusb_device_handle* handle, unsigned char* data, int* fingerprintFlag);

    bool m_isModule0501 = true;
    char m_samText[33] = {};
};
