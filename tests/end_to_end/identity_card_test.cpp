// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/camera/camera.h"
#include "virtual/cards/identity_card.h"
#include "virtual/cards/photo_encoder.h"
#include "virtual/cards/portrait.h"
#include "virtual/readers/identity_reader_hid.h"
#include "virtual/readers/identity_reader_usb.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QPainter>
#include <QRandomGenerator>
#include <QtTest>

#include <memory>
#include <sys/resource.h>

using namespace virtual_desk;

namespace {

const QString photoFile = QStringLiteral("simage_file.bmp");
const QString frontFile = QStringLiteral("frontNew.jpg");
const QString backFile = QStringLiteral("backNew.jpg");

const char tag[] = "t1";

QString compact(const QJsonObject& object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QString commonReply(const QString& function, int success, const QString& msg,
                    const QString& data = {})
{
    QJsonObject reply{
        {"functionName", function}, {"success", success}, {"msg", msg}, {"_tflag", tag}};
    if (!data.isEmpty())
        reply.insert("data", data);
    return compact(reply);
}

QString cardReply(const QString& function, const QJsonObject& data)
{
    return compact({{"functionName", function},
                    {"err_code", 0},
                    {"err_msg", "读卡成功"},
                    {"_tflag", tag},
                    {"data", data}});
}

IdentityCard residentCard()
{
    IdentityCard card;
    card.type = CardType::Resident;
    card.name = QStringLiteral("王小明");
    card.gender = QStringLiteral("1");
    card.nation = QStringLiteral("03");
    card.birthday = QStringLiteral("19900105");
    card.address = QStringLiteral("某某省某某市幸福路一百二十三号四单元");
    card.idNum = QStringLiteral("110101199001050017");
    card.issueOrg = QStringLiteral("某某市公安局");
    card.effectDate = QStringLiteral("20200101");
    card.expireDate = QStringLiteral("20300101");
    card.typeLetter = QStringLiteral("A");
    return card;
}

IdentityCard foreignersCard()
{
    IdentityCard card;
    card.type = CardType::PermanentResidence;
    card.name = QStringLiteral("安娜");
    card.englishName = QStringLiteral("ANNA MARIA");
    card.gender = QStringLiteral("2");
    card.idNum = QStringLiteral("DEU110080010107");
    card.nationCode = QStringLiteral("DEU");
    card.effectDate = QStringLiteral("20210203");
    card.expireDate = QStringLiteral("20310203");
    card.birthday = QStringLiteral("19800101");
    card.certVersion = QStringLiteral("01");
    card.issueOrg = QStringLiteral("1500");
    card.fingerprints = "C" + QByteArray(1023, '\x5A');
    return card;
}

IdentityCard permitCard()
{
    IdentityCard card;
    card.type = CardType::ResidencePermit;
    card.name = QStringLiteral("陈嘉欣");
    card.gender = QStringLiteral("2");
    card.birthday = QStringLiteral("19921103");
    card.address = QStringLiteral("深圳市福田区");
    card.idNum = QStringLiteral("810000199211030026");
    card.issueOrg = QStringLiteral("深圳市公安局");
    card.effectDate = QStringLiteral("20190101");
    card.expireDate = QStringLiteral("20240101");
    card.passNum = QStringLiteral("H01234567");
    card.signCount = QStringLiteral("02");
    card.fingerprints = "X" + QByteArray(1023, '\x5A'); // not what a fingerprint begins with
    return card;
}

// Every key of a record, empty, with the values of one card put in.
QJsonObject record(const QJsonObject& values)
{
    QJsonObject data{{"dn", "dn"}};
    for (const char* key : {"figData", "CardType", "name", "englishName", "gender", "issueOrg",
                            "address", "effectDate", "expireDate", "birthday", "idNum", "passNum",
                            "nation", "nationCode", "signCount", "CertVersion"})
        data.insert(key, "");
    for (auto value = values.begin(); value != values.end(); ++value)
        data.insert(value.key(), value.value());
    return data;
}

const QJsonObject residentRecord = record({{"CardType", "A"},
                                           {"name", "王小明"},
                                           {"gender", "男"},
                                           {"nation", "回"},
                                           {"birthday", "19900105"},
                                           {"address", "某某省某某市幸福路一百二十三号四单元"},
                                           {"idNum", "110101199001050017"},
                                           {"issueOrg", "某某市公安局"},
                                           {"effectDate", "20200101"},
                                           {"expireDate", "20300101"}});

const QJsonObject foreignersRecord = record({{"CardType", "I"},
                                             {"name", "安娜"},
                                             {"englishName", "ANNA"},
                                             {"birthday", "19800101"},
                                             {"idNum", "DEU110080010107"},
                                             {"nationCode", "DEU"},
                                             {"issueOrg", "1500"},
                                             {"effectDate", "20210203"},
                                             {"expireDate", "20310203"},
                                             {"CertVersion", "01"}});

const QJsonObject permitRecord = record({{"CardType", "J"},
                                         {"name", "陈嘉欣"},
                                         {"gender", "女"},
                                         {"birthday", "19921103"},
                                         {"address", "深圳市福田区" + QString(29, ' ')},
                                         {"idNum", "810000199211030026"},
                                         {"issueOrg", "深圳市公安局"},
                                         {"effectDate", "20190101"},
                                         {"expireDate", "20240101"},
                                         {"passNum", "H01234567"},
                                         {"signCount", "02"}});

// The service's working directory holds this picture when a card's own cannot be decoded.
QImage oldPhoto()
{
    QImage photo(102, 126, QImage::Format_RGB32);
    photo.fill(Qt::white);
    QPainter painter(&photo);
    painter.setBrush(QColor(200, 160, 130));
    painter.drawEllipse(30, 20, 42, 60);
    return photo;
}

QString bitmapText(const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "BMP");
    return QString::fromLatin1(bytes.toBase64());
}

// AddressSanitizer keeps what was freed for a while, and widens every frame.
#ifdef __SANITIZE_ADDRESS__
constexpr qint64 allowedGrowthKiB = 256 * 1024;
constexpr rlim_t readStackBytes = 8 * 1024 * 1024;
#else
constexpr qint64 allowedGrowthKiB = 4096;
constexpr rlim_t readStackBytes = 8 * 1024 * 1024 / 3;
#endif

} // namespace

class IdentityCardTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_kernel = std::make_unique<VirtualKernel>();
        m_usb = std::make_unique<IdentityReaderUsb>(*m_kernel, IdentityReaderUsb::Module0503);
        m_hid = std::make_unique<IdentityReaderHid>(*m_kernel);
        for (const char* name : {"front.jpg", "back.jpg"})
            QVERIFY(
                QFile::copy(QStringLiteral(DESK_SOURCE_DIR "/packaging/templates/") + name, name));
        startService();
    }

    void init()
    {
        QFile::remove(frontFile);
        QFile::remove(backFile);
        QFile::remove(photoFile);
        m_usb->resetFaults();
        m_usb->setModule(IdentityReaderUsb::Module0503);
        putCard(residentCard());
        setFault({});
        m_usb->clearLog();
        m_hid->clearLog();
        m_client = std::make_unique<DeskClient>();
        QVERIFY(m_client->open());
        m_service.forgetOutput();
    }

    void cleanup()
    {
        QVERIFY(m_service.isRunning());
        m_client.reset();
    }

    void theModulesNumberIsRead_data()
    {
        QTest::addColumn<QString>("request");
        QTest::addColumn<QString>("function");
        QTest::newRow("function") << R"({"function":"ZCGetSAMNum","_tflag":"t1"})"
                                  << "ZCGetSAMNum";
        QTest::newRow("act") << R"({"act":"test","_tflag":"t1"})"
                             << "";
        QTest::newRow("act and function")
            << R"({"act":"test","function":"ZCSIMCard","_tflag":"t1"})"
            << "ZCSIMCard";
    }

    void theModulesNumberIsRead()
    {
        QFETCH(QString, request);
        QFETCH(QString, function);
        m_client->send(request);
        QCOMPARE(m_client->text(),
                 commonReply(function, 1, "获取SAM码成功", "0503000133A1B2C3D4E5F60708090A0B"));
        QCOMPARE(m_usb->log(),
                 QStringList({"claim 0", "out 01: AA AA AA 96 69 00 03 12 FF EE",
                              "in 81: AA AA AA 96 69 00 14 00 00 90 05 03 00 01 33 A1 B2 C3 D4 E5 "
                              "F6 07 08 09 0A 0B A0",
                              "release 0"}));
        QVERIFY(
            m_service.waitForError("0503000133A1B2C3D4E5F60708090A0B\nclose libusb\nL_Error1\n"));
    }

    void theModulesNumberCanFail_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("success");
        QTest::addColumn<QString>("msg");
        QTest::addColumn<QStringList>("wire");
        const QStringList claimed{"claim 0"};
        QTest::newRow("no reader")
            << "unplugged" << -1 << "libusb_open_device_with_vid_pid(0x0400, 0xC35A) failed"
            << QStringList();
        QTest::newRow("busy") << "held" << -1 << "interface USB failed"
                              << QStringList{"claim 0: EBUSY"};
        QTest::newRow("write") << "dead" << -1 << "libusb_bulk_transfer write failed"
                               << QStringList{
                                      "claim 0", "out 01: AA AA AA 96 69 00 03 12 FF EE: EPIPE",
                                      "out 02: AA AA AA 96 69 00 03 12 FF EE: EPIPE", "release 0"};
        QTest::newRow("read") << "mute" << -1 << "libusb_bulk_transfer read failed"
                              << QStringList{"claim 0", "out 01: AA AA AA 96 69 00 03 12 FF EE",
                                             "in 81: EPIPE", "release 0"};
        QTest::newRow("status") << "no number" << 1 << "获取SAM码成功"
                                << QStringList{"claim 0", "out 01: AA AA AA 96 69 00 03 12 FF EE",
                                               "in 81: AA AA AA 96 69 00 04 00 00 66 62",
                                               "release 0"};
    }

    void theModulesNumberCanFail()
    {
        QFETCH(QString, fault);
        QFETCH(int, success);
        QFETCH(QString, msg);
        setFault(fault);
        m_usb->clearLog();
        m_client->command("ZCGetSAMNum", {{"_tflag", tag}});
        QCOMPARE(m_client->text(), commonReply("ZCGetSAMNum", success, msg));
        QTEST(m_usb->log(), "wire");
        QVERIFY(m_service.waitForError("L_Error1\n"));
        QCOMPARE(m_service.standardError().contains("close libusb"), success == 1);
    }

    void cardsOfEachTypeAreReadOnEachReader_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("reader");
        for (const int type : {0, 1, 2})
            for (const char* reader : {"0501", "0503", "HID"})
                QTest::addRow("type %d on %s", type, reader) << type << reader;
    }

    void cardsOfEachTypeAreReadOnEachReader()
    {
        QFETCH(int, type);
        QFETCH(QString, reader);
        const IdentityCard cards[] = {residentCard(), foreignersCard(), permitCard()};
        QJsonObject data[] = {residentRecord, foreignersRecord, permitRecord};
        const bool hid = reader == QLatin1String("HID");
        const QString function = hid ? "ZCReadHIDIDCard" : "ZCReadIDCard";
        if (reader == QLatin1String("0501"))
            m_usb->setModule(IdentityReaderUsb::Module0501);
        putCard(cards[type]);
        if (type == 1) {
            // The first module's reply ends six bytes before the card's data do.
            const int lost = reader == QLatin1String("0501") ? 6 : 0;
            data[type].insert("figData", "43" + QString("5A").repeated(1023 - lost) +
                                             QString("00").repeated(lost));
        }
        m_client->command(function, {{"_tflag", tag}});
        QCOMPARE(m_client->text(), cardReply(function, data[type]));
        QVERIFY(!QFile::exists(photoFile));
        QCOMPARE(QImage(frontFile).isNull(), hid);
        QCOMPARE(QImage(backFile).isNull(), hid);
        QVERIFY(m_service.waitForError("idcard 1\n\n"));
        if (reader == QLatin1String("0501"))
            QVERIFY(m_service.waitForOutput("AA AA AA 96 69 00 14 "));
    }

    void thePhotoIsWhateverTheFileHolds_data()
    {
        QTest::addColumn<QString>("function");
        QTest::newRow("USB") << "ZCReadIDCard";
        QTest::newRow("HID") << "ZCReadHIDIDCard";
    }

    void thePhotoIsWhateverTheFileHolds()
    {
        QFETCH(QString, function);
        QVERIFY(oldPhoto().save(photoFile));
        m_client->command(function, {{"_tflag", tag}});
        QJsonObject data = residentRecord;
        data.insert("photo", bitmapText(QImage(photoFile)));
        QCOMPARE(m_client->text(), cardReply(function, data));
        QVERIFY(!QFile::exists(photoFile));
        if (function == QLatin1String("ZCReadIDCard")) // and stands on the front, scaled
            QVERIFY(QImage(frontFile).pixelColor(672 + 153, 99 + 150).blue() < 160);

        QFile noImage(photoFile);
        QVERIFY(noImage.open(QIODevice::WriteOnly));
        noImage.write("no image");
        noImage.close();
        m_client->command(function, {{"_tflag", tag}});
        QCOMPARE(m_client->text(), cardReply(function, residentRecord));
        QVERIFY(!QFile::exists(photoFile));
    }

    void thePhotoIsTheOneOnTheCard_data() { thePhotoIsWhateverTheFileHolds_data(); }

    // By pixels: the resolution in a bitmap's header is that of the screen.
    void thePhotoIsTheOneOnTheCard()
    {
        QFETCH(QString, function);
        for (int holder : {0, 1}) { // the second finds nothing of the first
            IdentityCard card = residentCard();
            card.photo = encodePhoto(drawPortrait(holder));
            putCard(card);
            const QJsonObject data = m_client->ask(function).value("data").toObject();
            const QByteArray bitmap =
                QByteArray::fromBase64(data.value("photo").toString().toLatin1());
            const QImage photo = QImage::fromData(bitmap, "BMP");
            QVERIFY(!photo.isNull());
            QCOMPARE(photo, decodePhoto(card.photo));
            QVERIFY(!QFile::exists(photoFile));
        }
    }

    void diagnosticsLeaveInGb2312OnceAFaceIsPainted()
    {
        m_client->ask("ZCReadIDCard");
        m_client->ask("ZCStartDeviceAB");
        const char startsThePad[] = "\xC6\xF4\xB6\xAF\xC7\xA9\xD7\xD6\xB0\xE5\n"; // 启动签字板
        QVERIFY(m_service.waitForError(startsThePad));
    }

    void aFailedReadIsTriedTwice_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("claim");
        QTest::addColumn<int>("claims");
        QTest::newRow("no reader") << "unplugged" << 431003 << "claim 0" << 0;
        QTest::newRow("busy") << "held" << 431003 << "claim 0: EBUSY" << 2;
        QTest::newRow("no number") << "dead" << 0 << "claim 0" << 2;
        QTest::newRow("no card") << "no card" << 431004 << "claim 0" << 2;
        QTest::newRow("pulled while reading") << "pulled" << 431003 << "claim 0" << 1;
    }

    void aFailedReadIsTriedTwice()
    {
        QFETCH(QString, fault);
        QFETCH(int, result);
        QFETCH(QString, claim);
        setFault(fault);
        m_usb->clearLog();
        m_client->send(R"({"act":"readIntegratedCard","_tflag":"t1"})");
        QCOMPARE(m_client->text(), commonReply("", result, "读卡失败"));
        QTEST(static_cast<int>(m_usb->log().count(claim)), "claims");
        QVERIFY(!QFile::exists(frontFile));
        QVERIFY(m_service.waitForError("ZCReadIDCard2\n"));
        QVERIFY(!m_service.standardError().contains("ZCReadIDCard1"));
    }

    void aReadThatWorksTheSecondTimeIsAnswered()
    {
        constexpr int firstReadReply = 8;
        m_usb->replaceTransfer(firstReadReply, UsbAnswer::stall());
        m_client->command("ZCReadIDCard", {{"_tflag", tag}});
        QCOMPARE(m_client->text(), cardReply("ZCReadIDCard", residentRecord));
        QCOMPARE(m_usb->log().count("claim 0"), 2);
        QVERIFY(m_service.waitForError("ZCReadIDCard1\nZCReadIDCard2\n"));
    }

    void aHidReadKeepsItsOrder()
    {
        m_hid->setBusyReplies(1);
        m_client->command("ZCReadHIDIDCard", {{"_tflag", tag}});
        QCOMPARE(m_client->text(), cardReply("ZCReadHIDIDCard", residentRecord));
        QStringList wire = m_hid->log();
        const QString set = "control 21 09 0000 0000: 02 08 00 01 00 ";
        const QString get = "control A1 01 3000 0000: ";
        const QStringList expected{"claim 0",        set + "B0 B9",         get + "02 00 00 00",
                                   set + "B1 B8",    get + "02 00 00 00",   set + "B4 BD",
                                   get + "02 00 16", get + "82 00 00 00 05"};
        constexpr int continuations = 41; // of 1280 bytes
        QCOMPARE(wire.mid(wire.indexOf("claim 0")).size(), expected.size() + continuations);
        for (int i = 0; i < expected.size(); ++i)
            QCOMPARE(wire.at(wire.indexOf("claim 0") + i).left(expected[i].size()), expected[i]);
    }

    void everyFailureOfAHidReadIsAnswered_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("msg");
        QTest::newRow("no reader") << "unplugged" << -12 << "寻卡失败";
        QTest::newRow("busy") << "held" << -12 << "寻卡失败";
        QTest::newRow("no card") << "no card" << -2 << "寻卡失败";
        QTest::newRow("nothing moved") << "hid request" << -15 << "寻卡失败";
        QTest::newRow("not selected") << "hid select" << -2 << "选卡失败";
        QTest::newRow("error status") << "hid read" << -20 << "身份证读卡失败";
    }

    void everyFailureOfAHidReadIsAnswered()
    {
        QFETCH(QString, fault);
        QFETCH(int, result);
        QFETCH(QString, msg);
        setFault(fault);
        m_client->command("ZCReadHIDIDCard", {{"_tflag", tag}});
        QCOMPARE(m_client->text(), commonReply("ZCReadHIDIDCard", result, msg));
        setFault({});
        m_client->command("ZCReadHIDIDCard", {{"_tflag", tag}});
        QCOMPARE(m_client->text(), cardReply("ZCReadHIDIDCard", residentRecord));
    }

    void aReaderPulledWhileBusyEndsTheRead()
    {
        m_hid->setBusyReplies(-1);
        m_client->command("ZCReadHIDIDCard", {{"_tflag", tag}});
        QTRY_VERIFY(m_hid->log().size() > 50);
        m_hid->unplug();
        QCOMPARE(m_client->text(), cardReply("ZCReadHIDIDCard", record({{"gender", "其他"}})));
    }

    void slowRepliesAreWaitedFor()
    {
        constexpr int almostTheTimeout = 800;
        m_usb->setReplyDelay(almostTheTimeout);
        m_client->command("ZCReadIDCard", {{"_tflag", tag}});
        QCOMPARE(m_client->text(20000), cardReply("ZCReadIDCard", residentRecord));
        QCOMPARE(m_usb->log().count("claim 0"), 1);
    }

    void cardsFullOfNoiseAreAnswered()
    {
        QRandomGenerator noise(20220711);
        for (int i = 0; i < 20; ++i) {
            QByteArray card(2304, '\0');
            for (char& byte : card)
                byte = static_cast<char>(noise.bounded(256));
            m_usb->putCard(card);
            m_hid->putCard(card);
            for (const char* function : {"ZCReadIDCard", "ZCReadHIDIDCard"}) {
                const QJsonObject reply = m_client->ask(function);
                QCOMPARE(reply.value("err_code").toInt(-1), 0);
                QCOMPARE(reply.value("data").toObject().value("dn").toString(), QString("dn"));
            }
        }
    }

    void aWorkingDirectoryInDisorderDoesNotMatter_data()
    {
        QTest::addColumn<QString>("instead");
        QTest::newRow("folders") << "mkdir -p $0/x";
        QTest::newRow("FIFOs") << "mkfifo $0";
    }

    void aWorkingDirectoryInDisorderDoesNotMatter()
    {
        QFETCH(QString, instead);
        QVERIFY(QFile::rename("front.jpg", "away.jpg"));
        const QStringList names{photoFile, frontFile, backFile, "front.jpg"};
        for (const QString& name : names)
            QCOMPARE(QProcess::execute("sh", {"-c", instead, name}), 0);
        for (const QString function : {"ZCReadIDCard", "ZCReadHIDIDCard"}) {
            m_client->command(function, {{"_tflag", tag}});
            QCOMPARE(m_client->text(), cardReply(function, residentRecord));
        }
        QVERIFY(m_service.waitForError("cannot write ./frontNew.jpg: "));
        QCOMPARE(QProcess::execute("rm", QStringList("-rf") + names), 0);
        QVERIFY(QFile::rename("away.jpg", "front.jpg"));
    }

    void aDayOfReadsLeavesTheServiceAsItWas()
    {
        const auto reads = [this](int rounds) {
            for (int i = 0; i < rounds; ++i) {
                for (const char* function : {"ZCReadIDCard", "ZCReadHIDIDCard", "ZCGetSAMNum"}) {
                    setFault(i % 2 ? "no card" : "");
                    QVERIFY(!m_client->ask(function).isEmpty());
                }
                m_service.forgetOutput();
            }
        };
        reads(20);
        const int descriptors = m_service.openDescriptors();
        const qint64 memory = m_service.residentKiB();
        reads(60);
        QVERIFY(m_service.openDescriptors() <= descriptors);
        const qint64 grown = m_service.residentKiB() - memory;
        QVERIFY2(grown < allowedGrowthKiB, qPrintable(QString::number(grown)));
    }

    // Two open windows put two event loops under a read; their frames are small beside a card's
    // record, so a third of the usual stack must do for the read itself.
    void aReadLeavesRoomOnTheStack()
    {
        m_service.stop();
        rlimit limit{};
        getrlimit(RLIMIT_STACK, &limit);
        const rlimit small{readStackBytes, limit.rlim_max};
        setrlimit(RLIMIT_STACK, &small);
        startService();
        setrlimit(RLIMIT_STACK, &limit);
        QVERIFY(m_client->open());
        for (const QString function : {"ZCReadIDCard", "ZCReadHIDIDCard"}) {
            m_client->command(function, {{"_tflag", tag}});
            QCOMPARE(m_client->text(), cardReply(function, residentRecord));
        }
    }

    void usbThatCannotBeInitialisedIsAnswered()
    {
        const auto process = static_cast<pid_t>(m_service.processId());
        rlimit before{};
        QCOMPARE(prlimit(process, RLIMIT_NOFILE, nullptr, &before), 0);
        const rlimit none{3, before.rlim_max}; // what is open stays open, nothing can be opened
        QCOMPARE(prlimit(process, RLIMIT_NOFILE, &none, nullptr), 0);
        m_client->command("ZCGetSAMNum", {{"_tflag", tag}});
        QCOMPARE(m_client->text(), commonReply("ZCGetSAMNum", -1, "init USB failed"));
        m_client->command("ZCReadIDCard", {{"_tflag", tag}});
        QCOMPARE(m_client->text(), commonReply("ZCReadIDCard", 431003, "读卡失败"));
        m_client->command("ZCReadHIDIDCard", {{"_tflag", tag}});
        QCOMPARE(m_client->text(), commonReply("ZCReadHIDIDCard", -12, "寻卡失败"));
        QCOMPARE(prlimit(process, RLIMIT_NOFILE, &before, nullptr), 0);
        QCOMPARE(m_client->ask("ZCGetSAMNum")["success"].toInt(), 1);
    }

    void cardsAreReadInsideTwoOpenWindows()
    {
        Camera camera(*m_kernel, {});
        camera.plugIn();
        m_client->command("ZCBeginSignAB", {{"width", 400}, {"height", 300}});
        m_client->command("ZCCameraPic");
        QTRY_VERIFY(camera.isStreaming());
        for (const QString function : {"ZCReadIDCard", "ZCReadHIDIDCard"}) {
            m_client->command(function, {{"_tflag", tag}});
            QCOMPARE(m_client->text(), cardReply(function, residentRecord));
        }
        QCOMPARE(m_client->ask("ZCSetPenWidth")["msg"].toString(), QStringLiteral("签名进行中"));
        QVERIFY(camera.isStreaming());
    }

private:
    void startService() { QVERIFY(m_service.start()); }

    void putCard(const IdentityCard& card)
    {
        m_usb->putCard(cardData(card));
        m_hid->putCard(cardData(card));
    }

    void setFault(const QString& fault)
    {
        m_usb->resetFaults();
        m_hid->resetFaults();
        const bool held = fault == QLatin1String("held");
        m_usb->setHeldElsewhere(held);
        m_hid->setHeldElsewhere(held);
        const bool plugged = fault != QLatin1String("unplugged");
        if (m_usb->isPlugged() != plugged)
            plugged ? m_usb->plug() : m_usb->unplug();
        if (m_hid->isPlugged() != plugged)
            plugged ? m_hid->plug() : m_hid->unplug();
        const QByteArray refused = QByteArray::fromHex("000041");
        if (fault == QLatin1String("dead"))
            m_usb->replaceTransfersFrom(0, UsbAnswer::stall());
        else if (fault == QLatin1String("mute"))
            m_usb->replaceTransfersFrom(1, UsbAnswer::stall());
        else if (fault == QLatin1String("no number"))
            m_usb->setStatus(IdentityReaderUsb::GetSamNumber, QByteArray::fromHex("000066"));
        else if (fault == QLatin1String("pulled"))
            m_usb->replaceTransfer(7, UsbAnswer::unplug());
        else if (fault == QLatin1String("hid request"))
            m_hid->replaceTransfer(1, UsbAnswer::data({}));
        else if (fault == QLatin1String("hid select"))
            m_hid->setResult(IdentityReaderHid::SelectCard, 1);
        else if (fault == QLatin1String("hid read"))
            m_hid->setRawReply({QByteArray::fromHex("0200FF")});
        if (fault == QLatin1String("no card")) {
            m_usb->setStatus(IdentityReaderUsb::FindCard, QByteArray::fromHex("000080"));
            m_usb->setStatus(IdentityReaderUsb::ReadCard, refused);
            m_hid->setResult(IdentityReaderHid::RequestCard, 1);
        }
    }

    std::unique_ptr<VirtualKernel> m_kernel;
    std::unique_ptr<IdentityReaderUsb> m_usb;
    std::unique_ptr<IdentityReaderHid> m_hid;
    ServiceProcess m_service; // ends before the desk that it runs on
    std::unique_ptr<DeskClient> m_client;
};

QTEST_MAIN(IdentityCardTest)
#include "identity_card_test.moc"
