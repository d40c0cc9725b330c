// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT
#include "simcard/iccid.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int statusWordCharacters = 4;

void swapPairs(QString& digits)
{
    const int paired = digits.size() / 2 * 2;
    for (int i = 0; i < paired; i += 2) {
        std::iter_swap(digits.begin() + i, digits.begin() + i + 1);
    }
    if (digits.size() > paired) {
        digits.insert(paired, QChar(u'\0'));
    }
}

} // namespace

QString iccidFromResponse(const char* response, std::size_t capacity)
{
    QString digits = QString::fromUtf8(response, static_cast<int>(strnlen(response, capacity)));
    digits.chop(statusWordCharacters);
    swapPairs(digits);
    return digits;
}
