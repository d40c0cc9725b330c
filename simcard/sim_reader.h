// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The five C functions of libcardreader.so, through which alone the service uses smart cards. Ours
// is built on PC/SC (pcsc-lite); a terminal maker's library with the same five functions can
// replace it, see docs/sim-reader-library.md.
//
// Return codes. Every function returns 0 for success and any other value for failure. Ours returns
// the PC/SC code of the call that failed, as a 32-bit value (negative as an int; print it with
// %08X), and uses PC/SC's codes for its own checks as well:
//
//   80100003  no reader is open, or an earlier call on it ran out of time
//   80100004  a null pointer, or a command text that is odd, not hexadecimal or not as long as said
//   80100006  no memory, or no thread can be created
//   80100008  the card's response does not fit into the response buffer
//   80100009  readers are attached, but none matches the name
//   8010000A  the time bound below has passed
//   8010000C  no card in the reader
//   8010001D  no PC/SC daemon
//   8010002E  no reader attached
//   80100067  the card is not powered
//   80100069  the card was pulled, also in the middle of a command
//
// Time. The calls of ours from one OpenCardReader to the next wait 5 seconds together, even when
// the daemon or a card hangs or is slow; the time between the calls does not count. After a call
// that ran out of time the reader counts as closed until the next OpenCardReader, its connection is
// released as soon as the daemon answers again, and until then OpenCardReader fails within half a
// second, so that a caller waits for a hung daemon only once for the full time.
//
// Threads. One reader is open at a time in a process. The functions may be called from any thread,
// and wait for each other (within the bound). Buffers are touched only during the call that they
// are given to.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Opens a reader. Does not touch the card: an empty reader opens. A reader that is still open is
/// closed first.
///
/// Ours opens the reader that is listed under exactly the given name, else the first whose name
/// begins with it, else, with a trailing " N" taken off, the Nth (from 0) whose name begins with
/// the rest or has it in its product text, that is, before "[interface] (serial) 00 00".
///
/// \param kind kind of connection; the service passes 1. Ours has one kind and ignores it.
/// \param readerName NUL-terminated UTF-8 name in a buffer of 256 bytes.
/// \param openResult 256 bytes for the library's own use, never read by the service. Ours leaves
/// the full name of the opened reader there, NUL-terminated; an empty text after a failure.
/// \return 0 or an error code.
int OpenCardReader(int kind, const char* readerName, char* openResult);

/// Powers the card and takes its answer to reset. Other programs cannot use the card until it is
/// powered off or the reader is closed. A card that is already powered is powered off first.
///
/// \param atr 1024 bytes. Receives the answer to reset (at most 33 bytes). The rest stays as it is,
/// so a caller that shows more than the answer clears the buffer before. Untouched on failure.
/// \return 0 or an error code; with no card in the reader an error.
int CardPowerOn(unsigned char* atr);

/// Sends one command to the powered card and takes its response. Success means that the card
/// answered; the status word is not checked and is returned as it came, also 61xx, 6Cxx and 9Fxx.
///
/// \param length characters in `text` without its NUL: even, 8 (four bytes) to 522 (261 bytes).
/// \param text NUL-terminated hexadecimal text of the command, in either case.
/// \param responseLength receives the characters in `response` without its NUL; 0 on failure.
/// \param response 1024 bytes. Receives NUL-terminated upper-case hexadecimal text whose last four
/// characters are the status word: 4 to 516 characters, a card's response to a command of this
/// length range. An empty text on failure.
/// \return 0 or an error code; nothing is sent when the text or its length is wrong. A response
/// without a whole status word is an error: a card that is pulled during a command leaves none.
int SendApduCommand(int length, const char* text, int* responseLength, char* response);

/// Powers the card off and releases it. The reader stays open.
///
/// \return 0 or an error code; with no card powered an error.
int CardPowerOff(void);

/// Closes the reader; a card that is still powered is powered off. With no reader open it does
/// nothing and succeeds, so closing twice is harmless.
///
/// \return 0 or an error code. The reader counts as closed in both cases.
int CloseCardReader(void);

#ifdef __cplusplus
}
#endif
