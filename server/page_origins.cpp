// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/page_origins.h"

#include <QRegularExpression>

#include <algorithm>

namespace {

// Scheme, wildcard, host and port of an origin in lower case.
QRegularExpressionMatch partsOf(const QString& origin)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"(\A([a-z][a-z0-9+.-]*://)(\*(?=\.[^.]+\.))?)"
                       R"((\.?[a-z0-9_-]+(?:\.[a-z0-9_-]+)*|\[[0-9a-f:.]+\])(:[0-9]{1,5})?\z)"));
    return pattern.match(origin);
}

// Browsers omit the scheme's default port.
bool isOwnPort(const QString& scheme, const QString& port)
{
    return (scheme == QLatin1String("https://") && port == QLatin1String(":443")) ||
           (scheme == QLatin1String("http://") && port == QLatin1String(":80"));
}

bool isLabel(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral(R"(\A[a-z0-9_-]+\z)"));
    return pattern.match(text).hasMatch();
}

} // namespace

bool PageOrigins::add(const QString& word)
{
    if (word == QLatin1String("programs")) {
        m_exact << QString();
        return true;
    }
    if (word == QLatin1String("file") || word == QLatin1String("null")) {
        m_exact << (word == QLatin1String("file") ? QStringLiteral("file://") : word);
        return true;
    }
    const QRegularExpressionMatch parts = partsOf(word.toLower());
    const QString scheme = parts.captured(1);
    const bool isWildcard = !parts.captured(2).isEmpty();
    const QString host = parts.captured(3);
    if (!parts.hasMatch() || isWildcard != host.startsWith(QLatin1Char('.')))
        return false;
    const QString port = isOwnPort(scheme, parts.captured(4)) ? QString() : parts.captured(4);
    if (isWildcard)
        m_wildcards << Wildcard{scheme, host + port};
    else
        m_exact << scheme + host + port;
    return true;
}

bool PageOrigins::allow(const QString& origin) const
{
    const QString given = origin.toLower();
    return areOpen() || m_exact.contains(given) ||
           std::any_of(m_wildcards.begin(), m_wildcards.end(), [&given](const Wildcard& one) {
               const auto fixed = one.before.size() + one.after.size();
               return given.startsWith(one.before) && given.endsWith(one.after) &&
                      given.size() > fixed &&
                      isLabel(given.mid(one.before.size(), given.size() - fixed));
           });
}
