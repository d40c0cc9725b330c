// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/sim/pcsc_daemon.h"
#include "virtual/sim/sim_card.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

using namespace virtual_desk;

namespace {

const QString success = R"({"_tflag":"s","data":"89860113456789012340","functionName":"ZCSIMCard",)"
                        R"("msg":"获取SIM卡ICCID成功","success":1})";

const QString withoutNumber = R"({"_tflag":"s","functionName":"ZCSIMCard",)"
                              R"("msg":"获取SIM卡ICCID成功","success":1})";

QString failure(const QString& message)
{
    return QString(R"({"_tflag":"s","functionName":"ZCSIMCard","msg":"%1","success":0})")
        .arg(message);
}

const QString open = R"(OpenCardReader 1 "Generic EMV Smartcard Reader 0" tail zero)";
const QString on = "CardPowerOn buffer zero";
const QString first = "SendApduCommand 14 A0A40000023F00 buffer zero";
const QString second = "SendApduCommand 14 A0A40000022FE2 buffer zero";
const QString third = "SendApduCommand 10 A0B000000A buffer zero";
const QString off = "CardPowerOff";
const QString closed = "CloseCardReader";

const QString wellBehaved = "CardPowerOn 0 3B9F96\n"
                            "SendApduCommand 0 9F17\nSendApduCommand 0 9F0F\n"
                            "SendApduCommand 0 986810315476981032049000\n";
const QByteArray opened = "打开设备端口成功";
const QByteArray poweredOn = "设备上电成功,ATR:3B 9F 96 " + QByteArray("00 ").repeated(29) + "\n";
const QByteArray firstSent = "发送APDU:A0A40000023F00\nn返回APDU:9F17\n";
const QByteArray secondSent = "发送APDU:A0A40000022FE2\nn返回APDU:9F0F\n";
const QByteArray thirdSent = "发送APDU:A0B000000A\nn返回APDU:986810315476981032049000\n";

} // namespace

class SimCardTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        QFile::remove("record");
        QFile::remove("script");
    }

    void tellsEachStepThatFails_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<QByteArray>("console");
        QTest::addColumn<QStringList>("replies");

        const auto failing = [](const char* name, const QString& script, const QStringList& calls,
                                const QByteArray& console, const QString& message) {
            QTest::newRow(name) << script << calls << console << QStringList{failure(message)};
        };
        failing("no reader", "OpenCardReader 8010002E\n", {open},
                "打开设备端口失败,返回:t_nRe = 8010002E\n", "打开设备端口失败");
        failing("no card", "CardPowerOn A\n", {open, on, closed},
                opened + "设备上电失败,返回:t_nRe = 0000000A\n", "设备上电失败");
        failing("first command", "CardPowerOn 0 3B9F96\nSendApduCommand FFFFFFFF\n",
                {open, on, first, closed},
                opened + poweredOn + "设备APDU通讯失败,返回:t_nRe = FFFFFFFF\n",
                "设备APDU(A0A40000023F00)通讯失败");
        failing("second command",
                "CardPowerOn 0 3B9F96\nSendApduCommand 0 9F17\nSendApduCommand 2\n",
                {open, on, first, second, closed},
                opened + poweredOn + firstSent + "设备APDU通讯失败,返回:t_nRe = 00000002\n",
                "设备APDU(A0A40000022FE2)通讯失败");
        failing("third command",
                "CardPowerOn 0 3B9F96\nSendApduCommand 0 9F17\nSendApduCommand 0 9F0F\n"
                "SendApduCommand 80100069 9000\n",
                {open, on, first, second, third, closed},
                opened + poweredOn + firstSent + secondSent +
                    "设备APDU通讯失败,返回:t_nRe = 80100069\n",
                "设备APDU(A0B000000A)通讯失败");
        failing("power-off", wellBehaved + "CardPowerOff 1\n",
                {open, on, first, second, third, off, closed},
                opened + poweredOn + firstSent + secondSent + thirdSent + "设备下电失败",
                "设备下电失败");
        failing("close", wellBehaved + "CloseCardReader 1\n",
                {open, on, first, second, third, off, closed, closed},
                opened + poweredOn + firstSent + secondSent + thirdSent +
                    "设备下电成功设备关闭失败",
                "设备关闭失败");
        QTest::newRow("nothing") << wellBehaved
                                 << QStringList{open, on, first, second, third, off, closed, closed}
                                 << opened + poweredOn + firstSent + secondSent + thirdSent +
                                        "设备下电成功设备关闭成功"
                                 << QStringList{success, success};
        QTest::newRow("the second close")
            << wellBehaved + "CloseCardReader 0\nCloseCardReader 1\n"
            << QStringList{open, on, first, second, third, off, closed, closed}
            << opened + poweredOn + firstSent + secondSent + thirdSent + "设备下电成功设备关闭成功"
            << QStringList{success, success};
        QTest::newRow("a card with only a status")
            << "CardPowerOn 0 3B9F96\nSendApduCommand 0 9F17\nSendApduCommand 0 9F0F\n"
               "SendApduCommand 0 9404\n"
            << QStringList{open, on, first, second, third, off, closed, closed}
            << opened + poweredOn + firstSent + secondSent +
                   "发送APDU:A0B000000A\nn返回APDU:9404\n设备下电成功设备关闭成功"
            << QStringList{withoutNumber, withoutNumber};
    }

    void tellsEachStepThatFails()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, calls);
        QFETCH(QByteArray, console);
        QFETCH(QStringList, replies);
        QFile file("script");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(script.toUtf8());
        file.close();
        QProcessEnvironment environment;
        environment.insert("LD_LIBRARY_PATH", DESK_BIN_DIR "/../scripted");
        environment.insert("DESK_CARD_SCRIPT", "script");
        environment.insert("DESK_CARD_RECORD", "record");

        ServiceProcess service;
        QVERIFY(service.start(environment));
        DeskClient client;
        QVERIFY(client.open());
        client.send("{'function':'ZCSIMCard','_tflag':'s'}");
        for (const QString& reply : replies)
            QCOMPARE(client.text(), reply);
        QVERIFY(client.silentFor(100));

        QFile record("record");
        QVERIFY(record.open(QIODevice::ReadOnly));
        QCOMPARE(QString(record.readAll()).split('\n', Qt::SkipEmptyParts), calls);
        QVERIFY(service.waitForOutput(console));
        QCOMPARE(service.standardOutput(), console);
        QVERIFY(service.standardError().endsWith("20220711\nZCSIMCard\nL_Error1\n"));
    }

    void readsAndLosesRealCards()
    {
        PcscDaemon daemon;
        VirtualSimCard card;
        ServiceProcess service;
        QVERIFY(service.start());
        DeskClient client;
        QVERIFY(client.open());
        const auto ask = [&] {
            client.send("{'function':'ZCSIMCard','_tflag':'s'}");
            return client.text(20000);
        };

        QCOMPARE(ask(), failure("打开设备端口失败"));
        QVERIFY(daemon.start(PcscDaemon::Reader::none));
        QCOMPARE(ask(), failure("打开设备端口失败"));
        daemon.kill();
        QVERIFY2(daemon.start(), qPrintable(daemon.log()));
        QCOMPARE(ask(), failure("设备上电失败"));

        QVERIFY(card.insert());
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(ask(), success);
            QCOMPARE(client.text(), success);
        }

        const auto pullAt = [&](const char* command) {
            card.setBehaviour(QByteArray::fromHex(command),
                              {VirtualSimCard::Behaviour::Kind::pulled});
            const QString reply = ask();
            card.setBehaviour(QByteArray::fromHex(command), {});
            return card.insert() ? reply : QString("the card did not come back");
        };
        QCOMPARE(pullAt("A0A40000023F00"), failure("设备APDU(A0A40000023F00)通讯失败"));
        QCOMPARE(pullAt("A0A40000022FE2"), failure("设备APDU(A0A40000022FE2)通讯失败"));
        QCOMPARE(pullAt("A0B000000A"), failure("设备APDU(A0B000000A)通讯失败"));
        QVERIFY(client.silentFor(100));

        daemon.freeze();
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(ask(), failure("打开设备端口失败"));
        QVERIFY2(timer.elapsed() < 6000, "a hung daemon must not hold the other pages up for long");
        client.send("still served");
        QCOMPARE(client.text(), QString("still served"));
        daemon.thaw();
        QTRY_COMPARE(ask(), success); // may ask more than once
        while (!client.silentFor(200))
            QCOMPARE(client.text(), success);

        card.pull();
        card.setIccid(QByteArray::fromHex("98680000000000000091"));
        QVERIFY(card.insert());
        QVERIFY(ask().contains(R"("data":"89860000000000000019")"));
    }

    void finishesTheReadOfAPageThatLeft()
    {
        PcscDaemon daemon;
        VirtualSimCard card;
        QVERIFY2(daemon.start(), qPrintable(daemon.log()));
        card.setBehaviour(QByteArray::fromHex("A0B0"),
                          {VirtualSimCard::Behaviour::Kind::files, {}, 300});
        QVERIFY(card.insert());
        ServiceProcess service;
        QVERIFY(service.start());
        DeskClient client;
        QVERIFY(client.open());
        client.command("ZCSIMCard");
        QTRY_COMPARE(card.commands().size(), 3);
        client.abort();
        QVERIFY(service.waitForOutput("设备下电成功设备关闭成功"));
        QTRY_VERIFY(!card.isPowered());
        QVERIFY(client.open());
        client.send("next page");
        QCOMPARE(client.text(), QString("next page"));
    }
};

QTEST_GUILESS_MAIN(SimCardTest)
#include "sim_card_test.moc"
