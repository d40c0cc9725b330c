// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <QString>
#include <QStringList>

namespace virtual_desk {

/// \brief A JSON object whose values are checked for type and range when they are read.
///
/// A reading function returns a default for a wrong value; the first wrong value is reported by
/// `error`. Call that last: it also reports keys that were not read.
class CheckedObject
{
public:
    explicit CheckedObject(const QJsonObject& object);

    bool has(const QString& key) const { return m_object.contains(key); }

    QString text(const QString& key);
    /// One of \p choices.
    QString choice(const QString& key, const QStringList& choices);
    int integer(const QString& key, int least, int most);
    bool boolean(const QString& key);
    QJsonArray array(const QString& key);
    QJsonObject object(const QString& key);
    /// The Base64 text of a PNG, JPEG or BMP file.
    QImage picture(const QString& key);

    /// The object without some of its keys.
    QJsonObject without(const QStringList& keys) const;

    /// Stores an error message, a sentence, unless there is one already.
    void complain(const QString& complaint);
    bool isGood() const { return m_error.isEmpty(); }

    /// The first error message, or one about an unknown key; empty when there is no error.
    QString error() const;

private:
    QJsonValue take(const QString& key, QJsonValue::Type type, const char* kind);

    QJsonObject m_object;
    QSet<QString> m_known;
    QString m_error;
};

} // namespace virtual_desk
