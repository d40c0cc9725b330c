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

/// \brief A JSON object whose keys are read one by one, each with the type and range that it must
/// have.
///
/// A reading function that finds something else gives a default and keeps the complaint; the first
/// complaint is the object's `error`. Ask for the error last: it also names keys that were not
/// read.
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

    /// Keeps a complaint, in a sentence.
    void complain(const QString& complaint);
    bool isGood() const { return m_error.isEmpty(); }

    /// The first complaint, or an unknown key; empty when all is well.
    QString error() const;

private:
    QJsonValue take(const QString& key, QJsonValue::Type type, const char* kind);

    QJsonObject m_object;
    QSet<QString> m_known;
    QString m_error;
};

} // namespace virtual_desk
