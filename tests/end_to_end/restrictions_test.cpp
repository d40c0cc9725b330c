// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The settings file: who may connect, which commands are served, and what is stored.

#include "tests/support/table.h"
#include "virtual/camera/camera.h"
#include "virtual/pad/signature_pad.h"
#include "virtual/readers/identity_reader_usb.h"
#include "virtual/sim/pcsc_daemon.h"
#include "virtual/sim/sim_card.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/window_operator.h"

#include <QFile>

using namespace virtual_desk;

namespace {

const QString counter = "https://counter.example.org";
const QString doctorProgram = DESK_SOURCE_DIR "/packaging/bin/desk-terminal-doctor";

QProcessEnvironment with(const QString& settings)
{
    QFile file("settings.conf");
    if (file.open(QIODevice::WriteOnly))
        file.write(settings.toUtf8());
    QProcessEnvironment environment;
    environment.insert("DESK_TERMINAL_SETTINGS", "settings.conf");
    return environment;
}

QByteArray inShell(const QString& command)
{
    QProcess shell;
    shell.setProcessEnvironment(VirtualKernel::outsideEnvironment());
    shell.start("bash", {"-c", command});
    return shell.waitForFinished(60000) ? shell.readAllStandardOutput() : "waits";
}

QString packaged(const QString& file)
{
    return inShell("cat " DESK_SOURCE_DIR "/packaging/" + file);
}

} // namespace

class RestrictionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // This machine is 10.9.9.1, and at the other end of a cable there is 10.9.9.2.
    void initTestCase()
    {
        m_otherMachine.setProcessEnvironment(VirtualKernel::outsideEnvironment());
        m_otherMachine.start("unshare", {"--net", "sh", "-c", R"(
            ip link add end type veth peer name cable netns $PPID
            ip address add 10.9.9.2/24 dev end && ip link set end up
            nsenter --net --target $PPID ip address add 10.9.9.1/24 dev cable
            nsenter --net --target $PPID ip link set cable up
            echo; exec sleep 10000)"});
        QVERIFY(m_otherMachine.waitForReadyRead(60000));
    }

    void cleanupTestCase()
    {
        m_otherMachine.kill();
        m_otherMachine.waitForFinished();
    }

    void refusesUnknownKeysAndValues()
    {
        // clang-format off
        const QStringList mistakes{
            "origin=all", "no key is called \"origin\"", "[a]\nlisten=all", "\"a/listen\"", "loopback", "neither KEY=VALUE",
            "listen=", "listen: \"\"", "origins=@Invalid()", "origins: \"\"", "listen=127.0.0.1, 0", "listen: \"0\"", "origins=https://a.b/", "origins: ",
            "origins=https://*.org", "origins: ", "commands=ZCSIMCard, zcsimcard", "commands: \"zcsimcard\"",
            "privacy=1, 2", "privacy: \"2\"", "privacy=172800", "privacy: \"172800\"", "diagnosis=usb", "diagnosis: \"usb\""};
        // clang-format on
        for (int i = 0; i < mistakes.size(); i += 2) {
            ServiceProcess service;
            QVERIFY(service.launch(with(mistakes[i])));
            QCOMPARE(service.waitForEnd(), 6);
            const QString words = service.standardError();
            QVERIFY2(words.contains(mistakes[i + 1]) && words.count('\n') == 1, qPrintable(words));
        }
    }

    void understandsThePackagesExamplesAndServesWhatTheyList()
    {
        QString file = packaged("desk-terminal-service.conf");
        ServiceProcess service;
        QVERIFY(service.start(with(file.replace("\n;", "\n").replace("\n ", "\n; "))));
        DeskClient page(counter);
        QVERIFY(page.open());
        QVERIFY(service.waitForError("desk.server: client of the origin \"https://counter."));
        QVERIFY(page.asked("ZCEndSignAB").startsWith("ZCEndSignAB 1"));
        page.send(R"({"act":"readIntegratedCard"})");
        QVERIFY(page.reply().contains("_tflag"));
        const QString leftOut = R"({"act":"test","function":"ZCEndSignAB"})";
        page.send(leftOut);
        QCOMPARE(page.text(), leftOut);
        QVERIFY(page.ask("ZCGetSAMNum").contains("function"));
    }

    void opensToNobodyElse_data()
    {
        // clang-format off
        addRows<QString, bool, QStringList, QStringList>({
            {"as delivered", packaged("desk-terminal-service.conf"), true, {"https://any.example.net", "null", ""}, {}},
            {"recipe", packaged("examples/counter.conf"), false, {counter, "HTTPS://Counter.Example.org"}, {counter + ":8443", counter + ".evil.net", "https://evil.example.org", "http://counter.example.org", "file://", ""}},
            {"programs", "origins=programs", true, {""}, {"null"}},
            {"disk", "listen=::1, 10.9.9.1\norigins=null, file", true, {"file://", "null"}, {""}},
            {"label", "origins=http://*.a.b:81, https://a.b:443", true, {"http://c.a.b:81", "https://a.b"}, {"http://.a.b:81", "http://d.c.a.b:81", "http://a.b:81"}},
        });
        // clang-format on
    }

    void opensToNobodyElse()
    {
        const auto [settings, toOthers, allowed, refused] =
            row<QString, bool, QStringList, QStringList>();
        const QString there = QString("nsenter --net --target %1 ").arg(m_otherMachine.processId());
        ServiceProcess service;
        QVERIFY(service.launch(with(settings)));
        QTRY_COMPARE_WITH_TIMEOUT(handshake({}, "::1", allowed[0]), QByteArray("101"), 60000);
        for (const QString& origin : allowed + refused) {
            const QByteArray status = allowed.contains(origin) ? "101" : "403";
            QCOMPARE(handshake({}, "::1", origin), status);
            QCOMPARE(handshake(there, "10.9.9.1", origin), toOthers ? status : "none");
        }
        const QByteArray doctor = inShell("DESK_TERMINAL_SETTINGS=settings.conf " + doctorProgram);
        QCOMPARE(doctor.contains("OPEN     other machines: can connect to"), toOthers);
        QCOMPARE(doctor.contains("OPEN     origins: every page"), refused.isEmpty());
        QVERIFY(service.waitForError("refused a client of the origin \"",
                                     refused.size() * (toOthers ? 2 : 1)));
    }

    void withTheRecipeTheCounterWorksAndForgets()
    {
        VirtualKernel kernel;
        SignaturePad pad(kernel);
        pad.device().plug();
        IdentityReaderUsb reader(kernel, IdentityReaderUsb::Module0503);
        reader.plug();
        reader.putCard(QByteArray(1280, ' '));
        Camera camera(kernel, {});
        camera.plugIn();
        PcscDaemon daemon;
        VirtualSimCard sim;
        QVERIFY(daemon.start() && sim.insert());
        const QString files =
            "simage_file.bmp frontNew.jpg backNew.jpg /tmp/kvo_sign.png /tmp/kvo_cv.jpg";
        inShell("touch " + files + "; cp " DESK_SOURCE_DIR "/packaging/templates/*.jpg .");
        QCOMPARE(inShell("ls " + files).count('\n'), 5);
        QVERIFY(inShell(doctorProgram).contains("/tmp/kvo_sign.png /tmp/kvo_cv.jpg"));
        ServiceProcess service;
        QVERIFY(service.start(with(packaged("examples/counter.conf").replace("=60", "=2"))));
        QCOMPARE(inShell("ls " + files), QByteArray());

        DeskClient page(counter);
        QVERIFY(page.open());
        QCOMPARE(page.ask("ZCReadIDCard")["err_code"].toInt(9), 0);
        QCOMPARE(page.ask("ZCSIMCard")["data"].toString(), QString("89860113456789012340"));
        page.reply(); // a success is sent twice
        page.ask("ZCStartDeviceAB");
        page.command("ZCBeginSignAB", {{"x", 440}, {"y", 250}, {"width", 400}, {"height", 300}});
        pad.pen(PadGeometry().signature({480, 300, 320, 140}));
        QElapsedTimer sinceUse;
        sinceUse.start();
        pad.pen(PadGeometry().tap({775, 507}));
        QVERIFY(page.reply().contains("Base64"));
        for (int i = 0; i < 20 && page.ask("ZCOutputImageBase64AB").contains("Base64"); ++i)
            QTest::qWait(2500);
        QCOMPARE(page.asked("ZCOutputImageBase64AB"), QString("ZCOutputImageBase64AB 0 未签名"));
        QVERIFY(sinceUse.elapsed() >= 2000);
        page.ask("ZCStopDeviceAB");
        QCOMPARE(inShell("ls " + files), QByteArray());
        page.command("ZCCameraPic");
        QTRY_VERIFY_WITH_TIMEOUT(camera.framesSent() > 5, 60000);
        const CaptureOperator person;
        QVERIFY(person.waitForWindows(1) && person.takePicture());
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists("/tmp/kvo_cv.jpg"), 60000);
        QVERIFY(person.handOver() && page.reply().contains("Base64"));

        QCOMPARE(inShell("ls " + files), QByteArray());
        const QByteArray log = service.standardError() + service.standardOutput();
        for (const char* secret : {"x = ", "TuchPt x", "9868103154"})
            QVERIFY2(!log.contains(secret), secret);
        QVERIFY(log.contains("n返回APDU:9000\n") && log.contains("readData\n"));
    }

private:
    /// The status of the answer; "none" when nobody listens.
    static QByteArray handshake(const QString& where, const QString& address, const QString& origin)
    {
        const QString line = origin.isEmpty() ? origin : "Origin: " + origin + R"(\r\n)";
        return inShell(
            where + "bash -c 'exec 2>/dev/null 3<>/dev/tcp/" + address +
            R"(/12343 || { printf none; exit; }; printf "GET / HTTP/1.1\r\nHost: a\r\n)"
            R"(Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n)"
            R"(Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n)" +
            line + R"(\r\n" >&3; read -r _ status _ <&3; printf $status')");
    }

    QProcess m_otherMachine;
};

QTEST_GUILESS_MAIN(RestrictionsTest)
#include "restrictions_test.moc"
