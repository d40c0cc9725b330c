// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Decoding of a card's raw data. No error is returned: a field that is damaged on the card becomes
// short or empty, and when the photo cannot be decoded its file is not changed.

#include "idcard/identity_record.h"

#include "files/fixed_file.h"
#include "idcard/card_data.h"
#include "idcard/nation_table.h"
#include "idcard/text_conversions.h"
#include "idimage/holder_photo.h"

#include <QByteArray>
#include <QDebug>
#include <QFile>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using namespace CardData;

constexpr int prefixBytes = 6;
constexpr int typeOffset = 248;
constexpr int longestFieldUnits = 60;
constexpr size_t wideLimit = 1000;
constexpr size_t dateBytes = 8;
constexpr size_t idNumberBytes = 18;

constexpr int photoDecoded = 1;

// The text block of one card; a field is given by its offset and length in bytes.
class CardText
{
public:
    explicit CardText(const unsigned char* text)
        : m_text(text)
    {
    }

    // At most `limit` bytes of UTF-8, cut at a whole character.
    std::string field(int offset, int bytes, size_t limit)
    {
        std::array<uint16_t, longestFieldUnits + 1> units{};
        for (size_t i = 0; i < static_cast<size_t>(bytes) / 2; ++i) {
            const unsigned char* unit = m_text + offset + 2 * i;
            units[i] = static_cast<uint16_t>(unit[0] | unit[1] << 8);
        }
        std::array<uint8_t, wideLimit + 1> converted{};
        Utf16_To_Utf8(units.data(), converted.data(), limit, StrictConversion);
        return reinterpret_cast<const char*>(converted.data());
    }

    std::string firstWord(int offset, int bytes, size_t limit)
    {
        const std::string text = field(offset, bytes, limit);
        return text.substr(0, text.find(' '));
    }

    std::string gender(int offset, size_t limit)
    {
        const std::string code = field(offset, 2, limit);
        if (code == "1")
            return "男";
        return code == "2" ? "女" : "其他";
    }

private:
    const unsigned char* m_text;
};

// Stores a text and its terminating zero; a text wider than the field is cut at a whole character.
template <size_t Width>
void store(char (&field)[Width], const std::string& text)
{
    size_t length = std::min(text.size(), Width - 1);
    while (length < text.size() && length > 0 && (text[length] & 0xC0) == 0x80)
        --length;
    std::fill(std::copy_n(text.begin(), length, field), field + Width, '\0');
}

// Stores the first bytes of a text, even if that cuts a character.
template <size_t Width>
void storeBytes(char (&field)[Width], const std::string& text, size_t count)
{
    static_assert(Width > idNumberBytes, "the field takes every fixed number of bytes");
    std::copy_n(text.begin(), std::min(text.size(), count), field);
}

void storeFingerprints(const unsigned char* text, IDINFO& info)
{
    std::copy_n(text + fingerprintOffset, IDINFO::FingerprintBlockBytes, info.figData);
}

// Foreigner's permanent residence card. The gender is stored in the field of the Chinese name and
// then overwritten by the name.
void decodePermanentResidenceCard(CardText card, IDINFO& info)
{
    store(info.englishName, card.firstWord(0, 120, 120));
    store(info.name, card.gender(120, 2));
    store(info.idNum, card.field(122, 30, 30));
    store(info.nationCode, card.field(152, 6, 6));
    store(info.name, card.firstWord(158, 30, 30));
    store(info.effectDate, card.field(188, 16, 8));
    store(info.expireDate, card.field(204, 16, 8));
    store(info.birthday, card.field(220, 16, 8));
    store(info.CertVersion, card.field(236, 4, 4));
    store(info.issueOrg, card.field(240, 8, 4));
}

void decodeResidentCard(CardText card, const unsigned char* text, IDINFO& info)
{
    qWarning("居民二代证");
    store(info.name, card.firstWord(0, 30, wideLimit));
    qWarning("居民二代证1");
    store(info.gender, card.gender(30, wideLimit));
    qWarning("居民二代证2");
    const std::string nation = card.field(32, 4, wideLimit);
    store(info.nation, nationName(std::strtol(nation.c_str(), nullptr, 10)));
    qWarning("居民二代证2.1");
    storeBytes(info.birthday, card.field(36, 16, wideLimit), dateBytes);
    qWarning("居民二代证2.2");
    store(info.address, card.firstWord(52, 70, wideLimit));
    qWarning("居民二代证2.3");
    storeBytes(info.idNum, card.field(122, 36, wideLimit), idNumberBytes);
    qWarning("居民二代证2.4");
    store(info.issueOrg, card.firstWord(158, 30, wideLimit));
    qWarning("居民二代证2.5");
    storeBytes(info.effectDate, card.field(188, 16, wideLimit), dateBytes);
    qWarning("居民二代证2.6");
    storeBytes(info.expireDate, card.field(204, 16, wideLimit), dateBytes);
    qWarning("居民二代证2.7");
    std::fill(std::begin(info.figData), std::end(info.figData), 0);
    qWarning("居民二代证3");
    storeFingerprints(text, info);
    qWarning("居民二代证--");
}

// Residence permit of residents of Hong Kong, Macau and Taiwan. Its nation field is blank and not
// stored.
void decodeResidencePermit(CardText card, IDINFO& info)
{
    store(info.name, card.firstWord(0, 30, 30));
    store(info.gender, card.gender(30, 2));
    storeBytes(info.birthday, card.field(36, 16, 8), dateBytes);
    store(info.address, card.field(52, 70, 70));
    storeBytes(info.idNum, card.field(122, 36, 18), idNumberBytes);
    store(info.issueOrg, card.firstWord(158, 30, 30));
    store(info.effectDate, card.field(188, 16, 8));
    storeBytes(info.expireDate, card.field(204, 16, 8), dateBytes);
    store(info.passNum, card.field(220, 18, 18));
    store(info.signCount, card.field(238, 4, 4));
}

void writePhotoFile(const unsigned char* photo, int length)
{
    const QString path = QString::fromLatin1(HolderPhoto::path);
    if (!FixedFile::write(path,
                          QByteArray::fromRawData(reinterpret_cast<const char*>(photo), length))) {
        printf("创建文件失败");
        QFile::remove(path); // otherwise an earlier customer's photo would be taken for this one's
    }
}

void decodePhoto(const unsigned char* text)
{
    std::array<unsigned char, photoBytes> compressed{};
    std::copy_n(text + photoOffset, photoBytes, compressed.begin());
    std::array<unsigned char, libwlt::BitmapBytes> decoded{};
    int length = 0;
    const int result = libwlt().Unpack_Data(compressed.data(), photoBytes, decoded.data(), &length);
    if (result == photoDecoded)
        writePhotoFile(decoded.data(), length);
    else
        printf("ret = %d\n", result);
}

} // namespace

void decodeRecord(const unsigned char* data, IDINFO* info, bool withPrefix)
{
    const unsigned char* text = data + (withPrefix ? prefixBytes : 0);
    std::memset(info, 0, sizeof *info);
    qWarning("读卡4  \n");
    CardText card(text);
    info->CardType[0] = card.field(typeOffset, 2, wideLimit)[0];

    switch (info->CardType[0]) {
    case 'I':
        decodePermanentResidenceCard(card, *info);
        storeFingerprints(text, *info);
        break;
    case 'J':
        decodeResidencePermit(card, *info);
        storeFingerprints(text, *info);
        break;
    default:
        decodeResidentCard(card, text, *info);
    }
    decodePhoto(text);
}
