// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/page_origins.h"

#include <QHostAddress>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>

/// \brief Who may connect, which commands are served and what is stored, as the administrator has
/// set it. Fixed before the first client; by default nothing is restricted.
struct Restrictions
{
    QList<QHostAddress> addresses;  ///< to listen on; empty: all
    PageOrigins origins;            ///< that may connect
    QStringList commands;           ///< that are served; empty: all
    std::chrono::seconds privacy{}; ///< how long a signature stays in memory; 0: no privacy

    bool serve(const QString& command) const
    {
        return commands.isEmpty() || commands.contains(command);
    }

    /// Whether pictures that no reply needs are written to files and stay there.
    bool keepPictures() const { return privacy.count() == 0; }
};
