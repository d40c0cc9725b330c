// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "simcard/sim_reader.h"

#include "virtual/sim/pcsc_daemon.h"
#include "virtual/sim/sim_card.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <array>
#include <cstring>
#include <thread>

using namespace virtual_desk;

namespace {

const char defaultName[] = "Generic EMV Smartcard Reader 0";
const char selectMasterFile[] = "A0A40000023F00";
const char selectIccid[] = "A0A40000022FE2";
const char readIccid[] = "A0B000000A";

constexpr char guard = '\x5A';

// The code as the header documents it.
QString text(int code)
{
    return QString::asprintf("%08X", unsigned(code));
}

struct Opened
{
    QString code;
    QString reader;
};

Opened open(const char* name = defaultName)
{
    std::array<char, 256> wanted{};
    std::array<char, 256> result{};
    result.fill(guard);
    std::strncpy(wanted.data(), name, wanted.size() - 1);
    const int code = OpenCardReader(1, wanted.data(), result.data());
    return {text(code), QString::fromUtf8(result.data())};
}

QString powerOn()
{
    std::array<unsigned char, 1024> atr{};
    return text(CardPowerOn(atr.data()));
}

// The response, or the code of the failure in brackets.
QString send(const QByteArray& command, int length)
{
    std::array<char, 1024 + 16> response{};
    response.fill(guard);
    int received = -1;
    const int code = SendApduCommand(length, command.constData(), &received, response.data());
    const QByteArray text = response.data();
    for (std::size_t i = 1024; i < response.size(); ++i)
        if (response[i] != guard)
            return "overrun";
    if (received != text.size() || (code != 0 && received != 0))
        return "wrong length";
    return code == 0 ? QString::fromLatin1(text) : '<' + ::text(code) + '>';
}

QString send(const QByteArray& command)
{
    return send(command, static_cast<int>(command.size()));
}

int entries(const char* directory)
{
    return static_cast<int>(
        QDir(directory).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size());
}

} // namespace

class CardReaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY2(m_daemon.start(), qPrintable(m_daemon.log())); }

    void cleanup()
    {
        m_card.pull();
        for (const char* command : {selectMasterFile, selectIccid, readIccid})
            m_card.setBehaviour(QByteArray::fromHex(command), {});
        m_daemon.kill();
        CloseCardReader();
    }

    void readsACard()
    {
        QVERIFY(m_card.insert());
        QCOMPARE(open().code, QString("00000000"));
        std::array<unsigned char, 1024> atr{};
        atr.fill(0x5A);
        QCOMPARE(CardPowerOn(atr.data()), 0);
        const QByteArray expected = VirtualSimCard::answerToReset();
        QCOMPARE(QByteArray(reinterpret_cast<char*>(atr.data()), expected.size() + 1),
                 expected + char(0x5A));
        QCOMPARE(send(selectMasterFile), QString("9F17"));
        QCOMPARE(send("a0c0000006"), QString("0000020C3F009000"));
        QCOMPARE(send(selectIccid), QString("9F0F"));
        QCOMPARE(send(readIccid), QString("986810315476981032049000"));
        QCOMPARE(text(CardPowerOff()), QString("00000000"));
        QTRY_VERIFY(!m_card.isPowered());
        QCOMPARE(send(readIccid), QString("<80100067>"));
        QCOMPARE(text(CardPowerOff()), QString("80100067"));
        QCOMPARE(powerOn(), QString("00000000"));
        QCOMPARE(send(readIccid), QString("9400")); // powered off means forgotten
        QCOMPARE(text(CloseCardReader()), QString("00000000"));
        QTRY_VERIFY2(!m_card.isPowered(), "closing must power the card off");
        QCOMPARE(text(CloseCardReader()), QString("00000000"));
    }

    void findsTheReaderByItsName_data()
    {
        QTest::addColumn<QByteArray>("wanted");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("opened");
        const QString name = PcscDaemon::readerName;
        const QByteArray base = PcscDaemon::readerName;
        QTest::newRow("first") << base + " 0" << "00000000" << name + " 00 00";
        QTest::newRow("second") << base + " 1" << "00000000" << name + " 00 01";
        QTest::newRow("exact") << base + " 00 01" << "00000000" << name + " 00 01";
        QTest::newRow("third") << base + " 2" << "80100009"
                               << "";
        QTest::newRow("unknown") << QByteArray("Contact Reader 0") << "80100009"
                                 << "";
        QTest::newRow("no NUL") << QByteArray(255, 'x') << "80100009"
                                << "";
    }

    void findsTheReaderByItsName()
    {
        QFETCH(QByteArray, wanted);
        QFETCH(QString, code);
        QFETCH(QString, opened);
        const Opened result = open(wanted.constData());
        QCOMPARE(result.code, code);
        QCOMPARE(result.reader, opened);
    }

    void opensWithoutACard()
    {
        QCOMPARE(open().code, QString("00000000"));
        QCOMPARE(powerOn(), QString("8010000C"));
        QCOMPARE(send(readIccid), QString("<80100067>"));
        QCOMPARE(text(CloseCardReader()), QString("00000000"));
    }

    void openingLeavesTheCardAlone()
    {
        QVERIFY(m_card.insert());
        const int before = m_card.powerOns();
        const auto commands = m_card.commands().size();
        QCOMPARE(open().code, QString("00000000"));
        QTest::qWait(50);
        QCOMPARE(m_card.powerOns(), before);
        QCOMPARE(m_card.commands().size(), commands);
    }

    void saysWhenThereIsNoReader()
    {
        m_daemon.kill();
        QCOMPARE(open().code, QString("8010001D"));
        QVERIFY(m_daemon.start(PcscDaemon::Reader::none));
        QCOMPARE(open().code, QString("8010002E"));
        QCOMPARE(powerOn(), QString("80100003"));
        QCOMPARE(send(readIccid), QString("<80100003>"));
        QCOMPARE(text(CardPowerOff()), QString("80100003"));
        QCOMPARE(text(CloseCardReader()), QString("00000000"));
    }

    void refusesWrongCommands_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<int>("length");
        QTest::newRow("odd") << QByteArray("A0B000000") << 9;
        QTest::newRow("not hexadecimal") << QByteArray("A0B000000G") << 10;
        QTest::newRow("shorter than said") << QByteArray("A0B000000A") << 12;
        QTest::newRow("longer than said") << QByteArray("A0B000000A") << 8;
        QTest::newRow("no header") << QByteArray("A0B000") << 6;
        QTest::newRow("nothing") << QByteArray() << 0;
        QTest::newRow("negative") << QByteArray("A0B000000A") << -10;
        QTest::newRow("too long") << QByteArray(524, '0') << 524;
    }

    void refusesWrongCommands()
    {
        QFETCH(QByteArray, command);
        QFETCH(int, length);
        QVERIFY(m_card.insert());
        open();
        QCOMPARE(powerOn(), QString("00000000"));
        const auto before = m_card.commands().size();
        QCOMPARE(send(command, length), QString("<80100004>"));
        QCOMPARE(m_card.commands().size(), before);
        QCOMPARE(send(selectMasterFile), QString("9F17"));
    }

    void refusesNullPointers()
    {
        char buffer[1024] = {};
        int length = 0;
        QCOMPARE(text(OpenCardReader(1, nullptr, buffer)), QString("80100004"));
        QCOMPARE(text(OpenCardReader(1, buffer, nullptr)), QString("80100004"));
        QCOMPARE(text(CardPowerOn(nullptr)), QString("80100004"));
        QCOMPARE(text(SendApduCommand(10, nullptr, &length, buffer)), QString("80100004"));
        QCOMPARE(text(SendApduCommand(10, readIccid, nullptr, buffer)), QString("80100004"));
        QCOMPARE(text(SendApduCommand(10, readIccid, &length, nullptr)), QString("80100004"));
    }

    void givesResponsesAsTheyAre_data()
    {
        QTest::addColumn<QByteArray>("response");
        QTest::addColumn<QString>("result");
        for (const char* status : {"9F17", "6110", "6C0A", "6A82", "ABCD9000"})
            QTest::newRow(status) << QByteArray::fromHex(status) << status;
        QTest::newRow("the longest") << QByteArray(258, '\xAB') << QString("AB").repeated(258);
        QTest::newRow("too long for the buffer") << QByteArray(512, '\xAB') << "<80100008>";
        QTest::newRow("half a status word") << QByteArray(1, '\x90') << "<80100069>";
    }

    void givesResponsesAsTheyAre()
    {
        QFETCH(QByteArray, response);
        QFETCH(QString, result);
        m_card.setBehaviour(QByteArray::fromHex(readIccid),
                            {VirtualSimCard::Behaviour::Kind::bytes, response});
        QVERIFY(m_card.insert());
        open();
        QCOMPARE(powerOn(), QString("00000000"));
        QCOMPARE(send(readIccid), result);
    }

    void noticesACardPulledDuringACommand()
    {
        m_card.setBehaviour(QByteArray::fromHex(readIccid),
                            {VirtualSimCard::Behaviour::Kind::pulled});
        QVERIFY(m_card.insert());
        open();
        powerOn();
        QCOMPARE(send(selectMasterFile), QString("9F17"));
        QCOMPARE(send(readIccid), QString("<80100069>"));
        QVERIFY(send(selectMasterFile).startsWith("<8010"));
        CloseCardReader();
        m_card.setBehaviour(QByteArray::fromHex(readIccid), {});
        QVERIFY(m_card.insert());
        QCOMPARE(open().code, QString("00000000"));
        QCOMPARE(powerOn(), QString("00000000"));
        QCOMPARE(send(selectIccid), QString("9F0F"));
    }

    void worksAgainAfterTheDaemonWasRestarted()
    {
        QVERIFY(m_card.insert());
        open();
        powerOn();
        m_daemon.kill();
        QVERIFY(send(selectMasterFile).startsWith("<8010"));
        CloseCardReader();
        QCOMPARE(text(CloseCardReader()), QString("00000000"));
        QVERIFY(m_daemon.start());
        QVERIFY(m_card.insert());
        QCOMPARE(open().code, QString("00000000"));
        QCOMPARE(powerOn(), QString("00000000"));
        QCOMPARE(send(selectMasterFile), QString("9F17"));
    }

    void comesBackFromAHang_data()
    {
        QTest::addColumn<bool>("powered");
        QTest::addColumn<bool>("daemonHangs");
        QTest::newRow("daemon hangs at the opening") << false << true;
        QTest::newRow("daemon hangs at a command") << true << true;
        QTest::newRow("card hangs at a command") << true << false;
    }

    void comesBackFromAHang()
    {
        QFETCH(bool, powered);
        QFETCH(bool, daemonHangs);
        QVERIFY(m_card.insert());
        if (powered) {
            open();
            QCOMPARE(powerOn(), QString("00000000"));
        }
        if (daemonHangs)
            m_daemon.freeze();
        else
            m_card.setBehaviour(QByteArray::fromHex(readIccid),
                                {VirtualSimCard::Behaviour::Kind::files, {}, 60000});
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(powered ? send(readIccid) : '<' + open().code + '>', QString("<8010000A>"));
        QVERIFY2(timer.elapsed() < 5500, qPrintable(QString::number(timer.elapsed())));

        // As long as it hangs, nothing takes long any more and nothing piles up.
        const int threads = entries("/proc/self/task");
        const int descriptors = entries("/proc/self/fd");
        timer.start();
        QCOMPARE(send(readIccid), QString("<80100003>"));
        QCOMPARE(text(CloseCardReader()), QString("00000000"));
        QVERIFY(timer.elapsed() < 100);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(open().code, QString("8010000A"));
        QVERIFY(timer.elapsed() < 2000);
        QCOMPARE(entries("/proc/self/task"), threads);
        QCOMPARE(entries("/proc/self/fd"), descriptors);

        m_daemon.thaw();
        m_card.setBehaviour(QByteArray::fromHex(readIccid), {});
        if (!daemonHangs)
            QVERIFY(m_card.insert());
        QTRY_COMPARE(open().code, QString("00000000"));
        QTRY_COMPARE(powerOn(), QString("00000000"));
        QCOMPARE(send(selectIccid), QString("9F0F"));
        QCOMPARE(send(readIccid), QString("986810315476981032049000"));
    }

    void theCallsOfOneOpeningShareOneBound()
    {
        const VirtualSimCard::Behaviour slow{VirtualSimCard::Behaviour::Kind::files, {}, 2000};
        for (const char* command : {selectMasterFile, selectIccid, readIccid})
            m_card.setBehaviour(QByteArray::fromHex(command), slow);
        QVERIFY(m_card.insert());
        for (int i = 0; i < 2; ++i) { // the next opening has a bound of its own
            QTRY_COMPARE(open().code, QString("00000000"));
            QCOMPARE(powerOn(), QString("00000000"));
            QCOMPARE(send(selectMasterFile), QString("9F17"));
            QCOMPARE(send(selectIccid), QString("9F0F"));
            QCOMPARE(send(readIccid), QString("<8010000A>"));
            QCOMPARE(text(CloseCardReader()), QString("00000000"));
        }
    }

    void repeatedReadsLeaveNothingBehind()
    {
        QVERIFY(m_card.insert());
        int threads = 0;
        int descriptors = 0;
        for (int i = 0; i < 40; ++i) {
            if (i == 2) {
                threads = entries("/proc/self/task");
                descriptors = entries("/proc/self/fd");
            }
            QCOMPARE(open().code, QString("00000000"));
            QCOMPARE(powerOn(), QString("00000000"));
            QCOMPARE(send(selectIccid), QString("9F0F"));
            if (i % 2 == 0)
                QCOMPARE(text(CardPowerOff()), QString("00000000"));
            if (i % 4 != 0) // an opening closes what is open
                QCOMPARE(text(CloseCardReader()), QString("00000000"));
        }
        CloseCardReader();
        QCOMPARE(entries("/proc/self/task"), threads);
        QCOMPARE(entries("/proc/self/fd"), descriptors);
    }

    void takesCallsFromSeveralThreads()
    {
        QVERIFY(m_card.insert());
        const auto calls = [] {
            for (int i = 0; i < 20; ++i) {
                open();
                powerOn();
                send(selectMasterFile);
                CloseCardReader();
            }
        };
        std::thread first(calls);
        std::thread second(calls);
        first.join();
        second.join();
        QCOMPARE(open().code, QString("00000000"));
    }

private:
    PcscDaemon m_daemon;
    VirtualSimCard m_card;
};

QTEST_GUILESS_MAIN(CardReaderTest)
#include "card_reader_test.moc"
