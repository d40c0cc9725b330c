// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Reading a SIM card's number (its ICCID): the commands that fetch it, and its decoding.
#pragma once

#include <QString>

#include <cstddef>

/// The reader that the service opens.
inline constexpr char simReaderName[] = "Generic EMV Smartcard Reader 0";

/// The commands that read the ICCID, in their order, as hexadecimal text. GSM 11.11 class A0.
/// SELECT the master file 3F00.
inline constexpr char selectMasterFileCommand[] = "A0A40000023F00";
/// SELECT the elementary file 2FE2, which holds the ICCID.
inline constexpr char selectIccidFileCommand[] = "A0A40000022FE2";
/// READ BINARY, offset 0, 10 bytes.
inline constexpr char readIccidCommand[] = "A0B000000A";

/// Decodes the response to the read command. The last four characters, the status word, are removed
/// without being checked (a shorter text becomes empty), then the two characters of each pair are
/// exchanged: the card stores the digits with swapped nibbles. Filler digits F stay; nothing is
/// validated. In a text of odd length the last character is exchanged with U+0000.
///
/// \param response UTF-8 text up to its NUL, or up to `capacity` bytes if there is none.
/// \param capacity bytes of the buffer that `response` points to.
QString iccidFromResponse(const char* response, std::size_t capacity);
