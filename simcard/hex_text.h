// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Hexadecimal text as the functions of the SIM reader library take and return it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The bytes of `length` characters of hexadecimal text, in either case; std::nullopt when the
/// length is odd, a character is no hexadecimal digit, or the NUL does not stand at exactly that
/// length. Reads no further than that NUL.
std::optional<std::vector<std::uint8_t>> bytesFromHex(const char* text, std::size_t length);

/// Upper-case hexadecimal text, two characters a byte.
std::string hexFromBytes(const std::vector<std::uint8_t>& bytes);
