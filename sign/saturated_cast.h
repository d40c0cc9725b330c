// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <limits>

/// Truncates toward zero; what no int can hold becomes the nearest that can, and no number becomes
/// 0. Coordinates and sizes come unchecked from clients and devices, and a plain cast of such a
/// value is undefined behaviour.
inline int saturatedInt(double value)
{
    using Limits = std::numeric_limits<int>;
    if (value >= static_cast<double>(Limits::max()))
        return Limits::max();
    if (value <= static_cast<double>(Limits::min()))
        return Limits::min();
    return value == value ? static_cast<int>(value) : 0;
}
