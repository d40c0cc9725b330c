// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idcard/text_conversions.h"

#include <cstddef>
#include <cstdint>

struct IDINFO;

/// \brief A USB identity-card reader with a security module, and the decoding of what it reads.
///
/// One object serves one command, on the thread that handles the command.
class ReadIDCard
{
public:
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
};
