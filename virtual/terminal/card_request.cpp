// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/card_request.h"

#include "idimage/photo/photo_tables.h"
#include "virtual/cards/photo_encoder.h"
#include "virtual/cards/portrait.h"

#include <QStringList>

namespace virtual_desk {
namespace {

// In the order of CardType.
const QStringList& typeNames()
{
    static const QStringList names = {QStringLiteral("resident"),
                                      QStringLiteral("permanentResidence"),
                                      QStringLiteral("residencePermit")};
    return names;
}

struct NamedField
{
    const char* name;
    QString IdentityCard::* text;
};

constexpr NamedField namedFields[] = {
    {"name", &IdentityCard::name},
    {"englishName", &IdentityCard::englishName},
    {"gender", &IdentityCard::gender},
    {"nation", &IdentityCard::nation},
    {"birthday", &IdentityCard::birthday},
    {"address", &IdentityCard::address},
    {"idNum", &IdentityCard::idNum},
    {"issueOrg", &IdentityCard::issueOrg},
    {"effectDate", &IdentityCard::effectDate},
    {"expireDate", &IdentityCard::expireDate},
    {"nationCode", &IdentityCard::nationCode},
    {"passNum", &IdentityCard::passNum},
    {"signCount", &IdentityCard::signCount},
    {"certVersion", &IdentityCard::certVersion},
    {"typeLetter", &IdentityCard::typeLetter},
};

// Cuts the middle of the picture out, in the proportions of a card's photo.
QImage cutToPhoto(const QImage& picture)
{
    const QSize size(photo::PhotoWidth, photo::PhotoHeight);
    const QImage scaled =
        picture.scaled(size, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    const QPoint corner((scaled.width() - size.width()) / 2, (scaled.height() - size.height()) / 2);
    return scaled.copy(QRect(corner, size));
}

void changeText(IdentityCard& card, const NamedField& field, CheckedObject& request)
{
    const QString key = QString::fromLatin1(field.name);
    if (!request.has(key))
        return;
    const QString text = request.text(key);
    const int room = fieldLength(card.type, field.text);
    if (room == 0)
        request.complain(QStringLiteral("A card of this type has no \"%1\".").arg(key));
    else if (text.size() > room)
        request.complain(QStringLiteral("\"%1\" has room for %2 characters.").arg(key).arg(room));
    card.*field.text = text;
}

void changePhoto(IdentityCard& card, CheckedObject& request)
{
    const QString portrait = QStringLiteral("portrait");
    const QString photo = QStringLiteral("photo");
    if (request.has(portrait) && request.has(photo))
        request.complain(QStringLiteral("\"portrait\" and \"photo\" exclude each other."));
    if (request.has(portrait))
        card.photo = encodePhoto(drawPortrait(request.integer(portrait, 0, Portraits - 1)));
    if (request.has(photo)) {
        const QImage picture = request.picture(photo);
        if (!picture.isNull())
            card.photo = encodePhoto(cutToPhoto(picture));
    }
}

} // namespace

IdentityCard newCard(CheckedObject& request)
{
    const QString key = QStringLiteral("type");
    const QString name = request.has(key) ? request.choice(key, typeNames()) : typeNames().first();
    const int type = std::max(static_cast<int>(typeNames().indexOf(name)), 0);
    IdentityCard card = sampleCard(static_cast<CardType>(type));
    card.photo = encodePhoto(drawPortrait(type));
    return changedCard(card, request);
}

IdentityCard changedCard(const IdentityCard& card, CheckedObject& request)
{
    IdentityCard changed = card;
    for (const NamedField& field : namedFields)
        changeText(changed, field, request);
    changePhoto(changed, request);
    const QString fingerprints = QStringLiteral("fingerprints");
    if (request.has(fingerprints))
        changed.fingerprints =
            request.boolean(fingerprints) ? sampleCard(card.type).fingerprints : QByteArray();
    return changed;
}

QJsonObject cardState(const IdentityCard& card)
{
    QJsonObject state{
        {QStringLiteral("type"), typeNames().at(static_cast<int>(card.type))},
        {QStringLiteral("fingerprints"), !card.fingerprints.isEmpty()},
    };
    for (const NamedField& field : namedFields)
        if (fieldLength(card.type, field.text) > 0)
            state.insert(QString::fromLatin1(field.name), card.*field.text);
    return state;
}

} // namespace virtual_desk
