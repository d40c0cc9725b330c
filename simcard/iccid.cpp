// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "simcard/iccid.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int statusWordCharacters = 4;

void swapPairs(QString& digits)
{
    for (auto* pair = digits.begin(); digits.end() - pair >= 2; pair += 2)
        std::iter_swap(pair, pair + 1);
    if (digits.size() % 2 != 0)
        digits.insert(digits.size() - 1, QChar(u'\0'));
}

} // namespace

QString iccidFromResponse(const char* response, std::size_t capacity)
{
    QString digits = QString::fromUtf8(response, static_cast<int>(strnlen(response, capacity)));
    digits.chop(statusWordCharacters);
    swapPairs(digits);
    return digits;
}
