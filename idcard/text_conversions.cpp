// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The conversion toolkit around the GB2312 table: a code point is written as hexadecimal digits,
// spread as bits over the template of a 3-byte UTF-8 sequence and read back as bytes.

#include "idcard/text_conversions.h"

#include "idcard/gb2312_table.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int bitsPerDigit = 4;
constexpr int templateBits = 24;
constexpr int templateDigits = templateBits / bitsPerDigit;
constexpr char space = ' ';

// The positions marked x are replaced by the code point's bits, the highest first.
constexpr char utf8Template[] = "1110xxxx10xxxxxx10xxxxxx";

bool isBinaryText(const char* bits)
{
    const size_t length = strnlen(bits, templateBits);
    return length == templateBits && strspn(bits, "01") >= templateBits;
}

// The number of 4 hexadecimal digits; 0, which is no character's code, when one is not a digit.
long codeFromHex(const char* gbHex)
{
    long code = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = chartoint1(gbHex[i]);
        if (digit == noHexDigit)
            return 0;
        code = code * 16 + digit;
    }
    return code;
}

bool isDigit(unsigned character)
{
    return character >= '0' && character <= '9';
}

} // namespace

long FindUnicode(long gbCode)
{
    const std::int64_t* end = lGb2312 + gb2312Searched;
    const std::int64_t* found = std::find(lGb2312, end, gbCode);
    return found != end ? static_cast<long>(lUnicode[found - lGb2312]) : 0;
}

int chartoint1(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return noHexDigit;
}

int CtoB(char c, char* out)
{
    const int digit = chartoint1(c);
    if (digit == noHexDigit)
        return noHexDigit;
    for (int bit = 0; bit < bitsPerDigit; ++bit)
        out[bit] = ((digit >> (bitsPerDigit - 1 - bit)) & 1) != 0 ? '1' : '0';
    out[bitsPerDigit] = '\0';
    return 0;
}

int Format(const char* bits, char* out)
{
    if (!isBinaryText(bits)) {
        out[0] = '\0';
        return noHexDigit;
    }
    for (int i = 0; i < templateDigits; ++i) {
        int digit = 0;
        for (int bit = 0; bit < bitsPerDigit; ++bit)
            digit = digit * 2 + (bits[i * bitsPerDigit + bit] - '0');
        out[i] = "0123456789ABCDEF"[digit];
    }
    out[templateDigits] = '\0';
    return 0;
}

int TurnAscii(long codePoint, char* out)
{
    char digits[8];
    snprintf(digits, sizeof digits, "%04X", static_cast<unsigned>(codePoint) & 0xFFFFu);
    char codeBits[4 * bitsPerDigit + 1];
    for (std::ptrdiff_t i = 0; i < 4; ++i)
        CtoB(digits[i], codeBits + i * bitsPerDigit);

    char bits[sizeof utf8Template];
    std::copy(std::begin(utf8Template), std::end(utf8Template), bits);
    const char* nextBit = codeBits;
    for (char* bit = std::strchr(bits, 'x'); bit; bit = std::strchr(bit, 'x'))
        *bit = *nextBit++;

    char bytes[templateDigits + 1];
    Format(bits, bytes);
    for (std::ptrdiff_t i = 0; i < templateDigits / 2; ++i)
        out[i] = static_cast<char>(chartoint1(bytes[2 * i]) * 16 + chartoint1(bytes[2 * i + 1]));
    return 0;
}

int U2A(const char* gbHex, char* out)
{
    return TurnAscii(FindUnicode(codeFromHex(gbHex)), out);
}

int UnicodeToAnsi(const uint16_t* source, char* target, int /*unused*/, int sourceBytes)
{
    std::wstring text;
    for (std::ptrdiff_t i = 0; i < sourceBytes / 2; ++i)
        text.push_back(static_cast<wchar_t>(source[2 * i] * 257));
    std::string printed(text.size() * MB_LEN_MAX + 1, '\0');
    const int length = snprintf(printed.data(), printed.size(), "%ls", text.c_str());
    printed.resize(length < 0 ? 0 : static_cast<size_t>(length));
    std::copy_n(printed.c_str(), printed.size() + 1, target);
    return 0;
}

int UnicodeToAnsihc(const uint8_t* source, uint8_t* target, int /*unused*/, int sourceBytes)
{
    if (sourceBytes < 2)
        return 0;
    const auto characterAt = [source](std::ptrdiff_t i) {
        return static_cast<unsigned>(source[2 * i] | source[2 * i + 1] << 8);
    };
    for (std::ptrdiff_t i = 0; i < sourceBytes / 2 && characterAt(i) != space; ++i) {
        const unsigned character = characterAt(i);
        char bytes[3] = {space, space, static_cast<char>(character)};
        if (!isDigit(character))
            TurnAscii(static_cast<long>(character), bytes);
        target = std::copy(std::begin(bytes), std::end(bytes), target);
    }
    return static_cast<int>(characterAt(0));
}

int delete_spance(const char* source, char* target)
{
    *std::remove_copy(source, source + strlen(source), target, space) = '\0';
    return 0;
}
