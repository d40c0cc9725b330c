// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

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

// Places in the window that these tests open, on the pad's display.
const QRectF writingArea(480, 300, 320, 140);
const QHash<QString, QPointF> buttons{
    {"cancel", {510, 507}}, {"resign", {645, 507}}, {"ok", {775, 507}}};

// Pieces of scripts, see play().
const QString start = "ZCStartDeviceAB 1";
const QString signing = "ZCSetModeAB 0 签名进行中";
const QString begin = "!ZCBeginSignAB|" + signing;
const QString sign = "write|ok|<ZCOutputImageBase64AB 1  ink";
const QString notSigned = "ZCOutputImageBase64AB 0 未签名";

const QString signaturePath = "/tmp/kvo_sign.png";

QImage imageOf(const QJsonObject& reply)
{
    return QImage::fromData(QByteArray::fromBase64(reply["Base64"].toString().toLatin1()), "PNG");
}

/// A reply in short, with the amount of ink in its image.
QString inShort(const QJsonObject& reply)
{
    const QImage image = imageOf(reply);
    int dark = 0;
    for (int i = 0; i < image.width() * image.height(); ++i)
        dark += qGray(image.pixel(i % image.width(), i / image.width())) < 128;
    const int amount = (dark > 0) + (dark > 2500) + (dark > 5000);
    return DeskClient::inShort(reply).trimmed().replace(
        "image", QStringList{"no ink", "little ink", "ink", "much ink"}[amount]);
}

/// A device's log without the transfers, on one line.
QString ownership(const QStringList& log)
{
    return log.filter(QRegularExpression("^(claim|release|detach|attach)")).join('|');
}

} // namespace

class SignatureTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The service leaves signals ignored that were ignored when it started, as under nohup(1).
    void initTestCase()
    {
        for (const int number : {SIGINT, SIGTERM, SIGHUP})
            std::signal(number, SIG_DFL);
    }

    void init()
    {
        QFile::remove(signaturePath);
        m_pad.device().plug();
        m_pad.device().clearLog();
        m_pad.clearQueue();
        m_place = {{"x", 440}, {"y", 250}, {"width", 400}, {"height", 300}};
        m_service = std::make_unique<ServiceProcess>();
        QVERIFY(m_service->start());
        newPages();
    }

    void cleanup()
    {
        QVERIFY2(m_service->isRunning(), "the service must outlive every session");
        m_service.reset();
        m_pad.device().unplug();
    }

    void everyCommandIsLoggedAndAnswered()
    {
        play("!ZCReadHIDOpen|" + begin + "|ZCEndSignAB 1|ZCDeviceExist 1|ZCResignAB 1|" +
             notSigned + "|ZCSetTransparency 1|ZCSetPenWidth 1|ZCSetModeAB 1|ZCStopDeviceAB 1|" +
             "ZCCameraPic 0|ZCSetSignScreenPosSizeAB 1|" + start);
        const QByteArray log =
            "\n20220711\nZCReadHIDOpen\nZCBeginSignAB\n进入签名\nZCSetModeAB\nZCEndSignAB\n"
            "ZCDeviceExist\nZCResignAB\nZCOutputImageBase64AB\nsave\nZCSetTransparency\n"
            "ZCSetPenWidth\nZCSetModeAB\nZCStopDeviceAB\nZCCameraPic\nZCCameraPic\nZCCameraPic\n"
            "CameraUser()++\nopen camera error\n~CameraUser()--\nZCSetSignScreenPosSizeAB\n"
            "ZCStartDeviceAB\n启动签字板\n";
        QVERIFY2(m_service->waitForError(log), m_service->standardError().constData());
    }

    void probesAndStartsThePad()
    {
        play("ZCDeviceExist 1|" + start + '|' + start);
        QCOMPARE(ownership(m_pad.device().log()),
                 "claim 0: EBUSY|detach 0|claim 0|release 0|claim 0");
        QVERIFY(m_service->waitForOutput("Released hid Interface!\n"));
        m_pad.device().unplug();
        play("ZCStartDeviceAB -1|ZCDeviceExist 0");
        m_service->forgetOutput();
        m_pad.device().setInterfaceHeldElsewhere(true);
        m_pad.device().plug();
        AWAIT_EQUAL(m_page->asked("ZCStartDeviceAB"), QString("ZCStartDeviceAB -2 "));
        QTest::qWait(700);
        QVERIFY2(!m_service->standardError().contains("readDataErro"), "nothing to read from");
        m_pad.device().setInterfaceHeldElsewhere(false);
        play(start + "|read");
    }

    void aSignatureArrivesAsAPictureAndStays()
    {
        play(start + '|' + begin + "|write|ok");
        const QImage signature = imageOf(m_page->reply());
        QCOMPARE(QImage(signaturePath), signature);
        QFile::remove(signaturePath);
        for (int i = 0; i < 2; ++i)
            QCOMPARE(imageOf(m_page->ask("ZCOutputImageBase64AB")), signature);
        AWAIT_EQUAL(QImage(signaturePath), signature);
        // A FIFO in the place of the file must not hold anything up.
        QCOMPARE(QProcess::execute("sh", {"-c", "rm $0; mkfifo $0", signaturePath}), 0);
        play(begin + '|' + sign);
        QVERIFY(m_service->waitForError("cannot write /tmp/kvo_sign.png: "));
    }

    void sessions_data()
    {
        const QString begun = start + '|' + begin + '|';
        const QString afterwards = "|silent|" + notSigned + "|ZCSetModeAB 1|";
        const QString blank = "|ok|<ZCOutputImageBase64AB 1  no ink";
        const QString refused = "+%1|+ZCBeginSignAB%2|+ZCSetTransparency%2|+ZCSetPenWidth%2|"
                                "+ZCSetSignScreenPosSizeAB%2|";
        addRows<QString>(
            {{"cancelled", begun + sign + '|' + begin + '|' + notSigned +
                               "|cancel|<ZCOutputImageBase64AB 0 用户已取消|" + notSigned},
             {"a tap too late", begun + "write|ok|cancel|<ZCOutputImageBase64AB 1  ink"},
             {"cleared", begun + "write|read|ZCResignAB 1" + blank},
             {"ended", begun + "write|ZCEndSignAB 1" + afterwards + "read"},
             {"stopped", begun + "write|ZCStopDeviceAB 1" + afterwards + "rest"},
             {"pad started later", begin + "|ok|silent|" + start + blank.mid(3)},
             {"commands", begun + refused.arg(signing, signing.mid(11)) + "+ZCDeviceExist 1|+" +
                              notSigned + "|+" + start + "|+ZCResignAB 1|+ZCCameraPic 0|" + sign}});
    }
    void sessions()
    {
        const auto [script] = row<QString>();
        play(script);
        QVERIFY2(ownership(m_pad.device().log()).endsWith("|claim 0"), "the pad stays open");
        QVERIFY2(m_other->silentFor(100), "it was sent what is another's");
    }

    void settingsShowInTheNextSession_data()
    {
        const QRect usual(2361, 250, 400, 300);
        // clang-format off
        addRows<QString, QJsonObject, QRect, int, QString>(
            {{"opacity", "ZCSetTransparency", {{"Percent", 40}}, usual, 40, "ink"},
             {"no number", "ZCSetTransparency", {{"Percent", "x"}}, usual, 0, "ink"},
             {"thick pen", "ZCSetPenWidth", {{"Width", "15"}}, usual, 65, "much ink"},
             {"thin pen", "ZCSetPenWidth", {{"Width", 2}}, usual, 65, "little ink"},
             {"mode", "ZCSetModeAB", {{"mode", 1}, {"Percent", 1}, {"Width", 1}, {"x", 1}, {"width", 1}}, usual, 65, "ink"},
             {"display", "ZCSetSignScreenPosSizeAB", {{"x", 100}, {"y", 50}, {"width", 640}, {"height", 400}}, {540, 300, 400, 300}, 65, "ink"}});
        // clang-format on
    }
    void settingsShowInTheNextSession()
    {
        const auto [command, keys, place, opacity, ink] =
            row<QString, QJsonObject, QRect, int, QString>();
        QCOMPARE(m_page->asked(command, keys), command + " 1 ");
        play(start + '|' + begin);
        const WindowOperator window("HandWriting");
        QVERIFY(window.waitForWindows(1));
        QCOMPARE(window.place(), place);
        QCOMPARE(window.opacity(), opacity);
        play("write|ok|<ZCOutputImageBase64AB 1  " + ink,
             PadGeometry(place.x() == 540 ? QSize(640, 400) : QSize(1280, 800)));
    }

    void aPulledPadLeavesTheSessionOpen()
    {
        play(start + '|' + begin);
        m_pad.queue(UsbAnswer::unplug());
        AWAIT(!m_pad.device().isPlugged());
        m_service->forgetOutput();
        QVERIFY(m_service->waitForError("readDataErro faild", 2));
        m_pad.device().plug();
        AWAIT_EQUAL(m_page->asked("ZCStartDeviceAB"), start + ' ');
        play(sign);
    }

    void aPageMayGoAtAnyMoment()
    {
        play(start);
        for (const QString& script :
             {QString("!ZCBeginSignAB"), begin, begin + "|write", begin + "|write|ok"})
            for (const bool aborts : {false, true}) {
                play(script);
                aborts ? m_page->abort() : m_page->close();
                AWAIT(!m_page->isOpen());
                AWAIT_EQUAL(m_pad.queued(), 0);
                newPages();
                play("ZCEndSignAB 1|" + begin + '|' + sign);
            }
    }

    void twoPagesFightOverOneSession()
    {
        m_place = {{"x", true}, {"y", "-2147483648"}, {"width", "99999999999"}, {"height", 100000}};
        play(start + '|' + begin + "|write|read");
        for (const char* command : {"ZCEndSignAB", "ZCBeginSignAB", "ZCEndSignAB"})
            m_other->command(command, m_place);
        m_page->command("ZCBeginSignAB", m_place);
        m_other->command("ZCStopDeviceAB");
        QCOMPARE(inShort(m_other->reply()), QString("ZCEndSignAB 1"));
        newPages();
        play("ZCEndSignAB 1");
        AWAIT_EQUAL(m_page->asked("ZCSetModeAB"), QString("ZCSetModeAB 1 "));
    }

    void endsWhenAsked_data()
    {
        addRows<int, QString>({{"SIGTERM", SIGTERM, begin},
                               {"SIGINT", SIGINT, begin},
                               {"SIGHUP", SIGHUP, begin},
                               {"SIGTERM, in a command", SIGTERM, "!ZCReadIDCard"},
                               {"SIGTERM again and again", -SIGTERM, "!ZCReadIDCard"}});
    }
    void endsWhenAsked()
    {
        const auto [number, script] = row<int, QString>();
        IdentityReaderHid reader(m_kernel);
        IdentityReaderUsb silent(m_kernel, IdentityReaderUsb::Module0503);
        reader.plug();
        silent.plug();
        silent.replaceTransfersFrom(0, UsbAnswer::never());
        m_page->ask("ZCReadHIDIDCard");
        play(start + '|' + script);
        AWAIT(!script.contains("Card") || !silent.log().isEmpty());
        m_service->sendSignal(qAbs(number));
        while (number < 0 && m_service->waitForEnd(20) == -999)
            m_service->sendSignal(-number);
        QCOMPARE(m_service->waitForEnd(), qMin(number, 0));
        QVERIFY(m_page->waitForClosed());
        QVERIFY2(m_page->silentFor(0), "nobody cancelled the session");
        if (number > 0) {
            QCOMPARE(m_page->closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
            QVERIFY(ownership(m_pad.device().log()).endsWith("|claim 0|release 0|attach 0"));
            QCOMPARE(ownership(reader.log()), "detach 0|claim 0|attach 0");
        }
        QVERIFY(m_service->start());
    }

    void aDayAtThePadLeavesTheServiceAsItWas()
    {
        m_place = {{"width", 1280}, {"height", 800}};
        int descriptors = 0;
        qint64 memory = 0;
        for (int i = 0; i <= 100; ++i) {
            newPages();
            play("ZCDeviceExist 1|" + begin + "|ZCEndSignAB 1");
            m_service->forgetOutput();
            descriptors = i == 50 ? m_service->openDescriptors() : descriptors;
            memory = i == 50 ? m_service->residentKiB() : memory;
        }
        AWAIT(m_service->openDescriptors() <= descriptors);
#ifndef __SANITIZE_ADDRESS__ // which keeps what was freed for a while
        QVERIFY(m_service->residentKiB() < memory + 60000);
#endif
    }

private:
    void newPages()
    {
        m_page = std::make_unique<DeskClient>();
        m_other = std::make_unique<DeskClient>();
        QVERIFY(m_page->open() && m_other->open());
    }

    /// Plays a script, whose steps are separated by "|":
    ///     write, cancel, resign, ok   the pen writes, or taps that button
    ///     read                        waits until the service has read every pen report
    ///     rest                        waits until the service no longer reads the pad
    ///     silent                      nothing is sent to the page
    ///     COMMAND SUCCESS MESSAGE     sends the command and expects this reply; the keys of the
    ///                                 command would spoil a session that took them
    ///     +COMMAND ...                the same from both pages
    ///     <COMMAND ...                expects this reply without sending anything
    ///     !COMMAND                    sends the command, which is not answered now
    void play(const QString& script, const PadGeometry& geometry = PadGeometry())
    {
        const QJsonObject keys{{"x", 1}, {"Percent", 0}, {"Width", 0}, {"width", 0}};
        for (const QString& step : script.split('|', Qt::SkipEmptyParts)) {
            const QString reply = QString(step).remove(QRegularExpression("^[+<!]"));
            const QString command = reply.section(' ', 0, 0);
            if (step == "write")
                m_pad.pen(geometry.signature(writingArea));
            else if (buttons.contains(step))
                m_pad.pen(geometry.tap(buttons[step]));
            else if (step == "read") {
                AWAIT_EQUAL(m_pad.queued(), 0);
                const int reads = m_pad.device().log().size();
                AWAIT(m_pad.device().log().size() > reads);
            } else if (step == "rest")
                AWAIT(!m_pad.isRead());
            else if (step == "silent")
                QVERIFY(m_page->silentFor(300));
            else if (step[0] == '!')
                m_page->command(command, m_place);
            else
                QCOMPARE(inShort(step[0] == '<' ? m_page->reply() : m_page->ask(command, keys)),
                         reply);
            if (step[0] == '+')
                QCOMPARE(inShort(m_other->ask(command, keys)), reply);
        }
    }

    VirtualKernel m_kernel;
    SignaturePad m_pad{m_kernel};
    QJsonObject m_place;
    std::unique_ptr<ServiceProcess> m_service;
    std::unique_ptr<DeskClient> m_page;
    std::unique_ptr<DeskClient> m_other;
};

QTEST_GUILESS_MAIN(SignatureTest)
#include "signature_test.moc"
