// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>

/// How `Utf16_To_Utf8` treats unpaired surrogates; every value but 0 is lenient.
enum ConversionFlags : int {
    StrictConversion = 0, ///< an unpaired surrogate ends the conversion
    LenientConversion = 1 ///< an unpaired surrogate becomes 3 bytes like any other character
};

/// Converts UTF-16 in host order, up to the first zero unit, into UTF-8. Writes no terminating
/// zero, so that callers pass zeroed targets of at least one byte more than \p targetSize.
///
/// What was converted so far is kept in every case. The result is
///
/// - 0: complete
/// - 1: a high surrogate stands before the terminating zero
/// - 2: the next character does not fit whole into \p targetSize bytes
/// - 3: an unpaired surrogate in strict mode
/// - 4: a null pointer
int Utf16_To_Utf8(const uint16_t* source, uint8_t* target, size_t targetSize,
                  ConversionFlags flags);

/// \name Conversions from GB2312 and to three-byte sequences
/// Part of the library's interface; the service itself does not call them.
/// @{

/// Result of the lookups below for a character outside their range.
constexpr int noHexDigit = 1000;

/// Unicode code point of a GB2312 code (first byte high, both with their top bits set, 0xA1A1 to
/// 0xF7FE); 0 when the table does not hold the code. A linear scan, first match wins.
long FindUnicode(long gbCode);

/// Value of a hexadecimal digit of either case, `noHexDigit` for anything else.
int chartoint1(char c);

/// Writes the 4 binary digits of a hexadecimal digit and a terminating zero (5 bytes).
/// \return 0, or `noHexDigit` with \p out untouched.
int CtoB(char c, char* out);

/// Writes 24 binary digits as 6 upper-case hexadecimal digits and a terminating zero (7 bytes).
/// \return 0, or `noHexDigit` and an empty text when \p bits does not start with 24 binary digits.
int Format(const char* bits, char* out);

/// Encodes a code point of up to 16 bits (higher bits are dropped) as exactly 3 bytes in the form
/// of UTF-8, also where one or two would do. No terminating zero.
/// \return 0.
int TurnAscii(long codePoint, char* out);

/// Encodes the character of a GB2312 code, written as 4 hexadecimal digits, as `TurnAscii` does (3
/// bytes). A code that the table does not hold gives the bytes of code point 0.
/// \return 0.
int U2A(const char* gbHex, char* out);

/// Prints every second unit of \p source through the current locale. Each value v is printed as the
/// wide character v * 257; a zero unit ends the text, and a character that the locale cannot hold
/// gives an empty text.
///
/// \param source sourceBytes / 2 characters, one in every second unit.
/// \param target takes `MB_LEN_MAX` bytes for each character and a terminating zero.
/// \return 0.
int UnicodeToAnsi(const uint16_t* source, char* target, int unused, int sourceBytes);

/// Writes 3 bytes for every UTF-16LE character up to a space or the end of \p source: two spaces
/// and the digit for "0" to "9", the bytes of `TurnAscii` for anything else. No terminating zero.
///
/// \param target 3 bytes for each of the sourceBytes / 2 characters.
/// \param sourceBytes length of \p source in bytes.
/// \return 0 when \p sourceBytes is below 2, otherwise the first character.
int UnicodeToAnsihc(const uint8_t* source, uint8_t* target, int unused, int sourceBytes);

/// Copies a text without its spaces (0x20). \p target takes up to the length of \p source and a
/// terminating zero; both may be the same buffer.
/// \return 0.
int delete_spance(const char* source, char* target);

/// @}
