// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/id_info.h"
#include "idcard/nation_table.h"
#include "idcard/read_id_card.h"
#include "tests/support/full_disk.h"
#include "tests/support/output_capture.h"
#include "tests/support/table.h"
#include "virtual/cards/identity_card.h"
#include "virtual/cards/photo_encoder.h"
#include "virtual/cards/portrait.h"

#include <QCryptographicHash>

#include <cstring>
#include <memory>

using namespace virtual_desk;

Q_DECLARE_METATYPE(IdentityCard)

namespace {

using C = IdentityCard;
constexpr CardType resident = CardType::Resident;
constexpr CardType foreigner = CardType::PermanentResidence;
constexpr CardType permit = CardType::ResidencePermit;

const QString photoFile = QStringLiteral("simage_file.bmp");

// Indexes into texts().
enum { Name, English, Gender, Nation, Address, End = 7, Authority = 9 };

IdentityCard cardWith(CardType type, QString C::* field, const QString& text)
{
    IdentityCard card = sampleCard(type);
    card.*field = text;
    return card;
}

// 'A' and characters of three bytes each.
QString wide(int characters)
{
    return 'A' + QString(characters, u'汉');
}

// Every field full: each of a letter of its own, or of wide characters.
IdentityCard fullCard(CardType type, bool isWide = false)
{
    IdentityCard card = sampleCard(type);
    char16_t letter = u'a';
    for (QString C::* field :
         {&C::name, &C::englishName, &C::address, &C::birthday, &C::effectDate, &C::expireDate,
          &C::idNum, &C::issueOrg, &C::nationCode, &C::passNum, &C::signCount, &C::certVersion}) {
        card.*field = isWide ? wide(60) : QString(60, letter++);
        (card.*field).truncate(fieldLength(type, field));
    }
    card.typeLetter = "z";
    return card;
}

} // namespace

class IdentityRecordTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QFile::remove(photoFile); }

    void decodesEveryField_data()
    {
        const QString a15(15, 'a');
        const QString dates = "dddddddd|eeeeeeee|ffffffff|";
        const QString c35(35, 'c');
        const QString g18(18, 'g');
        const QString h15(15, 'h');
        // Cut after a number of bytes, even inside a character.
        const QString date = QString::fromUtf8(wide(8).toUtf8().left(8)) + '|';
        const QString number = QString::fromUtf8(wide(8).toUtf8().left(18)) + '|';
        const QString fit = wide(2) + '|'; // cut before the character that does not fit
        addRows<IdentityCard, QString>({
            {"resident", fullCard(resident),
             a15 + "||男|汉|" + c35 + '|' + dates + g18 + '|' + h15 + "|||||z"},
            {"foreigner", fullCard(foreigner),
             a15 + '|' + QString(39, 'b') + "||||" + dates + g18.left(15) + "|hhhh|iii|||ll|I"},
            {"permit", fullCard(permit),
             a15 + "||女||" + c35 + '|' + dates + g18 + '|' + h15 + "||jjjjjjjjj|kk||J"},
            {"wide resident", fullCard(resident, true),
             wide(12) + "||男|汉|" + wide(34) + '|' + date + date + date + number + wide(14) +
                 "|||||z"},
            {"wide foreigner", fullCard(foreigner, true),
             wide(9) + '|' + wide(12) + "||||" + fit + fit + fit + wide(9) + "|A汉|A汉|||A汉|I"},
            {"wide permit", fullCard(permit, true),
             wide(9) + "||女||" + wide(23) + '|' + fit + fit + fit + wide(5) + '|' + wide(9) +
                 "||" + wide(5) + "|A汉||J"},
        });
    }

    void decodesEveryField()
    {
        const auto [card, texts] = row<IdentityCard, QString>();
        decode("prefix" + cardData(card), true);
        QCOMPARE(this->texts().join('|'), texts);
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(m_info->figData), 1056),
                 cardFingerprints(card) + QByteArray(32, '\0'));
        QCOMPARE(std::count(std::begin(m_info->reserved), std::end(m_info->reserved), 0),
                 std::ptrdiff_t(sizeof m_info->reserved));
    }

    void cutsAndTranslatesFields_data()
    {
        addRows<IdentityCard, int, QString>({
            {"inner space", cardWith(resident, &C::name, "李 晓明"), Name, "李"},
            {"space on the low byte", cardWith(resident, &C::name, "李Ġ明"), Name, "李Ġ明"},
            {"rare", cardWith(resident, &C::name, "\U00020BB7田"), Name, "\U00020BB7田"},
            {"neither", cardWith(resident, &C::gender, "9"), Gender, "其他"},
            {"word for a code", cardWith(resident, &C::nation, "汉族"), Nation, ""},
            {"no end", cardWith(resident, &C::expireDate, "长期"), End, "长期  "},
            {"address", cardWith(resident, &C::address, "路 1"), Address, "路"},
            {"authority", cardWith(resident, &C::issueOrg, "局 1"), Authority, "局"},
            {"English name", cardWith(foreigner, &C::englishName, "ANNA M."), English, "ANNA"},
            {"Chinese name", cardWith(foreigner, &C::name, "安 娜"), Name, "安"},
            {"no Chinese name", cardWith(foreigner, &C::name, ""), Name, ""},
            {"permit", cardWith(permit, &C::name, "陈 欣"), Name, "陈"},
            {"its address", cardWith(permit, &C::address, QString("A B").leftJustified(35)),
             Address, QString("A B").leftJustified(35)},
            {"its authority", cardWith(permit, &C::issueOrg, "局 1"), Authority, "局"},
        });
    }

    void cutsAndTranslatesFields()
    {
        const auto [card, field, text] = row<IdentityCard, int, QString>();
        decode(cardData(card));
        QCOMPARE(texts().at(field), text);
    }

    void knowsEveryNation()
    {
        QStringList names;
        for (int code = 1; code <= 56; ++code) {
            decode(cardData(cardWith(resident, &C::nation, QString::asprintf("%02d", code))));
            names += texts().at(Nation);
        }
        QCOMPARE(names.first() + names.at(28) + names.last(), QString("汉柯尔克孜基诺"));
        // The names of GB/T 3304 in the order of their codes, with commas.
        QCOMPARE(
            QCryptographicHash::hash(names.join(',').toUtf8(), QCryptographicHash::Sha256).toHex(),
            QByteArray("adcf031a168317d5158396fba91e4d9c0840ff3a5090fc91f3ad3fa2d76e3387"));
        for (const long code : {-1L, 0L, 57L, 1000000L})
            QCOMPARE(nationName(code), "");
    }

    void writesThePhotoOfThisCardOrNone()
    {
        IdentityCard card = sampleCard(resident);
        card.photo = encodePhoto(drawPortrait(0));
        QCOMPARE(decode(cardData(card)), QByteArray());
        QCOMPARE(QFile(photoFile).size(), qint64(38862));
        QCOMPARE(QImage(photoFile), decodePhoto(card.photo));
        // A card whose photo cannot be decoded leaves the file alone.
        QCOMPARE(decode(cardData(sampleCard(resident))), QByteArray("ret = 3\n"));
        QCOMPARE(QImage(photoFile), decodePhoto(card.photo));
        {
            const FullDisk disk;
            QCOMPARE(decode(cardData(card)), QByteArray("创建文件失败"));
        }
        QVERIFY2(!QFile::exists(photoFile), "the photo before would pass for this card's");
        QCOMPARE(LogCapture::lines().filter("cannot write").size(), 1);
        QCOMPARE(texts().at(Name), QString("李晓明"));
    }

private:
    // Returns what was printed.
    QByteArray decode(const QByteArray& data, bool withPrefix = false)
    {
        const QByteArray whole = data.leftJustified(2310, '\0');
        std::memset(m_info.get(), 0x5A, sizeof *m_info);
        const LogCapture log;
        OutputCapture output;
        const int result =
            ReadIDCard().AnalysisID(reinterpret_cast<const unsigned char*>(whole.constData()),
                                    m_info.get(), withPrefix, nullptr);
        const QByteArray printed = output.take();
        return result == 0 ? printed : QByteArray("result is not 0");
    }

    // The record's texts in its order.
    QStringList texts() const
    {
        QStringList all;
        const auto add = [&](auto&... fields) {
            ((all += std::memchr(fields, 0, sizeof fields) ? QString::fromUtf8(fields)
                                                           : QString("without an end")),
             ...);
        };
        const IDINFO& i = *m_info;
        add(i.name, i.englishName, i.gender, i.nation, i.address, i.birthday, i.effectDate,
            i.expireDate, i.idNum, i.issueOrg, i.nationCode, i.passNum, i.signCount, i.CertVersion,
            i.CardType);
        return all;
    }

    std::unique_ptr<IDINFO> m_info = std::make_unique<IDINFO>();
};

QTEST_GUILESS_MAIN(IdentityRecordTest)
#include "identity_record_test.moc"
