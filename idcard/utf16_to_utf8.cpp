// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Used for every text of a card's record.

#include "idcard/text_conversions.h"

#include <array>
#include <cstdio>

namespace {

enum Result {
    Complete = 0,
    SourceExhausted = 1,
    TargetExhausted = 2,
    SourceIllegal = 3,
    NullPointer = 4
};

constexpr uint32_t supplementaryStart = 0x10000;

bool isHighSurrogate(uint32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(uint32_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

size_t sequenceLength(uint32_t character)
{
    if (character < 0x80)
        return 1;
    if (character < 0x800)
        return 2;
    return character < supplementaryStart ? 3 : 4;
}

void writeSequence(uint32_t character, uint8_t* target, size_t length)
{
    constexpr std::array<uint8_t, 5> leadBytes = {0, 0, 0xC0, 0xE0, 0xF0};
    for (size_t i = length - 1; i > 0; --i) {
        target[i] = static_cast<uint8_t>(0x80 | (character & 0x3F));
        character >>= 6;
    }
    target[0] = static_cast<uint8_t>(leadBytes[length] | character);
}

// Reads one character, of one or two units, and advances the source.
Result takeCharacter(const uint16_t*& source, bool strict, uint32_t& character)
{
    character = *source++;
    if (isHighSurrogate(character)) {
        if (*source == 0)
            return SourceExhausted;
        if (isLowSurrogate(*source)) {
            character = ((character - 0xD800) << 10) + (*source++ - 0xDC00u) + supplementaryStart;
            return Complete;
        }
        return strict ? SourceIllegal : Complete;
    }
    return strict && isLowSurrogate(character) ? SourceIllegal : Complete;
}

} // namespace

int Utf16_To_Utf8(const uint16_t* source, uint8_t* target, size_t targetSize, ConversionFlags flags)
{
    if (!source || !target) {
        printf("ERR, Utf16_To_Utf8: source=%p, targetStart=%p\n", static_cast<const void*>(source),
               static_cast<const void*>(target));
        return NullPointer;
    }
    while (*source != 0) {
        uint32_t character = 0;
        const Result taken = takeCharacter(source, flags == StrictConversion, character);
        if (taken != Complete)
            return taken;
        const size_t length = sequenceLength(character);
        if (length > targetSize)
            return TargetExhausted;
        writeSequence(character, target, length);
        target += length;
        targetSize -= length;
    }
    return Complete;
}
