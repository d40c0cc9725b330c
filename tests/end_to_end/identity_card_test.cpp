// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The card commands of the built service, on virtual readers.

#include "tests/support/patience.h"
#include "tests/support/table.h"
#include "virtual/camera/camera.h"
#include "virtual/cards/identity_card.h"
#include "virtual/cards/photo_encoder.h"
#include "virtual/cards/portrait.h"
#include "virtual/readers/identity_reader_hid.h"
#include "virtual/readers/identity_reader_usb.h"
#include "virtual/support/desk_client.h"

#include <QFile>
#include <QImage>
#include <QJsonDocument>

#include <functional>
#include <memory>
#include <sys/resource.h>

using namespace virtual_desk;

namespace {

using Usb = IdentityReaderUsb;
using Hid = IdentityReaderHid;

/// The readers, the service and the pages.
struct Desk
{
    VirtualKernel kernel;
    Usb usb{kernel, Usb::Module0503};
    Hid hid{kernel};
    ServiceProcess service; // ends before the readers that it uses
    DeskClient page;
    DeskClient neighbour;
};
using Fault = std::function<void(Desk&)>;

const QString samNumber = "ZCGetSAMNum";
const QString usbRead = "ZCReadIDCard";
const QString hidRead = "ZCReadHIDIDCard";
const QString photoFile = "simage_file.bmp";
const QString frontFile = "frontNew.jpg";
const QString backFile = "backNew.jpg";

const QString residentValues =
    " ||北京市海淀区中关村大街甲1号院2号楼301室|19870615|20150301||20350301||男|"
    "11010819870615123X|北京市公安局海淀分局|李晓明|汉|||";

QString commonReply(const QString& function, int success, const QString& msg)
{
    return QString(R"({"_tflag":"t1","functionName":"%1","msg":"%2","success":%3})")
        .arg(function, msg, QString::number(success));
}

/// \param values of the data's keys, in their order, without the photo
QString cardReply(const QString& function, const QString& values, const QString& photo = {})
{
    QString text =
        R"({"_tflag":"t1","data":{"CardType":"%1","CertVersion":"%2","address":"%3",)"
        R"("birthday":"%4","dn":"dn","effectDate":"%5","englishName":"%6","expireDate":"%7",)"
        R"("figData":"%8","gender":"%9","idNum":"%10","issueOrg":"%11","name":"%12",)"
        R"("nation":"%13","nationCode":"%14","passNum":"%15",%17"signCount":"%16"},)"
        R"("err_code":0,"err_msg":"读卡成功","functionName":"%18"})";
    for (const QString& value : values.split('|'))
        text = text.arg(value);
    return text.arg(photo.isEmpty() ? photo : R"("photo":")" + photo + R"(",)", function);
}

QString photoIn(const QString& reply)
{
    return QJsonDocument::fromJson(reply.toUtf8())["data"]["photo"].toString();
}

QImage imageOf(const QString& photo)
{
    return QImage::fromData(QByteArray::fromBase64(photo.toLatin1()), "BMP");
}

} // namespace

Q_DECLARE_METATYPE(CardType)
Q_DECLARE_METATYPE(Fault)

class IdentityCardTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A read may run inside the event loops of two open windows, on one stack. The largest frame
    // is that of a read, so that three of them fit when one read needs a third of the usual stack.
    void initTestCase()
    {
#ifndef __SANITIZE_ADDRESS__ // which widens every frame
        constexpr rlim_t third = 8 * 1024 * 1024 / 3;
        const rlimit limit{third, third};
        setrlimit(RLIMIT_STACK, &limit);
#endif
        for (const QString name : {"front.jpg", "back.jpg"})
            QVERIFY(QFile::copy(DESK_SOURCE_DIR "/packaging/templates/" + name, name));
    }

    void init()
    {
        m_desk = std::make_unique<Desk>();
        m_desk->usb.plug();
        m_desk->hid.plug();
        putCard(sampleCard(CardType::Resident));
        QVERIFY(m_desk->service.start());
        QVERIFY(m_desk->page.open() && m_desk->neighbour.open());
    }

    void cleanup()
    {
        for (DeskClient* client : {&m_desk->page, &m_desk->neighbour}) {
            client->send("nothing unasked");
            QCOMPARE(client->text(), QString("nothing unasked"));
        }
        m_desk.reset();
        for (const QString& file : {photoFile, frontFile, backFile})
            QFile::remove(file);
    }

    void theModulesNumberIsRead()
    {
        m_desk->page.command("ZCReadHIDOpen"); // is not answered
        const QString number = "0503000133A1B2C3D4E5F60708090A0B";
        const std::pair<QString, QString> requests[] = {
            {R"("function":"ZCGetSAMNum")", "ZCGetSAMNum"},
            {R"("act":"test")", ""},
            {R"("act":"test","function":"ZCSIMCard")", "ZCSIMCard"}};
        for (const auto& [keys, function] : requests) {
            m_desk->page.send('{' + keys + R"(,"_tflag":"t1"})");
            QCOMPARE(m_desk->page.text(),
                     QString(R"({"_tflag":"t1","data":"%1","functionName":"%2",)"
                             R"("msg":"获取SAM码成功","success":1})")
                         .arg(number, function));
        }
        QVERIFY(m_desk->service.waitForError(
            "\nZCGetSAMNum\n" + number.toLatin1() + "\nclose libusb\nL_Error1\n", 3));
    }

    void everyFailureIsAnswered_data()
    {
        const QString gone = "libusb_open_device_with_vid_pid(0x0400, 0xC35A) failed";
        const Fault deaf = [](Desk& d) { d.usb.replaceTransfersFrom(0, UsbAnswer::stall()); };
        const Fault mute = [](Desk& d) { d.usb.replaceTransfersFrom(1, UsbAnswer::stall()); };
        const Fault held = [](Desk& d) { d.usb.setHeldElsewhere(true); };
        const Fault noNumber = [](Desk& d) { d.usb.setStatus(Usb::GetSamNumber, "\1\2f"); };
        const Fault refused = [](Desk& d) { d.hid.setRawReply({QByteArray("\2\0\xFF", 3)}); };
        addRows<QString, Fault, int, QString, int>({
            // What is open stays open, and nothing more can be opened.
            {"SAM: init", samNumber, [](Desk& d) { d.service.limitDescriptors(3); }, -1,
             "init USB failed", 0},
            {"SAM: no reader", samNumber, [](Desk& d) { d.usb.unplug(); }, -1, gone, 0},
            {"SAM: busy", samNumber, held, -1, "interface USB failed", 1},
            {"SAM: write", samNumber, deaf, -1, "libusb_bulk_transfer write failed", 1},
            {"SAM: read", samNumber, mute, -1, "libusb_bulk_transfer read failed", 1},
            {"SAM: status", samNumber, noNumber, 1, "获取SAM码成功", 1},
            {"USB: no number", usbRead, deaf, 0, "读卡失败", 2},
            {"USB: no card", usbRead, [](Desk& d) { d.usb.takeCard(); }, 431004, "读卡失败", 2},
            {"HID: no reader", hidRead, [](Desk& d) { d.hid.unplug(); }, -12, "寻卡失败", 0},
            {"HID: select", hidRead, [](Desk& d) { d.hid.setResult(Hid::SelectCard, 1); }, -2,
             "选卡失败", 0},
            {"HID: status", hidRead, refused, -20, "身份证读卡失败", 0},
        });
    }
    void everyFailureIsAnswered()
    {
        const auto [function, fault, success, msg, claims] =
            row<QString, Fault, int, QString, int>();
        m_desk->usb.clearLog();
        fault(*m_desk);
        QCOMPARE(ask(function), commonReply(function, success, msg));
        QCOMPARE(m_desk->usb.log().filter("claim 0").size(), claims);
        QVERIFY(!QFile::exists(frontFile));
        if (success == -1)
            QVERIFY(m_desk->service.waitForError("\nZCGetSAMNum\nL_Error1\n"));
        m_desk->service.limitDescriptors(1024);
    }

    void cardsOfEachTypeAreReadOnEachReader_data()
    {
        const QByteArray prints = 'C' + QByteArray(1000, 'Z');
        const QString figData = (prints + QByteArray(23, '\0')).toHex().toUpper();
        const QString address = QString("广东省深圳市福田区深南大道1006号").leftJustified(35);
        addRows<CardType, QByteArray, QString>({
            {"resident", CardType::Resident, "", residentValues},
            {"foreigner", CardType::PermanentResidence, prints,
             "I|01||19780415|20180920|MARTIN,ANNA|20280919|" + figData +
                 "||FRA310078041510|1500|马安娜||FRA||"},
            {"permit", CardType::ResidencePermit, "not a fingerprint",
             "J||" + address +
                 "|19921103|20190101||20240101||女|810000199211030026|深圳市公安局|"
                 "陈嘉欣|||H01234567|02"},
        });
    }
    void cardsOfEachTypeAreReadOnEachReader()
    {
        const auto [type, fingerprints, values] = row<CardType, QByteArray, QString>();
        putCard(sampleCard(type), fingerprints);
        m_desk->hid.setBusyReplies(1);
        QCOMPARE(ask(hidRead), cardReply(hidRead, values));
        QVERIFY(m_desk->service.waitForError("20220711\nZCReadHIDIDCard\nZCReadHIDOpen\n"));
        QVERIFY(!QFile::exists(frontFile) && !QFile::exists(backFile));
        for (const Usb::Module module : {Usb::Module0503, Usb::Module0501}) {
            m_desk->usb.setModule(module);
            QCOMPARE(ask(usbRead), cardReply(usbRead, values));
            QVERIFY(!QImage(frontFile).isNull() && QFile::remove(frontFile));
            QVERIFY(!QImage(backFile).isNull() && QFile::remove(backFile));
        }
        QVERIFY(m_desk->service.waitForError("\nZCReadIDCard1\nZCReadIDCard2\n", 2));
        QVERIFY(m_desk->service.waitForError("idcard 1\n\n", 3));
        QVERIFY(m_desk->service.waitForOutput("AA AA AA 96 69 00 14 "));
    }

    void photosAreSentAndLeaveNothingBehind()
    {
        const QByteArray photos[] = {encodePhoto(drawPortrait(0)), encodePhoto(drawPortrait(1))};
        IdentityCard card = sampleCard(CardType::Resident);
        int descriptors = 0;
        for (int i = 0; i < 30; ++i) {
            card.photo = photos[i % 2];
            putCard(card);
            for (const QString& function : {usbRead, hidRead}) {
                const QString reply = ask(function);
                const QString photo = photoIn(reply);
                QCOMPARE(reply, cardReply(function, residentValues, photo));
                QCOMPARE(imageOf(photo), decodePhoto(card.photo)); // by pixels, not by the header
                QVERIFY(!QFile::exists(photoFile));
            }
            descriptors = i == 0 ? m_desk->service.openDescriptors() : descriptors;
        }
        QCOMPARE(m_desk->service.openDescriptors(), descriptors);
        QVERIFY(QImage(frontFile).pixelColor(825, 249).blue() < 200);
    }

    void withoutAPhotoOnTheCardWhateverTheFileHoldsIsSent()
    {
        for (const QString& function : {usbRead, hidRead}) {
            QVERIFY(drawPortrait(2).save(photoFile));
            QCOMPARE(imageOf(photoIn(ask(function))), drawPortrait(2));
            QVERIFY(!QFile::exists(photoFile));
        }
    }

    void diagnosticsLeaveInGb2312OnceAFaceIsPainted()
    {
        ask(usbRead);
        ask("ZCStartDeviceAB");
        const char startsThePad[] = "\xC6\xF4\xB6\xAF\xC7\xA9\xD7\xD6\xB0\xE5\n"; // 启动签字板
        QVERIFY(m_desk->service.waitForError(startsThePad));
    }

    void aReadThatWorksTheSecondTimeIsAnswered()
    {
        constexpr int firstReadReply = 8;
        m_desk->usb.replaceTransfer(firstReadReply, UsbAnswer::stall());
        m_desk->page.send(R"({"act":"readIntegratedCard","_tflag":"t1"})");
        QCOMPARE(m_desk->page.text(), cardReply("", residentValues));
        QCOMPARE(m_desk->usb.log().count("claim 0"), 2);
        QVERIFY(m_desk->service.waitForError("20220711\nZCReadIDCard2\n"));
    }

    void aReaderPulledWhileItIsBusyEndsTheRead()
    {
        m_desk->hid.setBusyReplies(-1);
        m_desk->page.command(hidRead, {{"_tflag", "t1"}});
        AWAIT(m_desk->hid.log().size() > 50);
        m_desk->hid.unplug();
        QCOMPARE(m_desk->page.text(), cardReply(hidRead, "||||||||其他|||||||"));
        m_desk->hid.resetFaults();
        m_desk->hid.plug();
        QCOMPARE(ask(hidRead), cardReply(hidRead, residentValues));
    }

    void fifosInThePlaceOfItsFilesHoldNothingUp()
    {
        QCOMPARE(QProcess::execute("mkfifo", {photoFile, frontFile, backFile}), 0);
        for (const QString& function : {usbRead, hidRead})
            QCOMPARE(ask(function), cardReply(function, residentValues));
        QVERIFY(m_desk->service.waitForError("cannot write ./frontNew.jpg: "));
    }

    void cardsAreReadInsideTwoOpenWindows()
    {
        Camera camera(m_desk->kernel, {});
        camera.plugIn();
        m_desk->page.command("ZCBeginSignAB", {{"width", 400}, {"height", 300}});
        m_desk->page.command("ZCCameraPic");
        AWAIT(camera.isStreaming());
        for (const QString& function : {usbRead, hidRead})
            QCOMPARE(ask(function), cardReply(function, residentValues));
        QCOMPARE(m_desk->page.asked("ZCSetPenWidth"), QString("ZCSetPenWidth 0 签名进行中"));
        QVERIFY(camera.isStreaming());
    }

private:
    void putCard(IdentityCard card, const QByteArray& fingerprints = {})
    {
        card.fingerprints = fingerprints;
        m_desk->usb.putCard(cardData(card));
        m_desk->hid.putCard(cardData(card));
    }

    QString ask(const QString& function)
    {
        m_desk->page.command(function, {{"_tflag", "t1"}});
        return m_desk->page.text();
    }

    std::unique_ptr<Desk> m_desk;
};

QTEST_MAIN(IdentityCardTest)
#include "identity_card_test.moc"
