// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// Exit code of a service that finds no display to show its windows on. The launcher has 3 and 4.
constexpr int exitWithoutDisplay = 5;

/// \brief While it lives, an application object that finds no display ends the process with one
/// line on standard error and `exitWithoutDisplay`; the toolkit alone would abort.
class MissingDisplayReport
{
public:
    MissingDisplayReport();
    ~MissingDisplayReport();
    MissingDisplayReport(const MissingDisplayReport&) = delete;
    MissingDisplayReport& operator=(const MissingDisplayReport&) = delete;
};
