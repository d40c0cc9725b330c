// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/settings_file.h"

#include "server/text_message_processor.h"

#include <QFileInfo>
#include <QSettings>
#include <QVariant>

#include <algorithm>
#include <iterator>

namespace {

// Each stores one word of its key's value and returns false when the word is not valid.

bool takeAddress(Settings& settings, const QString& word)
{
    if (word == QLatin1String("loopback")) {
        settings.restrictions.addresses << QHostAddress::LocalHost << QHostAddress::LocalHostIPv6;
        return true;
    }
    // Qt also accepts abbreviated addresses: "0" would mean all addresses.
    const bool isWhole = word.count(QLatin1Char('.')) == 3 || word.contains(QLatin1Char(':'));
    const QHostAddress address(isWhole ? word : QString());
    settings.restrictions.addresses << address;
    return !address.isNull();
}

bool takeOrigin(Settings& settings, const QString& word)
{
    return settings.restrictions.origins.add(word);
}

bool takeCommand(Settings& settings, const QString& word)
{
    settings.restrictions.commands << word;
    return CTextMessageProcessor::isCommand(word);
}

bool takePrivacy(Settings& settings, const QString& word)
{
    constexpr int day = 24 * 60 * 60;
    const int seconds = word.toInt();
    const bool isOnlyWord = settings.restrictions.keepPictures();
    settings.restrictions.privacy = std::chrono::seconds(seconds);
    return isOnlyWord && seconds >= 1 && seconds <= day;
}

bool takeCategory(Settings& settings, const QString& word)
{
    settings.loggingRules += QStringLiteral("desk.%1=true\n").arg(word);
    return QStringList{QStringLiteral("pad"), QStringLiteral("idcard"), QStringLiteral("sim"),
                       QStringLiteral("camera"), QStringLiteral("server")}
        .contains(word);
}

struct Key
{
    const char* name;
    const char* open; // the value that means the same as a missing key
    const char* values;
    bool (*take)(Settings&, const QString&);
};

constexpr Key keys[] = {
    {"listen", "all", "an address, loopback or all", takeAddress},
    {"origins", "all", "an origin (https://host), file, null, programs or all", takeOrigin},
    {"commands", "all", "a command or all", takeCommand},
    {"privacy", "off", "a number of seconds from 1 to 86400 or off", takePrivacy},
    {"diagnosis", "off", "pad, idcard, sim, camera, server or off", takeCategory},
};

// \return an error message; empty when there is no error
QString takeKey(Settings& settings, const QString& name, const QStringList& words)
{
    const auto* const key = std::find_if(std::begin(keys), std::end(keys), [&name](const Key& one) {
        return name == QLatin1String(one.name);
    });
    if (key == std::end(keys))
        return QStringLiteral("no key is called \"%1\"").arg(name);
    if (words == QStringList{QLatin1String(key->open)})
        return {};
    for (const QString& word : words)
        if (!key->take(settings, word))
            return QStringLiteral("%1: \"%2\" is not %3")
                .arg(name, word, QLatin1String(key->values));
    return {};
}

QString takeFile(Settings& settings, const QString& path)
{
    if (!QFileInfo(path).isFile() || !QFileInfo(path).isReadable())
        return QStringLiteral("it cannot be read");
    const QSettings file(path, QSettings::IniFormat);
    const QStringList names = file.allKeys();
    if (file.status() != QSettings::NoError)
        return QStringLiteral("it has a line that is neither KEY=VALUE nor a comment (;)");
    for (const QString& name : names) {
        QStringList words = file.value(name).toStringList();
        if (words.isEmpty()) // of a value that Qt cannot read, such as "@Invalid()"
            words << QString();
        const QString error = takeKey(settings, name, words);
        if (!error.isEmpty())
            return error;
    }
    return {};
}

} // namespace

Settings readSettings()
{
    const QString named = qEnvironmentVariable("DESK_TERMINAL_SETTINGS");
    const QString path =
        named.isEmpty() ? QStringLiteral("/etc/desk-terminal-service.conf") : named;
    Settings settings;
    // A dangling symbolic link is an error, not a missing file.
    if (named.isEmpty() && !QFileInfo::exists(path) && !QFileInfo(path).isSymLink())
        return settings;
    const QString error = takeFile(settings, path);
    if (!error.isEmpty())
        settings.error = QStringLiteral("%1: %2").arg(path, error);
    return settings;
}
