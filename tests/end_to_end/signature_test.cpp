// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "tests/end_to_end/growth.h"
#include "tests/support/patience.h"
#include "tests/support/table.h"
#include "virtual/pad/signature_pad.h"
#include "virtual/readers/identity_reader_hid.h"
#include "virtual/readers/identity_reader_usb.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"
#include "virtual/support/window_operator.h"

#include <QFile>
#include <QImage>
#include <QRegularExpression>

#include <csignal>
#include <memory>

using namespace virtual_desk;

namespace {

// What lies where in the window that the tests open, on the pad's display.
const QPointF cancelButton(510, 507);
const QPointF resignButton(645, 507);
const QPointF okButton(775, 507);
const QRectF writingArea(480, 300, 320, 140);

const QString signing = QStringLiteral(" 0 签名进行中");
const QString signedReply = QStringLiteral("ZCOutputImageBase64AB 1  image");
const QString notSigned = QStringLiteral("ZCOutputImageBase64AB 0 未签名");
const QString signaturePath = QStringLiteral("/tmp/kvo_sign.png");

QJsonObject place(const QJsonValue& x, const QJsonValue& y, const QJsonValue& width,
                  const QJsonValue& height)
{
    return {{"x", x}, {"y", y}, {"width", width}, {"height", height}};
}

QJsonObject place(const QJsonValue& all)
{
    return place(all, all, all, all);
}

const QJsonObject usualPlace = place(440, 250, 400, 300);

QImage imageOf(const QJsonObject& reply)
{
    return QImage::fromData(QByteArray::fromBase64(reply["Base64"].toString().toLatin1()), "PNG");
}

int darkPixels(const QImage& image)
{
    int count = 0;
    for (int i = 0; i < image.width() * image.height(); ++i)
        count += qGray(image.pixel(i % image.width(), i / image.width())) < 128;
    return count;
}

/// A device's log without the transfers.
QStringList ownership(const QStringList& log)
{
    return log.filter(QRegularExpression("^(claim|release|detach|attach)"));
}

} // namespace

class SignatureTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QFile::remove(signaturePath);
        m_pad.device().plug();
        m_pad.device().clearLog();
        m_pad.clearQueue();
        m_service = std::make_unique<ServiceProcess>();
        QVERIFY(m_service->start());
        newPage();
    }

    void cleanup()
    {
        QVERIFY2(m_service->isRunning(), "the service must outlive every session");
        m_page.reset();
        m_service.reset();
        m_pad.device().unplug();
    }

    void everyCommandIsLoggedAndAnswered()
    {
        QVERIFY(m_service->waitForError("20220711\n"));
        m_service->forgetOutput();
        const QStringList talk{"ZCDeviceExist 1 ",
                               "ZCResignAB 1 ",
                               notSigned,
                               "ZCEndSignAB 1 ",
                               "ZCSetTransparency 1 ",
                               "ZCSetPenWidth 1 ",
                               "ZCSetModeAB 1 ",
                               "ZCStopDeviceAB 1 ",
                               "ZCCameraPic 0 ",
                               "ZCStartDeviceAB 1 ",
                               "ZCSetSignScreenPosSizeAB 1 "};
        const QHash<QString, QByteArray> more{
            {"ZCOutputImageBase64AB", "save\n"},
            {"ZCStartDeviceAB", "启动签字板\n"},
            {"ZCCameraPic", "ZCCameraPic\nZCCameraPic\nCameraUser()++\nopen camera error\n"
                            "~CameraUser()--\n"}};
        m_page->command("ZCReadHIDOpen"); // is not answered
        QByteArray log = "ZCReadHIDOpen\n";
        for (const QString& reply : talk) {
            const QString command = reply.section(' ', 0, 0);
            QCOMPARE(m_page->asked(command), reply);
            log += command.toUtf8() + '\n' + more.value(command);
        }
        QVERIFY(m_service->waitForError("PosSizeAB\n"));
        QCOMPARE(m_service->standardError(), log);
        QVERIFY(begin());
        QVERIFY(m_service->waitForError("ZCBeginSignAB\n进入签名\nZCSetModeAB\n"));
    }

    void probesAndStartsThePad()
    {
        QCOMPARE(m_page->asked("ZCDeviceExist"), QString("ZCDeviceExist 1 "));
        QCOMPARE(m_page->asked("ZCStartDeviceAB"), QString("ZCStartDeviceAB 1 "));
        QCOMPARE(m_page->asked("ZCStartDeviceAB"), QString("ZCStartDeviceAB 1 "));
        QCOMPARE(ownership(m_pad.device().log()),
                 QStringList({"claim 0: EBUSY", "detach 0", "claim 0", "release 0", "claim 0"}));
        QVERIFY(m_service->waitForOutput("Released hid Interface!\n"));
        m_pad.device().unplug();
        QCOMPARE(m_page->asked("ZCStartDeviceAB"), QString("ZCStartDeviceAB -1 "));
        QCOMPARE(m_page->asked("ZCDeviceExist"), QString("ZCDeviceExist 0 "));
        m_service->forgetOutput();
        m_pad.device().setInterfaceHeldElsewhere(true);
        m_pad.device().plug();
        AWAIT_EQUAL(m_page->asked("ZCStartDeviceAB"), QString("ZCStartDeviceAB -2 "));
        QTest::qWait(700);
        QVERIFY2(!m_service->standardError().contains("readDataErro"), "nothing to read from");
        m_pad.device().setInterfaceHeldElsewhere(false);
        QCOMPARE(m_page->asked("ZCStartDeviceAB"), QString("ZCStartDeviceAB 1 "));
    }

    void aSignatureArrivesAsAPictureAndStays()
    {
        QVERIFY(startAndBegin());
        const QJsonObject reply = sign();
        QCOMPARE(DeskClient::inShort(reply), signedReply);
        const QImage signature = imageOf(reply);
        QCOMPARE(signature.width(), 400);
        QVERIFY2(signature.height() > 150 && signature.height() < 240,
                 "the canvas is the window less title and buttons");
        QVERIFY(darkPixels(signature) > 1000);
        QCOMPARE(QImage(signaturePath), signature);
        QFile::remove(signaturePath);
        for (int i = 0; i < 2; ++i)
            QCOMPARE(imageOf(m_page->ask("ZCOutputImageBase64AB")), signature);
        AWAIT_EQUAL(QImage(signaturePath), signature);
        QVERIFY(begin());
        QCOMPARE(m_page->asked("ZCOutputImageBase64AB"), notSigned);
        m_pad.pen(PadGeometry().tap(cancelButton));
        QCOMPARE(DeskClient::inShort(m_page->reply()),
                 QString("ZCOutputImageBase64AB 0 用户已取消"));
        QCOMPARE(m_page->asked("ZCOutputImageBase64AB"), notSigned);
    }

    void aFifoInThePlaceOfTheFileHoldsNothingUp()
    {
        QCOMPARE(QProcess::execute("mkfifo", {signaturePath}), 0);
        QVERIFY(startAndBegin());
        QCOMPARE(DeskClient::inShort(sign()), signedReply);
        QVERIFY(m_service->waitForError("cannot write /tmp/kvo_sign.png: "));
    }

    void resigningClearsWhatWasWritten_data()
    {
        addRows<bool>({{"by pen", true}, {"by command", false}});
    }
    void resigningClearsWhatWasWritten()
    {
        const auto [byPen] = row<bool>();
        QVERIFY(startAndBegin());
        m_pad.pen(PadGeometry().signature(writingArea));
        if (byPen)
            m_pad.pen(PadGeometry().tap(resignButton));
        waitUntilPenIsTaken();
        if (!byPen)
            QCOMPARE(m_page->asked("ZCResignAB"), QString("ZCResignAB 1 "));
        m_pad.pen(PadGeometry().tap(okButton));
        const QJsonObject reply = m_page->reply();
        QCOMPARE(DeskClient::inShort(reply), signedReply);
        QCOMPARE(darkPixels(imageOf(reply)), 0);
    }

    void aSessionEndedByACommandHasNoAnswerOfItsOwn_data()
    {
        addRows<QString>({{"end", "ZCEndSignAB"}, {"stop", "ZCStopDeviceAB"}});
    }
    void aSessionEndedByACommandHasNoAnswerOfItsOwn()
    {
        const auto [command] = row<QString>();
        QVERIFY(startAndBegin());
        m_pad.pen(PadGeometry().signature(writingArea));
        m_pad.device().clearLog();
        QCOMPARE(m_page->asked(command), command + " 1 ");
        QVERIFY(m_page->silentFor(200));
        QCOMPARE(ownership(m_pad.device().log()), QStringList());
        QCOMPARE(m_page->asked("ZCOutputImageBase64AB"), notSigned);
        QCOMPARE(m_page->asked("ZCSetModeAB"), QString("ZCSetModeAB 1 "));
        m_pad.device().clearLog();
        if (command == "ZCStopDeviceAB")
            AWAIT(!m_pad.isRead());
        else
            AWAIT(!m_pad.device().log().isEmpty());
    }

    void commandsDuringASession()
    {
        QVERIFY(startAndBegin());
        DeskClient other;
        QVERIFY(other.open());
        const QStringList talk{"ZCBeginSignAB" + signing,
                               "ZCSetTransparency" + signing,
                               "ZCSetPenWidth" + signing,
                               "ZCSetModeAB" + signing,
                               "ZCSetSignScreenPosSizeAB" + signing,
                               "ZCDeviceExist 1 ",
                               "ZCStartDeviceAB 1 ",
                               "ZCResignAB 1 ",
                               "ZCCameraPic 0 ",
                               notSigned};
        for (const QString& reply : talk)
            for (DeskClient* page : {m_page.get(), &other})
                QCOMPARE(page->asked(reply.section(' ', 0, 0),
                                     {{"x", 1}, {"Percent", 0}, {"Width", 0}, {"width", 0}}),
                         reply);
        QVERIFY2(darkPixels(imageOf(sign())) > 1000, "the session went on as it was");
        QVERIFY(other.silentFor(100));
    }

    void settingsShowInTheNextSession_data()
    {
        QJsonObject all{{"mode", 7}, {"Mode", 7}, {"Percent", 1}, {"Width", 1}};
        for (const QString& key : usualPlace.keys())
            all.insert(key, 1);
        const QString usual = "2361 250 400 300, 65 %, ";
        const QJsonObject smallDisplay = place(100, 50, 640, 400);
        addRows<QString, QJsonObject, QString>(
            {{"opacity", "ZCSetTransparency", {{"Percent", 40}}, "2361 250 400 300, 40 %, ink"},
             {"no number", "ZCSetTransparency", {{"Percent", "x"}}, "2361 250 400 300, 0 %, ink"},
             {"thick pen", "ZCSetPenWidth", {{"Width", "15"}}, usual + "much ink"},
             {"thin pen", "ZCSetPenWidth", {{"Width", 2}}, usual + "little ink"},
             {"mode", "ZCSetModeAB", all, usual + "ink"},
             {"display", "ZCSetSignScreenPosSizeAB", smallDisplay, "540 300 400 300, 65 %, ink"}});
    }
    void settingsShowInTheNextSession()
    {
        const auto [command, keys, look] = row<QString, QJsonObject, QString>();
        const bool small = command == "ZCSetSignScreenPosSizeAB";
        const PadGeometry geometry(small ? QSize(640, 400) : QSize(1280, 800));
        QCOMPARE(m_page->asked(command, keys), command + " 1 ");
        QVERIFY(startAndBegin());
        const WindowOperator window("HandWriting");
        QVERIFY(window.waitForWindows(1));
        const QRect where = window.place();
        const int opacity = window.opacity();
        const int ink = darkPixels(imageOf(sign(geometry)));
        const QString amount = ink < 2500 ? "little ink" : ink < 5000 ? "ink" : "much ink";
        QCOMPARE(QStringLiteral("%1 %2 %3 %4, %5 %, %6")
                     .arg(where.x())
                     .arg(where.y())
                     .arg(where.width())
                     .arg(where.height())
                     .arg(opacity)
                     .arg(amount),
                 look);
        qWarning("ink %d", ink);
    }

    void oddValuesLeaveTheServiceStanding_data()
    {
        addRows<QString, QJsonObject>(
            {{"pen", "ZCSetPenWidth", {{"Width", "2147483647"}}},
             {"opacity", "ZCSetTransparency", {{"Percent", "-2147483648"}}},
             {"display", "ZCSetSignScreenPosSizeAB", place("2147483647")},
             {"no numbers", "", place(true)},
             {"negative", "", place("-2147483648")},
             {"huge", "", place(100000)},
             {"too large", "", place("99999999999")}});
    }
    void oddValuesLeaveTheServiceStanding()
    {
        const auto [command, keys] = row<QString, QJsonObject>();
        if (!command.isEmpty())
            QCOMPARE(m_page->asked(command, keys), command + " 1 ");
        QVERIFY(startAndBegin(command.isEmpty() ? keys : usualPlace));
        m_pad.pen(PadGeometry().signature(writingArea));
        waitUntilPenIsTaken();
        QVERIFY(m_service->residentKiB() < 900 * 1024);
        QCOMPARE(m_page->asked("ZCEndSignAB"), QString("ZCEndSignAB 1 "));
        QVERIFY(begin());
    }

    void aPulledPadLeavesTheSessionOpen()
    {
        QVERIFY(startAndBegin());
        m_pad.pen(PadGeometry().at({500, 350}, 500));
        m_pad.queue(UsbAnswer::unplug());
        AWAIT(!m_pad.device().isPlugged());
        QCOMPARE(m_page->asked("ZCSetModeAB"), "ZCSetModeAB" + signing);
        m_service->forgetOutput();
        QVERIFY(m_service->waitForError("readDataErro faild", 2));
        m_pad.device().plug();
        AWAIT_EQUAL(m_page->asked("ZCStartDeviceAB"), QString("ZCStartDeviceAB 1 "));
        QVERIFY(darkPixels(imageOf(sign())) > 1000);
    }

    void aPageMayGoAtAnyMoment_data()
    {
        addRows<int>({{"at once", 0}, {"in a session", 1}, {"in a stroke", 2}, {"signed", 3}});
    }
    void aPageMayGoAtAnyMoment()
    {
        const auto [moment] = row<int>();
        m_page->ask("ZCStartDeviceAB");
        for (const bool aborts : {false, true}) {
            if (moment == 0)
                m_page->command("ZCBeginSignAB", usualPlace);
            else
                QVERIFY(begin());
            if (moment >= 2)
                m_pad.pen(PadGeometry().signature(writingArea));
            if (moment == 3)
                m_pad.pen(PadGeometry().tap(okButton));
            aborts ? m_page->abort() : m_page->close();
            AWAIT(!m_page->isOpen());
            AWAIT_EQUAL(m_pad.queued(), 0);
            newPage();
            QCOMPARE(m_page->asked("ZCEndSignAB"), QString("ZCEndSignAB 1 "));
            QVERIFY(begin());
            QVERIFY(darkPixels(imageOf(sign())) > 1000);
        }
    }

    void twoPagesFightOverOneSession()
    {
        DeskClient rival;
        QVERIFY(rival.open());
        QVERIFY(startAndBegin());
        QCOMPARE(rival.asked("ZCBeginSignAB", usualPlace), "ZCBeginSignAB" + signing);
        rival.command("ZCEndSignAB");
        rival.command("ZCBeginSignAB", usualPlace);
        rival.command("ZCEndSignAB");
        m_page->command("ZCBeginSignAB", usualPlace);
        rival.command("ZCStopDeviceAB");
        QCOMPARE(DeskClient::inShort(rival.reply()), QString("ZCEndSignAB 1 "));
        DeskClient later;
        QVERIFY(later.open());
        QCOMPARE(later.asked("ZCEndSignAB"), QString("ZCEndSignAB 1 "));
        AWAIT_EQUAL(later.asked("ZCSetModeAB"), QString("ZCSetModeAB 1 "));
    }

    void endsInOrderWhenAsked_data()
    {
        addRows<int, bool>({{"SIGTERM", SIGTERM, false},
                            {"SIGTERM, in a session", SIGTERM, true},
                            {"SIGINT", SIGINT, true},
                            {"SIGHUP", SIGHUP, true}});
    }
    void endsInOrderWhenAsked()
    {
        const auto [number, inSession] = row<int, bool>();
        IdentityReaderHid reader(m_kernel);
        reader.plug();
        m_page->ask("ZCReadHIDIDCard");
        m_page->ask("ZCStartDeviceAB");
        QVERIFY(!inSession || begin());
        m_service->sendSignal(number);
        endsInOrder();
        QCOMPARE(ownership(reader.log()), QStringList({"detach 0", "claim 0", "attach 0"}));
    }

    void endsThoughACommandWaitsForItsDevice_data()
    {
        addRows<bool>({{"asked once", false}, {"asked twice", true}});
    }
    void endsThoughACommandWaitsForItsDevice()
    {
        const auto [askedTwice] = row<bool>();
        IdentityReaderUsb silent(m_kernel, IdentityReaderUsb::Module0503);
        silent.plug();
        silent.replaceTransfersFrom(0, UsbAnswer::never());
        m_page->ask("ZCStartDeviceAB");
        m_page->command("ZCReadIDCard");
        AWAIT(!silent.log().isEmpty());
        m_service->sendSignal(SIGTERM);
        if (!askedTwice)
            return endsInOrder();
        while (m_service->waitForEnd(20) == -999)
            m_service->sendSignal(SIGTERM);
        QCOMPARE(m_service->waitForEnd(), -SIGTERM);
        QVERIFY(m_service->start());
    }

    void aSessionWithoutTheDeviceTakesNoPen()
    {
        QVERIFY(begin());
        m_pad.pen(PadGeometry().tap(okButton));
        QVERIFY(m_page->silentFor(500));
        QCOMPARE(m_pad.device().log(), QStringList());
        m_page->ask("ZCStartDeviceAB");
        QCOMPARE(DeskClient::inShort(m_page->reply()), signedReply);
    }

    void aDayAtThePadLeavesTheServiceAsItWas_data()
    {
        addRows<QString, int, int>({{"pages", "", 200, 512},
                                    {"probes", "ZCDeviceExist", 40, 512},
                                    {"sessions", "ZCEndSignAB", 20, 20000}});
    }
    void aDayAtThePadLeavesTheServiceAsItWas()
    {
        const auto [command, rounds, allowedKiB] = row<QString, int, int>();
        const auto work = [this, command = command] {
            if (command.isEmpty())
                newPage();
            if (command == "ZCEndSignAB")
                QVERIFY(begin(place(0, 0, 1280, 800)));
            if (!command.isEmpty())
                QCOMPARE(m_page->asked(command), command + " 1 ");
        };
        QCOMPARE(growthOf(*m_service, rounds, allowedKiB, work), QString());
    }

private:
    void newPage()
    {
        m_page = std::make_unique<DeskClient>();
        QVERIFY(m_page->open());
    }

    /// Until the service has every queued sample: it reads again when it has handed on the last.
    void waitUntilPenIsTaken()
    {
        AWAIT_EQUAL(m_pad.queued(), 0);
        const int reads = m_pad.device().log().size();
        AWAIT(m_pad.device().log().size() > reads);
    }

    /// Opens a session; true when the window is open.
    bool begin(const QJsonObject& keys = usualPlace)
    {
        m_page->command("ZCBeginSignAB", keys);
        return m_page->asked("ZCSetModeAB") == "ZCSetModeAB" + signing;
    }
    bool startAndBegin(const QJsonObject& keys = usualPlace)
    {
        return m_page->asked("ZCStartDeviceAB") == "ZCStartDeviceAB 1 " && begin(keys);
    }

    /// The signer writes and taps OK. \return the session's reply
    QJsonObject sign(const PadGeometry& geometry = PadGeometry())
    {
        m_pad.pen(geometry.signature(writingArea));
        m_pad.pen(geometry.tap(okButton));
        m_pad.pen(geometry.tap(cancelButton)); // too late to count
        return m_page->reply();
    }

    /// The clients are dismissed, the pad is given back, and a session is not answered.
    void endsInOrder()
    {
        QCOMPARE(m_service->waitForEnd(), 0);
        QVERIFY(m_page->waitForClosed());
        QCOMPARE(m_page->closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
        QVERIFY2(m_page->silentFor(0), "nobody cancelled the session");
        QCOMPARE(ownership(m_pad.device().log()).mid(3), QStringList({"release 0", "attach 0"}));
        QVERIFY(m_service->start());
    }

    VirtualKernel m_kernel;
    SignaturePad m_pad{m_kernel};
    std::unique_ptr<ServiceProcess> m_service;
    std::unique_ptr<DeskClient> m_page;
};

QTEST_GUILESS_MAIN(SignatureTest)
#include "signature_test.moc"
