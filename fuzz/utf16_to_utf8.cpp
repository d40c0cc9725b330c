// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// UTF-16 text of every kind into targets of every size. The first byte is the size, the second the
// conversion's flags.

#include "idcard/read_id_card.h"

#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    std::vector<std::uint16_t> source((size - 2) / 2 + 1);
    std::memcpy(source.data(), data + 2, (size - 2) / 2 * 2);
    const std::size_t room = *data;
    std::vector<std::uint8_t> target(room + 1);
    const auto flags = data[1] % 2 == 0 ? StrictConversion : LenientConversion;
    const int result = ReadIDCard().Utf16_To_Utf8(source.data(), target.data(), room, flags);
    if (result < 0 || result > 3 || target.back() != 0)
        std::abort();
    return 0;
}
