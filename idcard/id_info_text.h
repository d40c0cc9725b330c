// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <cstddef>
#include <cstring>

/// The text of one of the fixed-width UTF-8 fields of `IDINFO`; never reads past its width.
template <std::size_t Width>
QString fieldText(const char (&field)[Width])
{
    return QString::fromUtf8(field, static_cast<int>(strnlen(field, Width)));
}
