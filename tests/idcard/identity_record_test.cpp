// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/id_info.h"
#include "idcard/nation_table.h"
#include "idcard/read_id_card.h"
#include "tests/support/full_disk.h"
#include "tests/support/output_capture.h"
#include "virtual/cards/identity_card.h"
#include "virtual/cards/photo_encoder.h"
#include "virtual/cards/portrait.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTest>

#include <cstring>
#include <memory>

using namespace virtual_desk;

Q_DECLARE_METATYPE(IdentityCard)

namespace {

const QString photoFile = QStringLiteral("simage_file.bmp");

struct FieldCase
{
    const char* name;
    CardType type;
    QString IdentityCard::* field;
    QString onCard;
    std::size_t offset; // of the record's field
    QByteArray text;
};

} // namespace

class IdentityRecordTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QFile::remove(photoFile); }

    void decodesEachField_data()
    {
        QTest::addColumn<IdentityCard>("card");
        QTest::addColumn<int>("offset");
        QTest::addColumn<QByteArray>("text");
        const FieldCase cases[] = {
#define FIELD(name) offsetof(IDINFO, name)
            {"name", CardType::Resident, &IdentityCard::name, "李晓明", FIELD(name), "李晓明"},
            {"inner space", CardType::Resident, &IdentityCard::name, "李 晓明", FIELD(name), "李"},
            {"twelve characters", CardType::Resident, &IdentityCard::name, QString(12, u'汉'),
             FIELD(name), QByteArray("汉").repeated(12)},
            {"fifteen characters", CardType::Resident, &IdentityCard::name, QString(15, u'汉'),
             FIELD(name), QByteArray("汉").repeated(13)},
            {"surrogate pair", CardType::Resident, &IdentityCard::name, "\U00020BB7田", FIELD(name),
             "\U00020BB7田"},
            {"woman", CardType::Resident, &IdentityCard::gender, "2", FIELD(gender), "女"},
            {"neither", CardType::Resident, &IdentityCard::gender, "9", FIELD(gender), "其他"},
            {"nation 01", CardType::Resident, &IdentityCard::nation, "01", FIELD(nation), "汉"},
            {"nation 56", CardType::Resident, &IdentityCard::nation, "56", FIELD(nation), "基诺"},
            {"nation 00", CardType::Resident, &IdentityCard::nation, "00", FIELD(nation), ""},
            {"nation 57", CardType::Resident, &IdentityCard::nation, "57", FIELD(nation), ""},
            {"nation in words", CardType::Resident, &IdentityCard::nation, "汉族", FIELD(nation),
             ""},
            {"birthday", CardType::Resident, &IdentityCard::birthday, "19870615", FIELD(birthday),
             "19870615"},
            {"birthday in letters", CardType::Resident, &IdentityCard::birthday, "一二三",
             FIELD(birthday), QByteArray("一二三").left(8)},
            {"long-term", CardType::Resident, &IdentityCard::expireDate, "长期", FIELD(expireDate),
             "长期  "},
            {"whole address", CardType::Resident, &IdentityCard::address, QString(35, u'路'),
             FIELD(address), QByteArray("路").repeated(35)},
            {"number", CardType::Resident, &IdentityCard::idNum, "11010819870615123X", FIELD(idNum),
             "11010819870615123X"},
            {"authority", CardType::Resident, &IdentityCard::issueOrg, QString(15, u'局'),
             FIELD(issueOrg), QByteArray("局").repeated(15)},
            {"type letter", CardType::Resident, &IdentityCard::typeLetter, "K", FIELD(CardType),
             "K"},

            {"English name", CardType::PermanentResidence, &IdentityCard::englishName, "ANNA MARIA",
             FIELD(englishName), "ANNA"},
            {"long English name", CardType::PermanentResidence, &IdentityCard::englishName,
             QString(60, 'A'), FIELD(englishName), QByteArray(39, 'A')},
            {"Chinese name", CardType::PermanentResidence, &IdentityCard::name, QString(11, u'安'),
             FIELD(name), QByteArray("安").repeated(10)},
            {"no gender", CardType::PermanentResidence, &IdentityCard::gender, "2", FIELD(gender),
             ""},
            {"no Chinese name", CardType::PermanentResidence, &IdentityCard::name, "", FIELD(name),
             ""},
            {"permit number", CardType::PermanentResidence, &IdentityCard::idNum, "FRA310078041510",
             FIELD(idNum), "FRA310078041510"},
            {"nationality", CardType::PermanentResidence, &IdentityCard::nationCode, "FRA",
             FIELD(nationCode), "FRA"},
            {"version", CardType::PermanentResidence, &IdentityCard::certVersion, "01",
             FIELD(CertVersion), "01"},
            {"authority's code", CardType::PermanentResidence, &IdentityCard::issueOrg, "1500",
             FIELD(issueOrg), "1500"},
            {"its letter", CardType::PermanentResidence, &IdentityCard::typeLetter, "",
             FIELD(CardType), "I"},

            {"permit holder", CardType::ResidencePermit, &IdentityCard::name, QString(12, u'陈'),
             FIELD(name), QByteArray("陈").repeated(10)},
            {"permit's gender", CardType::ResidencePermit, &IdentityCard::gender, "1",
             FIELD(gender), "男"},
            {"permit's nation", CardType::ResidencePermit, &IdentityCard::nation, "01",
             FIELD(nation), ""},
            {"permit's address keeps spaces", CardType::ResidencePermit, &IdentityCard::address,
             "A B", FIELD(address), QByteArray("A B").leftJustified(35, ' ')},
            {"permit's number", CardType::ResidencePermit, &IdentityCard::idNum,
             "810000199211030026", FIELD(idNum), "810000199211030026"},
            {"pass number", CardType::ResidencePermit, &IdentityCard::passNum, "H01234567",
             FIELD(passNum), "H01234567"},
            {"issues", CardType::ResidencePermit, &IdentityCard::signCount, "02", FIELD(signCount),
             "02"},
#undef FIELD
        };
        for (const FieldCase& c : cases) {
            IdentityCard card = sampleCard(c.type);
            card.*c.field = c.onCard;
            QTest::newRow(c.name) << card << int(c.offset) << c.text;
        }
    }

    void decodesEachField()
    {
        QFETCH(IdentityCard, card);
        QFETCH(int, offset);
        decode(cardData(card));
        QTEST(QByteArray(reinterpret_cast<const char*>(m_info.get()) + offset), "text");
    }

    void skipsThePrefixOfTheUsbReader()
    {
        const IdentityCard card = sampleCard(CardType::Resident);
        decode("\x90\x01\x02\x03\x04\x05" + cardData(card), true);
        QCOMPARE(QString(m_info->name), card.name);
    }

    void carriesTheFingerprints()
    {
        for (const CardType type :
             {CardType::Resident, CardType::PermanentResidence, CardType::ResidencePermit}) {
            const IdentityCard card = sampleCard(type);
            decode(cardData(card));
            QCOMPARE(QByteArray(reinterpret_cast<const char*>(m_info->figData), 1056),
                     cardFingerprints(card) + QByteArray(32, '\0'));
        }
    }

    void knowsEveryNation()
    {
        QCOMPARE(QString::fromUtf8(nationName(29)), QString("柯尔克孜"));
        QCOMPARE(QString::fromUtf8(nationName(43)), QString("乌孜别克"));
        QCOMPARE(QString::fromUtf8(nationName(52)), QString("鄂伦春"));
        for (int code = 1; code <= 56; ++code)
            QVERIFY2(*nationName(code) != '\0', qPrintable(QString::number(code)));
        for (const long code : {-1L, 0L, 57L, 1000000L})
            QCOMPARE(nationName(code), "");
    }

    void writesThePhoto()
    {
        IdentityCard card = sampleCard(CardType::Resident);
        card.photo = encodePhoto(drawPortrait(0));
        QCOMPARE(decode(cardData(card)), QByteArray());
        QFile file(photoFile);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.size(), qint64(38862));
        QCOMPARE(QImage(photoFile), decodePhoto(card.photo));
    }

    void keepsTheOldPhotoWhenThereIsNoNewOne()
    {
        QFile file(photoFile);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("old");
        file.close();
        QCOMPARE(decode(cardData(sampleCard(CardType::Resident))), QByteArray("ret = 3\n"));
        QCOMPARE(file.size(), qint64(3));
        QCOMPARE(QString(m_info->name), QString("李晓明"));
    }

    void saysWhenThePhotoCannotBeWritten()
    {
        IdentityCard card = sampleCard(CardType::Resident);
        card.photo = encodePhoto(drawPortrait(0));
        QVERIFY(QDir().mkdir(photoFile));
        const QByteArray printed = decode(cardData(card));
        QVERIFY(QDir().rmdir(photoFile));
        QCOMPARE(printed, QByteArray("创建文件失败"));
        QCOMPARE(LogCapture::lines().filter("cannot write").size(), 1);

        QVERIFY(drawPortrait(1).save(photoFile)); // of the customer before
        {
            const FullDisk disk;
            QCOMPARE(decode(cardData(card)), QByteArray("创建文件失败"));
        }
        QCOMPARE(LogCapture::lines().filter("cannot write").size(), 1);
        QVERIFY2(!QFile::exists(photoFile), "the photo before would pass for this card's");
        QCOMPARE(QString(m_info->name), card.name);
    }

    void endsEveryFieldWhateverTheCardHolds()
    {
        QRandomGenerator random(3);
        for (int i = 0; i < 60; ++i) {
            QByteArray data(2310, '\0');
            for (char& byte : data)
                byte = static_cast<char>(random.generate());
            data[248] = "IJ "[i % 3];
            data[249] = '\0';
            decode(data);
            for (const auto& [field, width] : {std::pair<const char*, int>{m_info->name, 40},
                                               {m_info->englishName, 40},
                                               {m_info->gender, 10},
                                               {m_info->nation, 20},
                                               {m_info->address, 200},
                                               {m_info->birthday, 50},
                                               {m_info->effectDate, 50},
                                               {m_info->expireDate, 50},
                                               {m_info->idNum, 40},
                                               {m_info->issueOrg, 50},
                                               {m_info->nationCode, 200},
                                               {m_info->passNum, 24},
                                               {m_info->signCount, 8},
                                               {m_info->CertVersion, 8},
                                               {m_info->CardType, 136}})
                QVERIFY(std::memchr(field, 0, std::size_t(width)) != nullptr);
            QVERIFY(std::all_of(std::begin(m_info->reserved), std::end(m_info->reserved),
                                [](char byte) { return byte == 0; }));
        }
    }

private:
    // Returns what was printed.
    QByteArray decode(QByteArray data, bool withPrefix = false)
    {
        data = data.leftJustified(2310, '\0');
        std::memset(m_info.get(), 0x5A, sizeof *m_info);
        const LogCapture log;
        OutputCapture output;
        const int result =
            ReadIDCard().AnalysisID(reinterpret_cast<const unsigned char*>(data.constData()),
                                    m_info.get(), withPrefix, nullptr);
        const QByteArray printed = output.take();
        return result == 0 ? printed : QByteArray("result is not 0");
    }

    std::unique_ptr<IDINFO> m_info = std::make_unique<IDINFO>();
};

QTEST_GUILESS_MAIN(IdentityRecordTest)
#include "identity_record_test.moc"
