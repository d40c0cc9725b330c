// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/restrictions.h"

#include <QString>

/// Exit code when a key or value of the settings file is unknown. The launcher uses 3 and 4.
constexpr int exitWithBadSettings = 6;

/// \brief The content of the settings file.
struct Settings
{
    Restrictions restrictions;
    QString loggingRules; ///< as of QLoggingCategory::setFilterRules; empty: none
    QString error;        ///< one line; empty when every key and value is known
};

/// Reads /etc/desk-terminal-service.conf, which may be missing, or the file that the variable
/// DESK_TERMINAL_SETTINGS names, which must exist. packaging/desk-terminal-service.conf explains
/// the keys of this INI file. Any unknown key or value is an error, because an ignored restriction
/// would not be noticed.
Settings readSettings();
