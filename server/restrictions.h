// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/page_origins.h"

#include <QHostAddress>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>

/// \brief The administrator's settings: who may connect, which commands are served and what is
/// stored. Not changed after the first client has connected; by default nothing is restricted.
struct Restrictions
{
    QList<QHostAddress> addresses;  ///< to listen on; empty: all
    PageOrigins origins;            ///< that may connect
    QStringList commands;           ///< that are served; empty: all
    std::chrono::seconds privacy{}; ///< how long a signature stays in memory; 0: no limit

    bool serve(const QString& command) const
    {
        return commands.isEmpty() || commands.contains(command);
    }

    /// Whether pictures that are not part of a reply are written to files and kept.
    bool keepPictures() const { return privacy.count() == 0; }
};
