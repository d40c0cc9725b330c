// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/checked_object.h"

#include <QBuffer>
#include <QImageReader>

#include <cmath>

namespace virtual_desk {
namespace {

// More than any camera delivers; Qt allocates the size that a file's header states.
constexpr qint64 mostPixels = 64LL * 1000 * 1000;

QString quoted(const QString& text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

QImage readPicture(const QByteArray& file)
{
    static const QList<QByteArray> formats = {"png", "jpeg", "bmp"};
    QBuffer buffer;
    buffer.setData(file);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QSize size = reader.size();
    if (!formats.contains(reader.format()) || qint64(size.width()) * size.height() > mostPixels)
        return {};
    return reader.read();
}

} // namespace

CheckedObject::CheckedObject(const QJsonObject& object)
    : m_object(object)
{
}

QJsonValue CheckedObject::take(const QString& key, QJsonValue::Type type, const char* kind)
{
    m_known.insert(key);
    QJsonValue value = m_object.value(key);
    if (value.isUndefined())
        complain(QStringLiteral("The key %1 is missing.").arg(quoted(key)));
    else if (value.type() != type)
        complain(
            QStringLiteral("The value of %1 must be %2.").arg(quoted(key), QLatin1String(kind)));
    return value;
}

QString CheckedObject::text(const QString& key)
{
    return take(key, QJsonValue::String, "a string").toString();
}

QString CheckedObject::choice(const QString& key, const QStringList& choices)
{
    QString value = text(key);
    if (isGood() && !choices.contains(value))
        complain(QStringLiteral("%1 is no value of %2; those are \"%3\".")
                     .arg(quoted(value), quoted(key), choices.join(QStringLiteral("\", \""))));
    return value;
}

int CheckedObject::integer(const QString& key, int least, int most)
{
    const double value = take(key, QJsonValue::Double, "a number").toDouble();
    if (isGood() && (value < least || value > most || value != std::floor(value)))
        complain(QStringLiteral("The value of %1 must be a whole number from %2 to %3.")
                     .arg(quoted(key))
                     .arg(least)
                     .arg(most));
    return isGood() ? static_cast<int>(value) : least;
}

bool CheckedObject::boolean(const QString& key)
{
    return take(key, QJsonValue::Bool, "true or false").toBool();
}

QJsonArray CheckedObject::array(const QString& key)
{
    return take(key, QJsonValue::Array, "a list").toArray();
}

QJsonObject CheckedObject::object(const QString& key)
{
    return take(key, QJsonValue::Object, "an object").toObject();
}

QImage CheckedObject::picture(const QString& key)
{
    const QByteArray file = QByteArray::fromBase64(text(key).toLatin1());
    QImage picture = isGood() ? readPicture(file) : QImage();
    if (picture.isNull())
        complain(QStringLiteral("The value of %1 must be the Base64 text of a PNG, JPEG or BMP "
                                "file of at most 64 million pixels.")
                     .arg(quoted(key)));
    return picture;
}

QJsonObject CheckedObject::without(const QStringList& keys) const
{
    QJsonObject rest = m_object;
    for (const QString& key : keys)
        rest.remove(key);
    return rest;
}

void CheckedObject::complain(const QString& complaint)
{
    if (m_error.isEmpty())
        m_error = complaint;
}

QString CheckedObject::error() const
{
    if (!m_error.isEmpty())
        return m_error;
    for (const QString& key : m_object.keys())
        if (!m_known.contains(key))
            return QStringLiteral("The key %1 is not known here.").arg(quoted(key));
    return {};
}

} // namespace virtual_desk
