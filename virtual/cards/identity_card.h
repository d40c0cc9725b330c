// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

namespace virtual_desk {

/// \brief The three card layouts that the readers know.
enum class CardType {
    Resident,           ///< resident identity card
    PermanentResidence, ///< foreigner's permanent residence card, type letter "I"
    ResidencePermit ///< residence permit of residents of Hong Kong, Macau and Taiwan, type letter
                    ///< "J"
};

/// \brief The data of one virtual card.
///
/// Texts longer than their field on the card are cut, shorter ones are padded with spaces. Fields
/// that a card type does not have are ignored.
struct IdentityCard
{
    CardType type = CardType::Resident;
    QString name;                         ///< 15 characters; Chinese name for permanent residence
    QString englishName;                  ///< 60 characters
    QString gender = QStringLiteral("1"); ///< "1" male, "2" female, other
    QString nation;                       ///< 2 digits
    QString birthday;                     ///< 8 digits, as the other dates
    QString address;                      ///< 35 characters
    QString idNum;                        ///< 18 characters; 15 for permanent residence
    QString issueOrg;                     ///< 15 characters; code of 4 for permanent residence
    QString effectDate;
    QString expireDate;
    QString nationCode;  ///< 3 letters
    QString passNum;     ///< 9 characters
    QString signCount;   ///< 2 digits
    QString certVersion; ///< 2 digits
    QString typeLetter;  ///< of a resident card, at the offset of the type; a space when empty

    QByteArray photo;        ///< the compressed block, zeros when empty (see `encodePhoto`)
    QByteArray fingerprints; ///< 1024 bytes that start with "C"; none on the card when empty
};

constexpr int cardTextBytes = 256;
constexpr int cardPhotoBytes = 1024;
constexpr int cardFingerprintBytes = 1024;

/// The length of a field on a card of that type, in characters; 0 when it has no such field.
int fieldLength(CardType type, QString IdentityCard::* field);

/// The text block of a card, `cardTextBytes` of UTF-16LE.
QByteArray cardText(const IdentityCard& card);

/// The photo block of a card, `cardPhotoBytes`.
QByteArray cardPhoto(const IdentityCard& card);

/// The fingerprint block, `cardFingerprintBytes`, or an empty array when the card holds none.
QByteArray cardFingerprints(const IdentityCard& card);

/// Text, photo and fingerprints one after the other, as the readers deliver them: 1280 or 2304
/// bytes.
QByteArray cardData(const IdentityCard& card);

/// The card of an invented holder for each type, with fingerprints and without a photo.
IdentityCard sampleCard(CardType type);

} // namespace virtual_desk
