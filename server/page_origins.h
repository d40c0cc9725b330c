// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/// \brief The pages that may connect, by the "Origin" that their browser sends with the handshake.
///
/// Browsers do not let a page choose its origin; a program sends what it likes, or nothing.
class PageOrigins
{
public:
    /// Lets one more kind of page in. \param word one of
    /// - an origin as browsers send it, "https://counter.example.org:8443"; the scheme's own port
    ///   may be left out or given, and letters have no case
    /// - the same with "*" for the first label of the host, "https://*.example.org"; the rest must
    ///   have two labels
    /// - "file": pages on disk, of browsers that send "file://" for them
    /// - "null": pages on disk, of browsers that send "null" for them, and sandboxed frames of any
    ///   page at all
    /// - "programs": clients without an origin, which no page is
    /// \return false when \p word is none of these
    bool add(const QString& word);

    /// Whether no origin was added: then every page may connect.
    bool areOpen() const { return m_exact.isEmpty() && m_wildcards.isEmpty(); }

    /// \param origin as the client sent it; empty when it sent none
    bool allow(const QString& origin) const;

private:
    struct Wildcard
    {
        QString before; ///< the first label: scheme and "://"
        QString after;  ///< it: a full stop, the rest of the host, and the port
    };

    QStringList m_exact; ///< an empty one stands for programs
    QList<Wildcard> m_wildcards;
};
