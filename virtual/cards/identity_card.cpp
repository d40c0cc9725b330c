// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/cards/identity_card.h"

#include <iterator>

namespace virtual_desk {

namespace {

constexpr int typeOffset = 248;
constexpr char16_t padding = u' ';

// Offset and length of one field in the text block, in bytes.
struct Field
{
    QString IdentityCard::* text;
    int offset;
    int bytes;
};

constexpr Field residentFields[] = {
    {&IdentityCard::name, 0, 30},         {&IdentityCard::gender, 30, 2},
    {&IdentityCard::nation, 32, 4},       {&IdentityCard::birthday, 36, 16},
    {&IdentityCard::address, 52, 70},     {&IdentityCard::idNum, 122, 36},
    {&IdentityCard::issueOrg, 158, 30},   {&IdentityCard::effectDate, 188, 16},
    {&IdentityCard::expireDate, 204, 16},
};

constexpr Field permanentResidenceFields[] = {
    {&IdentityCard::englishName, 0, 120}, {&IdentityCard::gender, 120, 2},
    {&IdentityCard::idNum, 122, 30},      {&IdentityCard::nationCode, 152, 6},
    {&IdentityCard::name, 158, 30},       {&IdentityCard::effectDate, 188, 16},
    {&IdentityCard::expireDate, 204, 16}, {&IdentityCard::birthday, 220, 16},
    {&IdentityCard::certVersion, 236, 4}, {&IdentityCard::issueOrg, 240, 8},
};

constexpr Field residencePermitFields[] = {
    {&IdentityCard::name, 0, 30},         {&IdentityCard::gender, 30, 2},
    {&IdentityCard::birthday, 36, 16},    {&IdentityCard::address, 52, 70},
    {&IdentityCard::idNum, 122, 36},      {&IdentityCard::issueOrg, 158, 30},
    {&IdentityCard::effectDate, 188, 16}, {&IdentityCard::expireDate, 204, 16},
    {&IdentityCard::passNum, 220, 18},    {&IdentityCard::signCount, 238, 4},
};

void putText(QByteArray& block, int offset, int bytes, const QString& text)
{
    for (int i = 0; i < bytes / 2; ++i) {
        const char16_t unit = i < text.size() ? text.at(i).unicode() : padding;
        block[offset + 2 * i] = static_cast<char>(unit & 0xFF);
        block[offset + 2 * i + 1] = static_cast<char>(unit >> 8);
    }
}

struct Fields
{
    const Field* first;
    const Field* last;

    const Field* begin() const { return first; }
    const Field* end() const { return last; }
};

Fields fieldsOf(CardType type)
{
    switch (type) {
    case CardType::PermanentResidence:
        return {std::begin(permanentResidenceFields), std::end(permanentResidenceFields)};
    case CardType::ResidencePermit:
        return {std::begin(residencePermitFields), std::end(residencePermitFields)};
    case CardType::Resident:
        break;
    }
    return {std::begin(residentFields), std::end(residentFields)};
}

QString typeLetter(const IdentityCard& card)
{
    switch (card.type) {
    case CardType::PermanentResidence:
        return QStringLiteral("I");
    case CardType::ResidencePermit:
        return QStringLiteral("J");
    case CardType::Resident:
        break;
    }
    return card.typeLetter;
}

QByteArray sampleFingerprints()
{
    QByteArray block(cardFingerprintBytes, '\0');
    for (int i = 0; i < block.size(); ++i)
        block[i] = static_cast<char>(i * 7 + i / 256);
    block[0] = 'C';
    return block;
}

IdentityCard residentSample()
{
    IdentityCard card;
    card.name = QStringLiteral("李晓明");
    card.gender = QStringLiteral("1");
    card.nation = QStringLiteral("01");
    card.birthday = QStringLiteral("19870615");
    card.address = QStringLiteral("北京市海淀区中关村大街甲1号院2号楼301室");
    card.idNum = QStringLiteral("11010819870615123X");
    card.issueOrg = QStringLiteral("北京市公安局海淀分局");
    card.effectDate = QStringLiteral("20150301");
    card.expireDate = QStringLiteral("20350301");
    return card;
}

IdentityCard permanentResidenceSample()
{
    IdentityCard card;
    card.type = CardType::PermanentResidence;
    card.englishName = QStringLiteral("MARTIN,ANNA MARIA");
    card.gender = QStringLiteral("2");
    card.idNum = QStringLiteral("FRA310078041510");
    card.nationCode = QStringLiteral("FRA");
    card.name = QStringLiteral("马安娜");
    card.effectDate = QStringLiteral("20180920");
    card.expireDate = QStringLiteral("20280919");
    card.birthday = QStringLiteral("19780415");
    card.certVersion = QStringLiteral("01");
    card.issueOrg = QStringLiteral("1500");
    return card;
}

IdentityCard residencePermitSample()
{
    IdentityCard card;
    card.type = CardType::ResidencePermit;
    card.name = QStringLiteral("陈嘉欣");
    card.gender = QStringLiteral("2");
    card.birthday = QStringLiteral("19921103");
    card.address = QStringLiteral("广东省深圳市福田区深南大道1006号");
    card.idNum = QStringLiteral("810000199211030026");
    card.issueOrg = QStringLiteral("深圳市公安局");
    card.effectDate = QStringLiteral("20190101");
    card.expireDate = QStringLiteral("20240101");
    card.passNum = QStringLiteral("H01234567");
    card.signCount = QStringLiteral("02");
    return card;
}

} // namespace

int fieldLength(CardType type, QString IdentityCard::* field)
{
    if (field == &IdentityCard::typeLetter)
        return type == CardType::Resident ? 1 : 0; // the other types have a fixed letter
    for (const Field& entry : fieldsOf(type))
        if (entry.text == field)
            return entry.bytes / 2;
    return 0;
}

QByteArray cardText(const IdentityCard& card)
{
    QByteArray block(cardTextBytes, '\0');
    putText(block, 0, cardTextBytes, QString());
    for (const Field& field : fieldsOf(card.type))
        putText(block, field.offset, field.bytes, card.*field.text);
    putText(block, typeOffset, 2, typeLetter(card));
    return block;
}

QByteArray cardPhoto(const IdentityCard& card)
{
    return card.photo.leftJustified(cardPhotoBytes, '\0', true);
}

QByteArray cardFingerprints(const IdentityCard& card)
{
    if (card.fingerprints.isEmpty())
        return {};
    return card.fingerprints.leftJustified(cardFingerprintBytes, '\0', true);
}

QByteArray cardData(const IdentityCard& card)
{
    return cardText(card) + cardPhoto(card) + cardFingerprints(card);
}

IdentityCard sampleCard(CardType type)
{
    IdentityCard card;
    switch (type) {
    case CardType::Resident:
        card = residentSample();
        break;
    case CardType::PermanentResidence:
        card = permanentResidenceSample();
        break;
    case CardType::ResidencePermit:
        card = residencePermitSample();
        break;
    }
    card.fingerprints = sampleFingerprints();
    return card;
}

} // namespace virtual_desk
