// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "tests/support/patience.h"
#include "tests/support/table.h"
#include "virtual/sim/pcsc_daemon.h"
#include "virtual/sim/sim_card.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"

#include <QFile>

using namespace virtual_desk;

namespace {

const QString request = "{'function':'ZCSIMCard','_tflag':'s'}";
const QString number = R"("data":"89860113456789012340",)";

QString success(const QString& data)
{
    return R"({"_tflag":"s",)" + data +
           R"("functionName":"ZCSIMCard","msg":"获取SIM卡ICCID成功","success":1})";
}

QString failure(const QString& message)
{
    return R"({"_tflag":"s","functionName":"ZCSIMCard","msg":")" + message + R"(","success":0})";
}

/// A call of the card-reader library: how it is recorded, its line in the script, and what the
/// console says when it succeeds.
struct Step
{
    QString call;
    QByteArray script;
    QByteArray console;
};

QList<Step> steps(const QByteArray& firstAnswer = "9F17",
                  const QByteArray& lastAnswer = "986810315476981032049000")
{
    const auto command = [](const QString& apdu, const QByteArray& answer) {
        const QByteArray shown = answer.left(1023);
        return Step{QString("SendApduCommand %1 %2 buffer zero").arg(apdu.size()).arg(apdu),
                    "SendApduCommand 0 " + answer,
                    "发送APDU:" + apdu.toUtf8() + "\nn返回APDU:" + shown + "\n"};
    };
    return {{R"(OpenCardReader 1 "Generic EMV Smartcard Reader 0" tail zero)", "OpenCardReader 0",
             "打开设备端口成功"},
            {"CardPowerOn buffer zero", "CardPowerOn 0 3B9F96",
             "设备上电成功,ATR:3B 9F 96 " + QByteArray("00 ").repeated(29) + "\n"},
            command("A0A40000023F00", firstAnswer),
            command("A0A40000022FE2", "9F0F"),
            command("A0B000000A", lastAnswer),
            {"CardPowerOff", "CardPowerOff 0", "设备下电成功"},
            {"CloseCardReader", "CloseCardReader 0", "设备关闭成功"}};
}

} // namespace

class SimCardTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsEachStepThatFails_data()
    {
        addRows<int, QByteArray, QByteArray, QString>(
            {{"no reader", 1, "8010002E", "打开设备端口失败,返回:t_nRe = 8010002E\n",
              "打开设备端口失败"},
             {"no card", 2, "A", "设备上电失败,返回:t_nRe = 0000000A\n", "设备上电失败"},
             {"first command", 3, "FFFFFFFF", "设备APDU通讯失败,返回:t_nRe = FFFFFFFF\n",
              "设备APDU(A0A40000023F00)通讯失败"},
             {"second command", 4, "2", "设备APDU通讯失败,返回:t_nRe = 00000002\n",
              "设备APDU(A0A40000022FE2)通讯失败"},
             {"third command", 5, "80100069", "设备APDU通讯失败,返回:t_nRe = 80100069\n",
              "设备APDU(A0B000000A)通讯失败"},
             {"power-off", 6, "1", "设备下电失败", "设备下电失败"},
             {"close", 7, "1", "设备关闭失败", "设备关闭失败"}});
    }
    void tellsEachStepThatFails()
    {
        const auto [count, code, told, message] = row<int, QByteArray, QByteArray, QString>();
        QList<Step> taken = steps().mid(0, count);
        Step& last = taken.last();
        last.script = last.script.left(last.script.indexOf(' ') + 1) + code + " 9000";
        last.console = told;
        if (count > 1)
            taken << steps().last();
        taken.last().console = count > 1 ? "" : told; // the reader is closed without a word
        play(taken, {failure(message)});
    }

    void answersAndClosesTwiceWhenNothingFails_data()
    {
        const QByteArray usual = steps()[2].script.mid(18);
        const QByteArray iccid = steps()[4].script.mid(18);
        addRows<QByteArray, QByteArray, QString>(
            {{"a card", usual, iccid, number},
             {"a card with only a status", usual, "9404", ""},
             {"a response without an end", QByteArray(1024, '9'), iccid, number}});
    }
    void answersAndClosesTwiceWhenNothingFails()
    {
        const auto [first, last, data] = row<QByteArray, QByteArray, QString>();
        QList<Step> taken = steps(first, last);
        taken << Step{"CloseCardReader", "CloseCardReader 1", ""}; // whose result does not count
        play(taken, {success(data), success(data)});
    }

    void readsAndLosesRealCards()
    {
        PcscDaemon daemon;
        VirtualSimCard card;
        start();
        const auto ask = [this] {
            m_client.send(request);
            return m_client.text();
        };
        QCOMPARE(ask(), failure("打开设备端口失败"));
        QVERIFY(daemon.start(PcscDaemon::Reader::none));
        QCOMPARE(ask(), failure("打开设备端口失败"));
        daemon.kill();
        QVERIFY2(daemon.start(), qPrintable(daemon.log()));
        QCOMPARE(ask(), failure("设备上电失败"));
        QVERIFY(card.insert());
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(ask(), success(number));
            QCOMPARE(m_client.text(), success(number));
        }

        card.setBehaviour(QByteArray::fromHex("A0B0"), {VirtualSimCard::Behaviour::Kind::pulled});
        QCOMPARE(ask(), failure("设备APDU(A0B000000A)通讯失败"));
        card.setBehaviour(QByteArray::fromHex("A0B0"), {});
        card.setIccid(QByteArray::fromHex("98680000000000000091"));
        QVERIFY(card.insert());
        const QString other = success(R"("data":"89860000000000000019",)");
        QCOMPARE(ask(), other);
        QCOMPARE(m_client.text(), other);

        daemon.freeze(); // must not hold the other pages up
        QCOMPARE(ask(), failure("打开设备端口失败"));
        daemon.thaw();
        AWAIT_EQUAL(ask(), other); // asks more than once
        while (!m_client.silentFor(200))
            QCOMPARE(m_client.text(), other);
    }

    void finishesTheReadOfAPageThatLeft()
    {
        PcscDaemon daemon;
        VirtualSimCard card;
        QVERIFY2(daemon.start(), qPrintable(daemon.log()));
        card.setBehaviour(QByteArray::fromHex("A0B0"),
                          {VirtualSimCard::Behaviour::Kind::files, {}, 300});
        QVERIFY(card.insert());
        start();
        m_client.send(request);
        AWAIT_EQUAL(card.commands().size(), 3);
        m_client.abort();
        QVERIFY(m_service.waitForOutput("设备下电成功设备关闭成功"));
        AWAIT(!card.isPowered());
    }

    void cleanup()
    {
        QVERIFY(m_client.isOpen() || m_client.open());
        m_client.send("still served");
        QCOMPARE(m_client.text(), QString("still served"));
        QFile::remove("record");
        QFile::remove("script");
        m_client.close();
        m_service.stop();
        m_service.forgetOutput();
    }

private:
    void start(const QProcessEnvironment& environment = {})
    {
        QVERIFY(m_service.start(environment));
        QVERIFY(m_client.open());
    }

    /// A command on the scripted library: its calls, the console and the replies.
    void play(const QList<Step>& taken, const QStringList& replies)
    {
        QByteArray script;
        QStringList calls;
        QByteArray console;
        for (const Step& step : taken) {
            script += step.script + '\n';
            calls << step.call;
            console += step.console;
        }
        QFile file("script");
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(script) == script.size());
        file.close();
        QProcessEnvironment environment;
        environment.insert("LD_LIBRARY_PATH", DESK_BIN_DIR "/../scripted");
        environment.insert("DESK_CARD_SCRIPT", "script");
        environment.insert("DESK_CARD_RECORD", "record");
        start(environment);
        m_client.send(request);
        for (const QString& reply : replies)
            QCOMPARE(m_client.text(), reply);
        QVERIFY(m_client.silentFor(100));
        QFile record("record");
        QVERIFY(record.open(QIODevice::ReadOnly));
        QCOMPARE(QString(record.readAll()).split('\n', Qt::SkipEmptyParts), calls);
        QVERIFY(m_service.waitForOutput(console));
        QCOMPARE(m_service.standardOutput(), console);
        QVERIFY(m_service.waitForError("20220711\nZCSIMCard\nL_Error1\n"));
    }

    ServiceProcess m_service;
    DeskClient m_client;
};

QTEST_GUILESS_MAIN(SimCardTest)
#include "sim_card_test.moc"
