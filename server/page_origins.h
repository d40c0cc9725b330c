// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/// \brief The pages that may connect, by the "Origin" that their browser sends with the handshake.
///
/// Browsers do not let a page choose its origin; a program can send any origin, or none.
class PageOrigins
{
public:
    /// Allows one more kind of page.
    /// \param word one of
    /// - an origin as browsers send it, "https://counter.example.org:8443"; the scheme's default
    ///   port may be omitted, and case is ignored
    /// - the same with "*" as the first label of the host, "https://*.example.org"; the rest must
    ///   have two labels
    /// - "file": pages on disk, in browsers that send "file://" for them
    /// - "null": pages on disk, in browsers that send "null" for them, and sandboxed frames of any
    ///   page
    /// - "programs": clients without an origin, that is, no pages
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
        QString after;  ///< the first label: a full stop, the rest of the host, and the port
    };

    QStringList m_exact; ///< the empty text allows programs
    QList<Wildcard> m_wildcards;
};
