// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "simcard/sim_reader.h"
#include "tests/support/process_resources.h"
#include "tests/support/table.h"
#include "virtual/sim/pcsc_daemon.h"
#include "virtual/sim/sim_card.h"

#include <QElapsedTimer>
#include <QThread>

#include <winscard.h>

#include <algorithm>
#include <reader.h>
#include <thread>

using namespace virtual_desk;

namespace {

const QByteArray selectMasterFile = "A0A40000023F00";
const QByteArray readIccid = "A0B000000A";
const QByteArray reader = PcscDaemon::ReaderName;

const QString done = "00000000";
constexpr char guard = '\x5A';

// The code as the header documents it.
QString text(LONG code)
{
    return QString::asprintf("%08X", unsigned(code));
}

// The code; the name of the opened reader when it is not the one of the second argument.
QString open(const QByteArray& name = reader + " 0", const QByteArray& opened = {})
{
    const QByteArray wanted = name.leftJustified(256, '\0');
    QByteArray result(256, guard);
    const int code = OpenCardReader(1, wanted.constData(), result.data());
    return opened.isNull() || opened == result.constData() ? text(code)
                                                           : QString(result.constData());
}

QString powerOn(const QByteArray& answerToReset = VirtualSimCard::answerToReset())
{
    QByteArray answer(1024, guard);
    const int code = CardPowerOn(reinterpret_cast<unsigned char*>(answer.data()));
    return code != 0 || answer.startsWith(answerToReset + guard) ? text(code) : "wrong answer";
}

// The response, or the code of the failure in brackets.
QString send(const QByteArray& command, int length)
{
    QByteArray response(1024, guard);
    int received = -1;
    const int code = SendApduCommand(length, command.constData(), &received, response.data());
    const QByteArray answer = response.constData();
    if (received != answer.size() || (code != 0 && received != 0))
        return "wrong length";
    return code == 0 ? QString::fromLatin1(answer) : '<' + text(code) + '>';
}

QString send(const QByteArray& command)
{
    return send(command, static_cast<int>(command.size()));
}

// The codes and responses of calls one after the other: to open, on, off, close, or the command
// that is named.
QString call(const char* names)
{
    QStringList results;
    for (const QString& name : QString(names).split(' '))
        if (name == "open")
            results += open();
        else if (name == "on")
            results += powerOn();
        else if (name == "off")
            results += text(CardPowerOff());
        else if (name == "close")
            results += text(CloseCardReader());
        else
            results += send(name.toLatin1());
    return results.join(' ');
}

QStringList tasks()
{
    return QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
}

// Threads and open descriptors.
std::pair<int, int> held()
{
    return {tasks().size(), openDescriptors()};
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
        m_card.setAnswerToReset(VirtualSimCard::answerToReset());
        readAnswers({});
        m_daemon.kill();
        CloseCardReader();
    }

    void readsACard()
    {
        QCOMPARE(call("open on A0B000000A"), "00000000 8010000C <80100067>"); // no card yet
        QVERIFY(m_card.insert());
        const int powerOns = m_card.powerOns();
        QCOMPARE(open(), done);
        QCOMPARE(m_card.powerOns(), powerOns); // an opening leaves the card alone
        QCOMPARE(call("on A0A40000023F00 a0c0000006 A0A40000022FE2 A0B000000A"),
                 "00000000 9F17 0000020C3F009000 9F0F 986810315476981032049000");
        QCOMPARE(call("on A0B000000A"), "00000000 9400"); // no file is selected any more
        QCOMPARE(call("off A0B000000A off"), "00000000 <80100067> 80100067");
        QCOMPARE(call("close A0B000000A off close"), "00000000 <80100003> 80100003 00000000");
        QCOMPARE(QStringList({open(reader + " 1", reader + " 00 01"), open(reader + " 2", ""),
                              open(QByteArray(256, 'x'), "")}), // without a NUL
                 QStringList({done, "80100009", "80100009"}));
    }

    void speaksT1WithACardThatOffersNothingElse()
    {
        const QByteArray answer = QByteArray::fromHex("3B800181");
        m_card.setAnswerToReset(answer);
        QVERIFY(m_card.insert());
        QCOMPARE(open(), done);
        QCOMPARE(powerOn(answer), done);
        QCOMPARE(send(selectMasterFile), QString("9F17"));
    }

    // Without another program the daemon itself would soon power an idle card off.
    void sharesTheCardButNotWhileItIsPowered()
    {
        QVERIFY(m_card.insert());
        SCARDCONTEXT context = 0;
        SCARDHANDLE card = 0;
        DWORD protocol = 0;
        SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context);
        SCardConnect(context, (reader + " 00 00").constData(), SCARD_SHARE_SHARED,
                     SCARD_PROTOCOL_T0, &card, &protocol);
        QCOMPARE(call("open on"), "00000000 00000000");
        DWORD length = 0;
        QCOMPARE(text(SCardGetAttrib(card, SCARD_ATTR_ATR_STRING, nullptr, &length)),
                 QString("8010000B")); // sharing violation
        QCOMPARE(call("off"), done);
        QTRY_VERIFY_WITH_TIMEOUT(!m_card.isPowered(), 60000);
        QCOMPARE(powerOn(), done);
        QVERIFY(m_card.isPowered());
        QCOMPARE(call("close"), done);
        QTRY_VERIFY_WITH_TIMEOUT(!m_card.isPowered(), 60000);
        SCardReleaseContext(context);
    }

    void onlyItsOwnThreadBlocksTheSignals()
    {
        QCOMPARE(open(), done);
        int blocking = 0;
        for (const QString& thread : tasks()) {
            QFile status("/proc/self/task/" + thread + "/status");
            QVERIFY(status.open(QIODevice::ReadOnly));
            blocking += status.readAll().contains("SigBlk:\tfffffffe7ff") ? 1 : 0;
        }
        QCOMPARE(blocking, 1);
    }

    void saysWhatIsMissing()
    {
        makeReady();
        m_daemon.kill();
        QVERIFY(send(selectMasterFile).startsWith("<8010"));
        QCOMPARE(open(), QString("8010001D"));
        QVERIFY(m_daemon.start(PcscDaemon::Reader::none));
        QCOMPARE(call("open on A0B000000A off close"),
                 "8010002E 80100003 <80100003> 80100003 00000000");
        m_daemon.kill();
        QVERIFY(m_daemon.start());
        readAnswers({Kind::pulled});
        makeReady();
        QCOMPARE(send(readIccid), QString("<80100069>"));
        QVERIFY(send(selectMasterFile).startsWith("<8010"));
        QCOMPARE(call("close"), done);
        makeReady();
        QCOMPARE(send(selectMasterFile), QString("9F17"));
    }

    void refusesWrongCommands()
    {
        makeReady();
        const auto before = m_card.commands().size();
        const std::pair<QByteArray, int> wrong[] = {
            {readIccid, 12}, {readIccid, 8}, {readIccid, 9},   {"A0B000000G", 10},
            {"A0B000", 6},   {"", 0},        {readIccid, -10}, {QByteArray(524, '0'), 524}};
        for (const auto& [command, length] : wrong)
            QCOMPARE(send(command, length), QString("<80100004>"));
        char buffer[1024] = {};
        const char* const command = readIccid.constData();
        int length = 0;
        for (const int code :
             {OpenCardReader(1, nullptr, buffer), CardPowerOn(nullptr),
              OpenCardReader(1, buffer, nullptr), SendApduCommand(10, nullptr, &length, buffer),
              SendApduCommand(10, command, nullptr, buffer),
              SendApduCommand(10, command, &length, nullptr)})
            QCOMPARE(text(code), QString("80100004"));
        QCOMPARE(m_card.commands().size(), before);
        for (const int characters : {8, 522}) { // the shortest and the longest
            send(QByteArray(characters, '0'));
            QCOMPARE(m_card.commands().last(), QByteArray(characters / 2, '\0'));
        }
    }

    void givesResponsesAsTheyAre()
    {
        const std::pair<QByteArray, QString> responses[] = {
            {"\x6C\x0A", "6C0A"},
            {"\xAB\xCD\x90\x05", "ABCD9005"},
            {QByteArray(511, '\xAB'), QString("AB").repeated(511)},
            {QByteArray(512, '\xAB'), "<80100008>"}, // one more than the buffer takes
            {"\x90", "<80100069>"}};
        for (const auto& [response, result] : responses) {
            readAnswers({Kind::bytes, response});
            makeReady();
            QCOMPARE(send(readIccid), result);
        }
    }

    void comesBackFromAHang_data()
    {
        addRows<bool, bool>({{"daemon hangs at the opening", false, true},
                             {"daemon hangs at a command", true, true},
                             {"card hangs at a command", true, false}});
    }

    void comesBackFromAHang()
    {
        const auto [powered, daemonHangs] = row<bool, bool>();
        makeReady();
        if (daemonHangs)
            m_daemon.freeze();
        else
            readAnswers({Kind::files, {}, 12000}); // later than anybody waits
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(powered ? send(readIccid) : '<' + open() + '>', QString("<8010000A>"));
        const qint64 hang = timer.elapsed();
        QVERIFY2(powered || hang >= 4990, qPrintable(QString::number(hang)));

        // As long as it hangs, an opening fails sooner, and nothing piles up.
        const auto before = held();
        QCOMPARE(call("A0B000000A close"), "<80100003> 00000000");
        qint64 shortest = hang;
        for (int i = 0; i < 3; ++i) {
            timer.start();
            QCOMPARE(open(), QString("8010000A"));
            shortest = std::min(shortest, timer.elapsed());
        }
        QVERIFY2(shortest >= 490 && shortest < hang, qPrintable(QString::number(shortest)));
        QCOMPARE(held(), before);
        m_daemon.thaw();
        readAnswers({});
        makeReady();
        QCOMPARE(call("A0A40000022FE2 A0B000000A"), "9F0F 986810315476981032049000");
    }

    void theCallsOfOneOpeningShareOneBound()
    {
        for (int i = 0; i < 2; ++i) { // the next opening has a bound of its own
            readAnswers({Kind::bytes, "ok", 3000});
            makeReady();
            QThread::sleep(3); // what the caller does in between does not count
            QCOMPARE(call("A0B000000A A0B000000A close"), "6F6B <8010000A> 00000000");
        }
    }

    void severalThreadsLeaveNothingBehind()
    {
        QVERIFY(m_card.insert());
        const auto calls = [] {
            for (int i = 0; i < 10; ++i)
                call("open on A0A40000023F00 open on off close"); // an opening closes what is open
        };
        call("close");
        const auto before = held();
        std::thread other(calls);
        calls();
        other.join();
        QCOMPARE(call("open on close"), "00000000 00000000 00000000");
        QCOMPARE(held(), before);
    }

private:
    using Kind = VirtualSimCard::Behaviour::Kind;

    void readAnswers(const VirtualSimCard::Behaviour& behaviour)
    {
        m_card.setBehaviour(QByteArray::fromHex(readIccid), behaviour);
    }

    // The card lies in the reader and is powered.
    void makeReady()
    {
        QVERIFY(m_card.insert());
        QTRY_COMPARE_WITH_TIMEOUT(open(), done, 60000);
        QCOMPARE(powerOn(), done);
    }

    PcscDaemon m_daemon;
    VirtualSimCard m_card;
};

QTEST_GUILESS_MAIN(CardReaderTest)
#include "card_reader_test.moc"
