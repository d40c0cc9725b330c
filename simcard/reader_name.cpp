// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "simcard/reader_name.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>

namespace {

bool beginsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

struct NumberedName
{
    std::string_view base;
    std::size_t number = 0;
};

// Splits a trailing " N" from the name.
std::optional<NumberedName> splitNumber(std::string_view name)
{
    const std::size_t space = name.rfind(' ');
    if (space == std::string_view::npos)
        return std::nullopt;
    const std::string_view digits = name.substr(space + 1);
    NumberedName split{name.substr(0, space)};
    const char* const begin = digits.data();
    const char* const end = begin + digits.size();
    const auto [stop, error] = std::from_chars(begin, end, split.number);
    if (digits.empty() || error != std::errc() || stop != end)
        return std::nullopt;
    return split;
}

// Removes a last word enclosed in the two characters, as in "Reader (serial)".
void dropMarked(std::string_view& name, std::string_view open, char close)
{
    const std::size_t start = name.rfind(open);
    if (!name.empty() && name.back() == close && start != std::string_view::npos)
        name = name.substr(0, start);
}

// The name without what PC/SC appends: "[interface]", "(serial)" and the reader's two numbers.
std::string_view productText(std::string_view name)
{
    for (int i = 0; i < 2; ++i)
        if (const auto split = splitNumber(name))
            name = split->base;
    dropMarked(name, " (", ')');
    dropMarked(name, " [", ']');
    return name;
}

} // namespace

std::optional<std::string> chooseReader(const std::vector<std::string>& listed,
                                        const std::string& wanted)
{
    if (std::find(listed.begin(), listed.end(), wanted) != listed.end())
        return wanted;
    for (const std::string& name : listed)
        if (beginsWith(name, wanted))
            return name;
    const auto split = splitNumber(wanted);
    std::size_t passed = 0;
    for (const std::string& name : listed) {
        const bool fits = split && (beginsWith(name, split->base) ||
                                    productText(name).find(split->base) != std::string_view::npos);
        if (fits && passed++ == split->number)
            return name;
    }
    return std::nullopt;
}
