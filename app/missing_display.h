// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// Exit code of a service that finds no display to show its windows on. Exit codes 3 and 4 are the
/// launcher's.
constexpr int exitWithoutDisplay = 5;

/// \brief While this object exists, a QApplication that finds no display ends the process with one
/// line on standard error and `exitWithoutDisplay`; without it Qt would abort.
class MissingDisplayReport
{
public:
    MissingDisplayReport();
    ~MissingDisplayReport();
    MissingDisplayReport(const MissingDisplayReport&) = delete;
    MissingDisplayReport& operator=(const MissingDisplayReport&) = delete;
};
