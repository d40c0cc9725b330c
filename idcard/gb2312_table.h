// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

/// Slots of each table, and how many of them `FindUnicode` searches: every mapped character and the
/// first of the zero entries behind them.
constexpr int gb2312Slots = 8000;
constexpr int gb2312Searched = 7446;

/// The GB2312 to Unicode mapping as glibc publishes it (charmap "GB2312" of Debian's package
/// "locales"): 7445 characters in ascending order of their Unicode code points, then zero entries.
/// Entry i of `lGb2312` is a code, first byte high, both bytes with their top bits set; entry i of
/// `lUnicode` is its code point.
extern const std::int64_t lGb2312[gb2312Slots];
extern const std::int64_t lUnicode[gb2312Slots];
