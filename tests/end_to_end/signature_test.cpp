// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/pad/signature_pad.h"
#include "virtual/readers/identity_reader_hid.h"
#include "virtual/readers/identity_reader_usb.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"

#include <QFile>
#include <QImage>
#include <QRegularExpression>
#include <QTest>

#include <csignal>
#include <memory>

using namespace virtual_desk;

namespace {

// The window that the tests open, on the pad's display, and what lies where in it.
const QRect windowPlace(440, 250, 400, 300);
const QPointF cancelButton(510, 507);
const QPointF resignButton(645, 507);
const QPointF okButton(775, 507);
const QRectF writingArea(480, 300, 320, 140);

const QString signing = QStringLiteral("签名进行中");
const QString signaturePath = QStringLiteral("/tmp/kvo_sign.png");

QJsonObject place(const QJsonValue& x, const QJsonValue& y, const QJsonValue& width,
                  const QJsonValue& height)
{
    return {{QStringLiteral("x"), x},
            {QStringLiteral("y"), y},
            {QStringLiteral("width"), width},
            {QStringLiteral("height"), height}};
}

const QJsonObject usualPlace =
    place(windowPlace.x(), windowPlace.y(), windowPlace.width(), windowPlace.height());

int success(const QJsonObject& reply)
{
    return reply.value(QStringLiteral("success")).toInt(-999);
}

QString member(const QJsonObject& reply, const char* key)
{
    return reply.value(QLatin1String(key)).toString();
}

/// A reply as one line, its image shortened to whether there is one.
QString line(const QJsonObject& reply)
{
    return QStringLiteral("%1 %2 %3%4")
        .arg(member(reply, "functionName"))
        .arg(success(reply))
        .arg(member(reply, "msg"),
             reply.contains(QStringLiteral("Base64")) ? QStringLiteral(" image") : QString());
}

QImage imageOf(const QJsonObject& reply)
{
    return QImage::fromData(QByteArray::fromBase64(member(reply, "Base64").toLatin1()), "PNG");
}

int darkPixels(const QImage& image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qGray(image.pixel(x, y)) < 128;
    return count;
}

/// Whether a process has a handler for a signal.
bool handlesSignal(qint64 process, int number)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(process));
    if (!status.open(QIODevice::ReadOnly))
        return false;
    const QByteArray all = status.readAll();
    const int at = all.indexOf("SigCgt:");
    return (all.mid(at + 7, 17).trimmed().toULongLong(nullptr, 16) >> (number - 1) & 1) != 0;
}

} // namespace

class SignatureTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_kernel = std::make_unique<VirtualKernel>();
        m_pad = std::make_unique<SignaturePad>(*m_kernel);
    }

    void init()
    {
        QFile::remove(signaturePath);
        m_pad->device().plug();
        m_pad->device().clearLog();
        m_pad->clearQueue();
        m_service = std::make_unique<ServiceProcess>();
        QVERIFY(m_service->start());
        m_page = std::make_unique<DeskClient>();
        QVERIFY(m_page->open());
    }

    void cleanup()
    {
        QVERIFY2(m_service->isRunning(), "the service must outlive every session");
        m_page.reset();
        m_service.reset();
        m_pad->device().unplug();
    }

    void probesAndStartsThePad()
    {
        QCOMPARE(line(m_page->ask("ZCDeviceExist")), QString("ZCDeviceExist 1 "));
        QCOMPARE(line(m_page->ask("ZCStartDeviceAB")), QString("ZCStartDeviceAB 1 "));
        QCOMPARE(line(m_page->ask("ZCStartDeviceAB")), QString("ZCStartDeviceAB 1 "));
        QCOMPARE(ownership(),
                 QStringList({"claim 0: EBUSY", "detach 0", "claim 0", "release 0", "claim 0"}));
        QVERIFY(m_service->waitForOutput("Released hid Interface!\n"));
        m_pad->device().unplug();
        QCOMPARE(line(m_page->ask("ZCStartDeviceAB")), QString("ZCStartDeviceAB -1 "));
        QCOMPARE(line(m_page->ask("ZCDeviceExist")), QString("ZCDeviceExist 0 "));
        m_pad->device().setInterfaceHeldElsewhere(true);
        m_pad->device().plug();
        QTRY_COMPARE(line(m_page->ask("ZCStartDeviceAB")), QString("ZCStartDeviceAB -2 "));
        m_pad->device().setInterfaceHeldElsewhere(false);
        QCOMPARE(line(m_page->ask("ZCStartDeviceAB")), QString("ZCStartDeviceAB 1 "));
    }

    void writesTheDocumentedDiagnostics()
    {
        m_service->forgetOutput();
        QVERIFY(begin());
        m_page->ask("ZCEndSignAB");
        m_page->ask("ZCStartDeviceAB");
        const QByteArray text = m_service->standardError();
        QVERIFY2(
            text.startsWith(
                "ZCBeginSignAB\n进入签名\nZCSetModeAB\nZCEndSignAB\nZCStartDeviceAB\n启动签字板\n"),
            text.constData());
    }

    void aSignatureArrivesAsAPictureAndStays()
    {
        QCOMPARE(line(m_page->ask("ZCOutputImageBase64AB")),
                 QString("ZCOutputImageBase64AB 0 未签名"));
        QCOMPARE(success(m_page->ask("ZCStartDeviceAB")), 1);
        QVERIFY(begin());
        m_pad->pen(PadGeometry().signature(writingArea));
        m_pad->pen(PadGeometry().tap(okButton));
        const QJsonObject reply = m_page->reply();
        QCOMPARE(line(reply), QString("ZCOutputImageBase64AB 1  image"));
        const QImage signature = imageOf(reply);
        QCOMPARE(signature.width(), windowPlace.width());
        QVERIFY2(signature.height() > 150 && signature.height() < 240,
                 "the canvas is the window less title and buttons");
        QVERIFY(darkPixels(signature) > 1000);
        QCOMPARE(QImage(signaturePath), signature);
        QFile::remove(signaturePath);
        for (int i = 0; i < 2; ++i)
            QCOMPARE(imageOf(m_page->ask("ZCOutputImageBase64AB")), signature);
        QTRY_COMPARE(QImage(signaturePath), signature);
        QVERIFY(begin());
        QCOMPARE(line(m_page->ask("ZCOutputImageBase64AB")),
                 QString("ZCOutputImageBase64AB 0 未签名"));
        m_pad->pen(PadGeometry().tap(cancelButton));
        QCOMPARE(line(m_page->reply()), QString("ZCOutputImageBase64AB 0 用户已取消"));
    }

    void aFifoInThePlaceOfTheFileHoldsNothingUp()
    {
        QCOMPARE(QProcess::execute("mkfifo", {signaturePath}), 0);
        m_page->ask("ZCStartDeviceAB");
        QVERIFY(begin());
        m_pad->pen(PadGeometry().tap(okButton));
        QCOMPARE(line(m_page->reply()), QString("ZCOutputImageBase64AB 1  image"));
        QVERIFY(m_service->waitForError("cannot write /tmp/kvo_sign.png: "));
    }

    void resigningClearsWhatWasWritten()
    {
        QCOMPARE(line(m_page->ask("ZCResignAB")), QString("ZCResignAB 1 "));
        m_page->ask("ZCStartDeviceAB");
        QVERIFY(begin());
        for (const bool byPen : {true, false}) {
            m_pad->pen(PadGeometry().signature(writingArea));
            if (byPen)
                m_pad->pen(PadGeometry().tap(resignButton));
            QTRY_COMPARE(m_pad->queued(), 0);
            QTest::qWait(100);
            if (!byPen)
                QCOMPARE(line(m_page->ask("ZCResignAB")), QString("ZCResignAB 1 "));
        }
        m_pad->pen(PadGeometry().tap(okButton));
        const QJsonObject reply = m_page->reply();
        QCOMPARE(success(reply), 1);
        QCOMPARE(darkPixels(imageOf(reply)), 0);
    }

    void aSessionEndedByACommandHasNoAnswerOfItsOwn_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("end") << "ZCEndSignAB";
        QTest::newRow("stop") << "ZCStopDeviceAB";
    }

    void aSessionEndedByACommandHasNoAnswerOfItsOwn()
    {
        QFETCH(QString, command);
        QCOMPARE(line(m_page->ask(command)), command + " 1 ");
        m_page->ask("ZCStartDeviceAB");
        QVERIFY(begin());
        m_pad->pen(PadGeometry().signature(writingArea));
        m_pad->device().clearLog();
        QCOMPARE(line(m_page->ask(command)), command + " 1 ");
        QVERIFY(m_page->silentFor(200));
        QCOMPARE(ownership(), QStringList());
        QCOMPARE(line(m_page->ask("ZCOutputImageBase64AB")),
                 QString("ZCOutputImageBase64AB 0 未签名"));
        QCOMPARE(line(m_page->ask("ZCSetModeAB")), QString("ZCSetModeAB 1 "));
        m_pad->device().clearLog();
        QTest::qWait(700);
        QCOMPARE(m_pad->device().log().isEmpty(), command == QLatin1String("ZCStopDeviceAB"));
    }

    void commandsDuringASession_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("answer");
        for (const char* refused : {"ZCBeginSignAB", "ZCSetTransparency", "ZCSetPenWidth",
                                    "ZCSetModeAB", "ZCSetSignScreenPosSizeAB"})
            QTest::newRow(refused) << QString(refused) << QString(refused) + " 0 " + signing;
        QTest::newRow("ZCDeviceExist") << "ZCDeviceExist"
                                       << "ZCDeviceExist 1 ";
        QTest::newRow("ZCStartDeviceAB") << "ZCStartDeviceAB"
                                         << "ZCStartDeviceAB 1 ";
        QTest::newRow("ZCResignAB") << "ZCResignAB"
                                    << "ZCResignAB 1 ";
        QTest::newRow("ZCOutputImageBase64AB") << "ZCOutputImageBase64AB"
                                               << "ZCOutputImageBase64AB 0 未签名";
    }

    void commandsDuringASession()
    {
        QFETCH(QString, command);
        QFETCH(QString, answer);
        m_page->ask("ZCStartDeviceAB");
        QVERIFY(begin());
        QCOMPARE(line(m_page->ask(command, {{"x", 1}, {"Percent", 0}, {"Width", 0}})), answer);
        DeskClient other;
        QVERIFY(other.open());
        QCOMPARE(line(other.ask(command)), answer);
        m_pad->pen(PadGeometry().signature(writingArea));
        m_pad->pen(PadGeometry().tap(okButton));
        QVERIFY2(darkPixels(imageOf(m_page->reply())) > 1000,
                 "the session went on, with its own pen");
        QVERIFY(other.silentFor(100));
    }

    void settersTakeWhateverComes_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QJsonObject>("keys");
        QTest::addColumn<bool>("inkIsDark");
        const QJsonValue huge(QStringLiteral("2147483647"));
        const QJsonValue low(QStringLiteral("-2147483648"));
        QTest::newRow("opacity no number")
            << "ZCSetTransparency" << QJsonObject{{"Percent", "abc"}} << true;
        QTest::newRow("opacity missing") << "ZCSetTransparency" << QJsonObject() << true;
        QTest::newRow("opacity huge")
            << "ZCSetTransparency" << QJsonObject{{"Percent", huge}} << true;
        QTest::newRow("opacity negative")
            << "ZCSetTransparency" << QJsonObject{{"Percent", low}} << true;
        QTest::newRow("pen zero") << "ZCSetPenWidth" << QJsonObject{{"Width", 0}} << true;
        QTest::newRow("pen negative") << "ZCSetPenWidth" << QJsonObject{{"Width", low}} << true;
        QTest::newRow("pen huge") << "ZCSetPenWidth" << QJsonObject{{"Width", huge}} << true;
        QTest::newRow("mode") << "ZCSetModeAB" << QJsonObject{{"mode", "7"}} << true;
        QTest::newRow("display far away")
            << "ZCSetSignScreenPosSizeAB" << place(huge, huge, huge, huge) << false;
        QTest::newRow("display below zero")
            << "ZCSetSignScreenPosSizeAB" << place(low, low, low, low) << false;
        QTest::newRow("display missing") << "ZCSetSignScreenPosSizeAB" << QJsonObject() << false;
    }

    void settersTakeWhateverComes()
    {
        QFETCH(QString, command);
        QFETCH(QJsonObject, keys);
        QFETCH(bool, inkIsDark);
        QCOMPARE(line(m_page->ask(command, keys)), command + " 1 ");
        m_page->ask("ZCStartDeviceAB");
        QVERIFY(begin());
        m_pad->pen(PadGeometry().signature(writingArea));
        QTRY_COMPARE(m_pad->queued(), 0);
        if (inkIsDark) {
            m_pad->pen(PadGeometry().tap(okButton));
            QVERIFY(darkPixels(imageOf(m_page->reply())) > 100);
        } else {
            QCOMPARE(line(m_page->ask("ZCEndSignAB")), QString("ZCEndSignAB 1 "));
        }
    }

    void windowsOfAnySizeLeaveTheServiceStanding_data()
    {
        QTest::addColumn<QJsonObject>("keys");
        QTest::newRow("missing") << QJsonObject();
        QTest::newRow("no numbers") << place("a", "b", true, QJsonValue());
        QTest::newRow("negative") << place(-5000, -5000, -400, -300);
        QTest::newRow("lowest") << place("-2147483648", "-2147483648", "-2147483648",
                                         "-2147483648");
        QTest::newRow("one pixel") << place(0, 0, 1, 1);
        QTest::newRow("larger than the screen") << place(0, 0, 5000, 3000);
        QTest::newRow("a hundred thousand") << place(0, 0, 100000, 100000);
        QTest::newRow("highest") << place("2147483647", "2147483647", "2147483647", "2147483647");
        QTest::newRow("beyond") << place("99999999999", "99999999999", "99999999999",
                                         "99999999999");
    }

    void windowsOfAnySizeLeaveTheServiceStanding()
    {
        QFETCH(QJsonObject, keys);
        m_page->ask("ZCStartDeviceAB");
        QVERIFY(begin(keys));
        m_pad->pen(PadGeometry().signature(QRectF(0, 0, 1280, 800)));
        QTRY_COMPARE(m_pad->queued(), 0);
        QVERIFY2(m_service->residentKiB() < 900 * 1024,
                 qPrintable(QString::number(m_service->residentKiB())));
        QCOMPARE(line(m_page->ask("ZCEndSignAB")), QString("ZCEndSignAB 1 "));
        QVERIFY(begin());
    }

    void aPulledPadLeavesTheSessionOpen()
    {
        m_page->ask("ZCStartDeviceAB");
        QVERIFY(begin());
        m_pad->pen(PadGeometry().at({500, 350}, 500));
        m_pad->queue(UsbAnswer::unplug());
        QTRY_VERIFY(!m_pad->device().isPlugged());
        QCOMPARE(line(m_page->ask("ZCSetModeAB")), "ZCSetModeAB 0 " + signing);
        m_service->forgetOutput();
        QTest::qWait(1000);
        const auto failures = m_service->standardError().count("readDataErro faild");
        QVERIFY2(failures >= 2 && failures <= 5, qPrintable(QString::number(failures)));
        m_pad->device().plug();
        QTRY_COMPARE(success(m_page->ask("ZCStartDeviceAB")), 1);
        m_pad->pen(PadGeometry().signature(writingArea));
        m_pad->pen(PadGeometry().tap(okButton));
        QVERIFY(darkPixels(imageOf(m_page->reply())) > 1000);
    }

    void aPageMayGoAtAnyMoment_data()
    {
        QTest::addColumn<int>("moment");
        QTest::addColumn<bool>("aborts");
        for (int moment = 0; moment < 5; ++moment) {
            QTest::addRow("closes at %d", moment) << moment << false;
            QTest::addRow("aborts at %d", moment) << moment << true;
        }
    }

    void aPageMayGoAtAnyMoment()
    {
        QFETCH(int, moment);
        QFETCH(bool, aborts);
        m_page->ask("ZCStartDeviceAB");
        if (moment == 0)
            m_page->command("ZCBeginSignAB", usualPlace);
        else
            QVERIFY(begin());
        if (moment >= 2)
            m_pad->pen(PadGeometry().signature(writingArea));
        if (moment == 3)
            QTRY_COMPARE(m_pad->queued(), 0);
        if (moment == 4)
            m_pad->pen(PadGeometry().tap(okButton));
        aborts ? m_page->abort() : m_page->close();
        QTRY_VERIFY(!m_page->isOpen());
        QTRY_COMPARE(m_pad->queued(), 0);

        m_page = std::make_unique<DeskClient>();
        QVERIFY(m_page->open());
        QCOMPARE(line(m_page->ask("ZCEndSignAB")), QString("ZCEndSignAB 1 "));
        QVERIFY(begin());
        m_pad->pen(PadGeometry().signature(writingArea));
        m_pad->pen(PadGeometry().tap(okButton));
        QVERIFY(darkPixels(imageOf(m_page->reply())) > 1000);
    }

    void twoPagesFightOverOneSession()
    {
        DeskClient rival;
        QVERIFY(rival.open());
        m_page->ask("ZCStartDeviceAB");
        QVERIFY(begin());
        QCOMPARE(line(rival.ask("ZCBeginSignAB", usualPlace)), "ZCBeginSignAB 0 " + signing);
        rival.command("ZCEndSignAB");
        rival.command("ZCBeginSignAB", usualPlace);
        rival.command("ZCEndSignAB");
        m_page->command("ZCBeginSignAB", usualPlace);
        rival.command("ZCStopDeviceAB");
        QCOMPARE(line(rival.reply()), QString("ZCEndSignAB 1 "));
        DeskClient later;
        QVERIFY(later.open());
        QCOMPARE(line(later.ask("ZCEndSignAB")), QString("ZCEndSignAB 1 "));
        QTRY_COMPARE(line(later.ask("ZCSetModeAB")), QString("ZCSetModeAB 1 "));
    }

    void endsInOrderWhenAsked_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<bool>("inSession");
        QTest::newRow("SIGTERM") << SIGTERM << false;
        QTest::newRow("SIGTERM, in a session") << SIGTERM << true;
        QTest::newRow("SIGINT") << SIGINT << true;
        QTest::newRow("SIGHUP") << SIGHUP << true;
    }

    void endsInOrderWhenAsked()
    {
        QFETCH(int, number);
        QFETCH(bool, inSession);
        IdentityReaderHid reader(*m_kernel);
        reader.plug();
        m_page->ask("ZCReadHIDIDCard");
        m_page->ask("ZCStartDeviceAB");
        if (inSession)
            QVERIFY(begin());
        m_service->sendSignal(number);
        QCOMPARE(m_service->waitForEnd(), 0);
        QVERIFY(m_page->waitForClosed());
        QCOMPARE(m_page->closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
        QVERIFY2(m_page->silentFor(0), "nobody cancelled the session");
        QCOMPARE(ownership().mid(3), QStringList({"release 0", "attach 0"}));
        QCOMPARE(ownership(reader.log()), QStringList({"detach 0", "claim 0", "attach 0"}));
        QVERIFY(m_service->start());
    }

    void endsThoughACommandWaitsForItsDevice_data()
    {
        QTest::addColumn<bool>("askedTwice");
        QTest::newRow("asked once") << false;
        QTest::newRow("asked twice") << true;
    }

    void endsThoughACommandWaitsForItsDevice()
    {
        QFETCH(bool, askedTwice);
        IdentityReaderUsb silent(*m_kernel, IdentityReaderUsb::Module0503);
        silent.plug();
        silent.replaceTransfersFrom(0, UsbAnswer::never());
        m_page->ask("ZCStartDeviceAB");
        m_page->command("ZCReadIDCard");
        QTRY_VERIFY(!silent.log().isEmpty());
        m_service->sendSignal(SIGTERM);
        if (askedTwice) {
            QTRY_VERIFY(!handlesSignal(m_service->processId(), SIGTERM));
            m_service->sendSignal(SIGTERM);
            QCOMPARE(m_service->waitForEnd(), -SIGTERM);
        } else {
            QCOMPARE(m_service->waitForEnd(), 0);
            QVERIFY(m_page->waitForClosed());
            QCOMPARE(m_page->closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
            QCOMPARE(ownership().mid(3), QStringList({"release 0", "attach 0"}));
        }
        QVERIFY(m_service->start());
    }

    void aSessionWithoutTheDeviceTakesNoPen()
    {
        QVERIFY(begin());
        m_pad->pen(PadGeometry().tap(okButton));
        QVERIFY(m_page->silentFor(500));
        QCOMPARE(m_pad->device().log(), QStringList());
        m_page->ask("ZCStartDeviceAB");
        QCOMPARE(success(m_page->reply()), 1);
    }

private:
    /// Opens a session; true when the window is open.
    bool begin(const QJsonObject& keys = usualPlace)
    {
        m_page->command("ZCBeginSignAB", keys);
        return line(m_page->ask("ZCSetModeAB")) == "ZCSetModeAB 0 " + signing;
    }

    /// A device's log without the transfers.
    static QStringList ownership(const QStringList& log)
    {
        return log.filter(QRegularExpression("^(claim|release|detach|attach)"));
    }
    QStringList ownership() const { return ownership(m_pad->device().log()); }

    std::unique_ptr<VirtualKernel> m_kernel;
    std::unique_ptr<SignaturePad> m_pad;
    std::unique_ptr<ServiceProcess> m_service;
    std::unique_ptr<DeskClient> m_page;
};

QTEST_GUILESS_MAIN(SignatureTest)
#include "signature_test.moc"
