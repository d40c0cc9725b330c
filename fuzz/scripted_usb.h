// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>

/// \brief Devices that say what a fuzzer likes, instead of libusb's functions: a target that links
/// scripted_usb.cpp never reaches a bus.
///
/// The devices take all that they do from one script of bytes. Each opening, claim and transfer
/// eats one: 0 fails (a control transfer then moves nothing), 254 is an error of a control transfer
/// or a read, and of a read 255 delivers as much as is asked for, any other value so many bytes at
/// most, from the script. Where the script ends everything fails, so that a reader that is "busy"
/// is not waited for for ever. The pad alone has samples of its own: it is read beside the
/// commands.
namespace ScriptedUsb {

/// Begins a script, which stays the caller's and must outlive its use.
void play(const std::uint8_t* script, std::size_t size);

/// The next byte of the script, 0 behind its end.
std::uint8_t next();

/// Copies up to \p count bytes of the script to \p target.
/// \return how many there were.
std::size_t take(std::uint8_t* target, std::size_t count);

} // namespace ScriptedUsb
