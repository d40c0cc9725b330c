// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "simcard/hex_text.h"

#include <cstring>

namespace {

// The value of a hexadecimal digit, or -1. Not isxdigit, which depends on the locale.
int digitValue(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    if (character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    return -1;
}

} // namespace

std::optional<std::vector<std::uint8_t>> bytesFromHex(const char* text, std::size_t length)
{
    if (length % 2 != 0 || strnlen(text, length + 1) != length)
        return std::nullopt;
    std::vector<std::uint8_t> bytes;
    bytes.reserve(length / 2);
    for (std::size_t i = 0; i < length; i += 2) {
        const int high = digitValue(text[i]);
        const int low = digitValue(text[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
    }
    return bytes;
}

std::string hexFromBytes(const std::vector<std::uint8_t>& bytes)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}
