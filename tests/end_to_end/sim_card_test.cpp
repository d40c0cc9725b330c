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
const QByteArray iccid = "986810315476981032049000";

QString success(const QString& data = R"("data":"89860113456789012340",)")
{
    return R"({"_tflag":"s",)" + data +
           R"("functionName":"ZCSIMCard","msg":"获取SIM卡ICCID成功","success":1})";
}

QString failure(const QString& message)
{
    return R"({"_tflag":"s","functionName":"ZCSIMCard","msg":")" + message + R"(","success":0})";
}

} // namespace

class SimCardTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void doesAndTellsEachStep_data()
    {
        // clang-format off
        addRows<int, QByteArray, QByteArray, QString>({ // failing step, its code, console, message
            {"no reader", 0, "8010002E", "打开设备端口失败,返回:t_nRe = 8010002E\n", "打开设备端口失败"},
            {"no card", 1, "A", "设备上电失败,返回:t_nRe = 0000000A\n", "设备上电失败"},
            {"first command", 2, "FFFFFFFF", "设备APDU通讯失败,返回:t_nRe = FFFFFFFF\n", "设备APDU(A0A40000023F00)通讯失败"},
            {"second command", 3, "2", "设备APDU通讯失败,返回:t_nRe = 00000002\n", "设备APDU(A0A40000022FE2)通讯失败"},
            {"third command", 4, "80100069", "设备APDU通讯失败,返回:t_nRe = 80100069\n", "设备APDU(A0B000000A)通讯失败"},
            {"power-off", 5, "1", "设备下电失败", "设备下电失败"},
            {"close", 6, "1", "设备关闭失败", "设备关闭失败"},
            {"no failure", 7, iccid, "", ""},
            {"no failure, only a status", 7, "9404", "", ""}});
        // clang-format on
    }
    void doesAndTellsEachStep()
    {
        const auto [failing, code, told, message] = row<int, QByteArray, QByteArray, QString>();
        // The first response has no NUL in its 1024 characters.
        // clang-format off
        const QList<QByteArray> answers{"", "3B9F96", QByteArray(1024, '9'), "9F0F", failing == 7 ? code : iccid, "", ""};
        const QString text = "打开设备端口成功|设备上电成功,ATR:3B 9F 96 " + QString("00 ").repeated(29) + "\n|"
            "发送APDU:A0A40000023F00\nn返回APDU:" + QString(1023, '9') + "\n|发送APDU:A0A40000022FE2\nn返回APDU:9F0F\n|"
            "发送APDU:A0B000000A\nn返回APDU:" + answers[4] + "\n|设备下电成功|设备关闭成功";
        const QString record = R"(OpenCardReader 1 "Generic EMV Smartcard Reader 0" tail zero|CardPowerOn buffer zero|)"
            "SendApduCommand 14 A0A40000023F00 buffer zero|SendApduCommand 14 A0A40000022FE2 buffer zero|"
            "SendApduCommand 10 A0B000000A buffer zero|CardPowerOff|CloseCardReader";
        // clang-format on
        QStringList calls = record.split('|').mid(0, failing + 1);
        QByteArray script;
        QByteArray output;
        for (int i = 0; i < calls.size(); ++i) {
            const QByteArray result = i == failing ? code + " 9000" : "0 " + answers[i];
            script += calls[i].section(' ', 0, 0).toUtf8() + ' ' + result + '\n';
            output += i == failing ? told : text.section('|', i, i).toUtf8();
        }
        if (failing > 0)
            calls
                << "CloseCardReader"; // after a failure; nothing is printed, its result is ignored
        QFile file("script");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(script + "CloseCardReader 1\n");
        file.close();
        QProcessEnvironment environment;
        environment.insert("LD_LIBRARY_PATH", DESK_BIN_DIR "/../scripted");
        environment.insert("DESK_CARD_SCRIPT", "script");
        environment.insert("DESK_CARD_RECORD", "record");
        QFile::remove("record");
        QVERIFY(m_service.start(environment) && m_client.open());
        const QString read = code == iccid ? success() : success("");
        QCOMPARE(ask(), failing == 7 ? read : failure(message));
        if (failing == 7)
            QCOMPARE(m_client.text(), read); // a success is sent twice
        QVERIFY(m_client.silentFor(100));
        QFile recorded("record");
        QVERIFY(recorded.open(QIODevice::ReadOnly));
        QCOMPARE(QString(recorded.readAll()).split('\n', Qt::SkipEmptyParts), calls);
        QVERIFY(m_service.waitForOutput(output));
        QCOMPARE(m_service.standardOutput(), output);
        QVERIFY(m_service.waitForError("20220711\nZCSIMCard\nL_Error1\n"));
    }

    void readsRealCards()
    {
        PcscDaemon daemon;
        VirtualSimCard card;
        QVERIFY(m_service.start() && m_client.open());
        QCOMPARE(ask(), failure("打开设备端口失败"));
        QVERIFY2(daemon.start(), qPrintable(daemon.log()));
        QCOMPARE(ask(), failure("设备上电失败"));
        QVERIFY(card.insert());
        for (int i = 0; i < 4; ++i)
            QCOMPARE(i % 2 == 0 ? ask() : m_client.text(), success());

        // The read of a page that leaves is finished.
        card.setBehaviour(QByteArray::fromHex("A0B0"),
                          {VirtualSimCard::Behaviour::Kind::files, {}, 300});
        m_service.forgetOutput();
        const int before = card.commands().size();
        m_client.send(request);
        AWAIT_EQUAL(card.commands().size(), before + 3);
        m_client.abort();
        QVERIFY(m_service.waitForOutput("设备下电成功设备关闭成功"));
        AWAIT(!card.isPowered());
    }

    void cleanup()
    {
        QVERIFY(m_client.isOpen() || m_client.open());
        m_client.send("still served");
        QCOMPARE(m_client.text(), QString("still served"));
        m_client.close();
        m_service.stop();
        m_service.forgetOutput();
    }

private:
    QString ask()
    {
        m_client.send(request);
        return m_client.text();
    }

    ServiceProcess m_service;
    DeskClient m_client;
};

QTEST_GUILESS_MAIN(SimCardTest)
#include "sim_card_test.moc"
