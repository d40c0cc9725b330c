// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Which of the listed PC/SC readers a name stands for.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// The full name of the reader that `wanted` stands for, or nothing:
/// - the reader of exactly this name,
/// - else the first whose name begins with it,
/// - else, when it ends in a space and a number N, the Nth (from 0) reader whose name begins with
///   the part before, or has that part in its product text.
///
/// PC/SC numbers readers itself ("Generic EMV Smartcard Reader 00 00"), and puts the maker in front
/// and the interface and serial behind the product text ("ACME Generic EMV Smartcard Reader [CCID]
/// (0042) 01 00"), so the service's "Generic EMV Smartcard Reader 0" is never exactly a listed
/// name.
///
/// \param listed names in PC/SC's order.
std::optional<std::string> chooseReader(const std::vector<std::string>& listed,
                                        const std::string& wanted);
