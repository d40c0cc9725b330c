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

/// \brief A USB identity-card reader with a security module, and the decoding of what it reads.
///
/// One object serves one command, on the thread that handles the command.
class ReadIDCard
{
public:
    /// Results of `readCard`.
    static constexpr int CardRead = 131001;
    static constexpr int ReaderNotOpened = 431003; ///< libusb, the reader or its interface failed
    static constexpr int CardNotRead = 431004;     ///< the module delivered no card data
    static constexpr int NoSamNumber = 0;          ///< neither module told its number

    /// Bytes that the target of a message takes, terminating zero included.
    static constexpr int MessageBytes = 64;

    /// Bytes that the target of a card's raw data takes: as much as one reply can hold.
    static constexpr int CardDataBytes = 4096;

    /// Opens the USB reader, finds out its module, reads the card on it into \p info and closes the
    /// reader again. Blocks for up to the sum of the transfers' timeouts, 1 to 3 seconds each.
    ///
    /// \param info    filled by `AnalysisID` on success, untouched otherwise.
    /// \param message takes `MessageBytes`; names the step that failed, or the SAM number's
    /// success. \return `CardRead` or what went wrong, see above.
    int readCard(IDINFO* info, char* message);

    /// The security module's number of the last read, 32 hexadecimal digits; empty when the module
    /// answered without one.
    const char* samNumber() const { return m_samText; }

    /// Whether the last read found the "0501" module (otherwise "0503").
    bool isModule0501() const { return m_isModule0501; }

    /// \name Single operations on an open and claimed reader
    /// Each returns 0, or a negative code that says which transfer failed or which status refused.
    /// \p samText takes 33 bytes and keeps its content when the module refuses. \p output takes
    /// `CardDataBytes`. \p fingerprintFlag is set to 1 when more than text and photo arrived.
    /// The names `selectCard0503` and `findCard0503` are crossed with the frames that they send:
    /// the first sends the find-card frame, the second the select-card frame.
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
    /// is taken from "./simage_file.bmp", which is rewritten at the size it is painted in. The
    /// first call sets the locale's text codec to GB2312.
    /// @{
    void addMask(QPixmap& face, IDINFO* info);     ///< the front: photo, name, number
    void addMaskBack(QPixmap& face, IDINFO* info); ///< the back: authority and validity

    /// Load the template \p source, paint it and write it to \p target as JPEG. A template that is
    /// missing leaves the target empty.
    void addMaskByPath(QString& source, QString& target, IDINFO* info);
    void addMaskByPathBack(QString& source, QString& target, IDINFO* info);

    void IDCardPicFront(IDINFO* info); ///< "./front.jpg" to "./frontNew.jpg"
    void IDCardPicBack(IDINFO* info);  ///< "./back.jpg" to "./backNew.jpg"
    /// @}

    /// Reads a whole file as Base64 text (standard alphabet, padded, no line breaks).
    /// \return false, with \p base64 untouched, when the file does not exist or cannot be opened.
    bool getFileContetBase64(const QString& path, QString& base64);

    /// Turns the raw data of a card into a record and writes its photo to "./simage_file.bmp".
    ///
    /// \param data        card text (256 bytes of UTF-16LE), photo (1024 bytes) and fingerprints
    /// (1024 bytes),
    ///                    behind 6 skipped bytes when \p withPrefix is set: 2310 or 2304 readable
    ///                    bytes.
    /// \param info        the record, owned by the caller; zeroed first, then filled within its
    /// widths. \param scratch     not used, may be null. \return always 0. A photo that cannot be
    /// decoded or written is printed to standard output and leaves
    ///         the previous file in place; the record is complete all the same.
    int AnalysisID(const unsigned char* data, IDINFO* info, bool withPrefix, char* scratch);

    /// Converts UTF-16 in host order, up to the first zero unit, into UTF-8. Writes no terminating
    /// zero, so that callers pass zeroed targets of at least one byte more than \p targetSize.
    ///
    /// \return 0 complete; 1 a high surrogate stands before the terminating zero; 2 the next
    /// character does
    ///         not fit whole into \p targetSize bytes; 3 unpaired surrogate in strict mode; 4 a
    ///         null pointer. What was converted so far is kept in every case.
    int Utf16_To_Utf8(const uint16_t* source, uint8_t* target, size_t targetSize,
                      ConversionFlags flags);

    /// The free function of the same name.
    int TurnAscii(long codePoint, char* out);

    /// The free function of the same name.
    int U2A(const char* gbHex, char* out);

    /// Writes 3 bytes for every UTF-16LE character up to a space or the end of \p source: two
    /// spaces and the digit for "0" to "9", the bytes of `TurnAscii` for anything else. No
    /// terminating zero.
    ///
    /// \param target      3 bytes for each of the sourceBytes / 2 characters.
    /// \param sourceBytes length of \p source in bytes.
    /// \return 0 when \p sourceBytes is below 2, otherwise the first character.
    int UnicodeToAnsihc(const uint8_t* source, uint8_t* target, int unused, int sourceBytes);

    /// Copies a text without its spaces (0x20). \p target takes up to the length of \p source and a
    /// terminating zero; both may be the same buffer. \return 0.
    int delete_spance(const char* source, char* target);

private:
    bool identifyModule(libusb_device_handle* handle);
    int32_t takeCard0501(libusb_device_handle* handle, unsigned char* data, int* fingerprintFlag);
    int32_t takeCard0503(libusb_device_handle* handle, unsigned char* data, int* fingerprintFlag);

    bool m_isModule0501 = true;
    char m_samText[33] = {};
};
