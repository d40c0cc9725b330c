// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <cstdint>

/// \brief The pad's input report, the same over USB interrupt transfers and hidraw.
///
///     0-1   report id and status, not interpreted
///     2-3   x, little-endian, device units
///     4-5   y, little-endian, device units
///     6-7   pressure, little-endian; 0: the pen is off the surface
///     8-15  not interpreted
struct PenReport
{
    static constexpr int Size = 16;      ///< bytes that the device sends
    static constexpr int UsefulSize = 8; ///< bytes that carry the sample

    std::array<std::uint8_t, Size> bytes{};

    int x() const { return word(2); }
    int y() const { return word(4); }
    int pressure() const { return word(6); }

private:
    int word(std::size_t offset) const { return bytes[offset] | bytes[offset + 1] << 8; }
};

/// USB identity of the pad.
constexpr std::uint16_t padVendor = 0x05AF;
constexpr std::uint16_t padProduct = 0x0060;
