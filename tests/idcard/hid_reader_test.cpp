// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/hid_reader.h"
#include "tests/support/output_capture.h"
#include "virtual/readers/identity_reader_hid.h"

#include <QElapsedTimer>
#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

using namespace virtual_desk;

namespace {

constexpr unsigned char untouched = 0xEE;
constexpr int recordBytes = 256 + 1024 + 1024; // text, photo, fingerprints
char port[] = "USB1";

QByteArray pattern(int bytes)
{
    QByteArray data(bytes, '\0');
    for (int i = 0; i < bytes; ++i)
        data[i] = static_cast<char>(i * 7 + i / 251 + 1);
    return data;
}

QString reportLine(const char* direction, const char* hex)
{
    const QByteArray report = QByteArray::fromHex(hex).leftJustified(32, '\0', true);
    return QString::fromLatin1(direction) + QString::fromLatin1(report.toHex(' ').toUpper());
}

QString sent(const char* hex)
{
    return reportLine("control 21 09 0000 0000: ", hex);
}

QString received(const char* hex)
{
    return reportLine("control A1 01 3000 0000: ", hex);
}

} // namespace

class HidReaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_kernel = std::make_unique<VirtualKernel>(); }

    void init()
    {
        m_reader = std::make_unique<IdentityReaderHid>(*m_kernel);
        m_reader->putCard(pattern(2304));
        m_reader->plug();
        m_card = std::make_unique<HidIDCard>();
        OutputCapture output;
        m_handle = m_card->ICC_Reader_Open(port);
        m_openOutput = output.take();
        QVERIFY(m_handle > 0);
        m_openLog = m_reader->log();
        m_reader->clearLog();
        m_reader->resetFaults();
        m_data.assign(recordBytes + 1, untouched);
    }

    void cleanup()
    {
        m_card.reset();
        m_reader.reset();
    }

    void openTakesTheReaderFromTheKernel()
    {
        QCOMPARE(m_openLog, QStringList({"detach 0", "claim 0"}));
        QCOMPARE(m_openOutput,
                 "libusb_init ok 19\n4 ok 40\nKernel Driver Active 46\nKernel Driver Detached 48\n"
                 "libusb_claim_interface ok 64\nReaderHandle:" +
                     QByteArray::number(qlonglong{m_handle}) + " 66\n");
        QCOMPARE(m_card->ICC_Reader_Close(m_handle), 0);
        QCOMPARE(m_card->ICC_Reader_Close(m_handle), 0);
        HidIDCard second;
        OutputCapture output;
        const long handle = second.ICC_Reader_Open(port);
        QCOMPARE(output.take(), "libusb_init ok 19\n4 ok 40\nlibusb_claim_interface ok 64\n"
                                "ReaderHandle:" +
                                    QByteArray::number(qlonglong{handle}) + " 66\n");
    }

    void openWithoutAReaderFails()
    {
        m_reader->unplug();
        HidIDCard card;
        OutputCapture output;
        OutputCapture errors(stderr);
        errno = ENOENT;
        QCOMPARE(card.ICC_Reader_Open(port), -1L);
        QVERIFY(errors.take().startsWith("libusb_open_device_with_pid_vid: "));
        QCOMPARE(output.take(),
                 QByteArray("libusb_init ok 19\nlibusb_open_device_with_pid_vid err 34\n"));
    }

    void openOfABusyReaderFails()
    {
        constexpr long busy = -6;
        HidIDCard card;
        OutputCapture output;
        OutputCapture errors(stderr);
        QCOMPARE(card.ICC_Reader_Open(port), busy); // m_card has it
        QVERIFY(errors.take().contains("libusb_claim_interface: "));
        QCOMPARE(output.take(),
                 QByteArray("libusb_init ok 19\n4 ok 40\nlibusb_claim_interface err 61\n"));
        QCOMPARE(card.PICC_Reader_ID_Request(busy), -12L);
        QCOMPARE(card.ICC_Reader_Close(busy), 0);
    }

    void aCardIsRequestedSelectedAndRead()
    {
        m_reader->putCard("photo");
        QCOMPARE(m_card->PICC_Reader_ID_Request(m_handle), 0L);
        QCOMPARE(m_card->PICC_Reader_ID_Select(m_handle), 0L);
        QCOMPARE(m_card->PICC_Reader_ID_Read(m_handle, m_data.data()), 0L);
        QCOMPARE(m_reader->log(),
                 QStringList({sent("0208000100B0B9"), received("02"), sent("0208000100B1B8"),
                              received("02"), sent("0208000100B4BD"),
                              received("020000050070686F746F")}));
        QCOMPARE(QByteArray(reinterpret_cast<char*>(m_data.data()), 6), QByteArray("photo\xEE"));
    }

    void resultBytesAreJudgedDifferently_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<long>("request");
        QTest::addColumn<long>("select");
        QTest::newRow("0") << 0 << 0L << 0L;
        QTest::newRow("1") << 1 << -2L << -2L;
        QTest::newRow("2") << 2 << -2L << 0L;
        QTest::newRow("255") << 255 << -2L << 0L;
    }

    void resultBytesAreJudgedDifferently()
    {
        QFETCH(int, result);
        m_reader->setResult(IdentityReaderHid::RequestCard, result);
        m_reader->setResult(IdentityReaderHid::SelectCard, result);
        QTEST(m_card->PICC_Reader_ID_Request(m_handle), "request");
        QTEST(m_card->PICC_Reader_ID_Select(m_handle), "select");
    }

    void invalidHandlesAreRefused()
    {
        for (const long handle : {0L, -1L, -12L}) {
            QCOMPARE(m_card->PICC_Reader_ID_Request(handle), -12L);
            QCOMPARE(m_card->PICC_Reader_ID_Select(handle), -12L);
            QCOMPARE(m_card->PICC_Reader_ID_Read(handle, m_data.data()), -12L);
        }
        m_card->ICC_Reader_Close(m_handle); // a stale handle is a failed transfer, which passes
        QCOMPARE(m_card->PICC_Reader_ID_Request(m_handle), 0L);
        QVERIFY(m_card->HidD_GetFeature(m_handle, m_data.data(), 32) < 0);
        QVERIFY(m_card->HidD_GetFeature(1, m_data.data(), 32) < 0);
        QCOMPARE(m_reader->log(), QStringList());
    }

    void onlyATransferThatMovesNothingFails_data()
    {
        QTest::addColumn<int>("transfer");
        QTest::addColumn<bool>("moved");
        QTest::addColumn<long>("request");
        QTest::addColumn<long>("read");
        QTest::newRow("nothing sent") << 0 << true << -15L << 0L;
        QTest::newRow("nothing received") << 1 << true << -15L << -15L;
        QTest::newRow("error while sending") << 0 << false << 0L << 0L;
        QTest::newRow("error while receiving") << 1 << false << 0L << 0L;
    }

    void onlyATransferThatMovesNothingFails()
    {
        QFETCH(int, transfer);
        QFETCH(bool, moved);
        UsbAnswer answer = UsbAnswer::stall();
        if (moved)
            answer = transfer == 0 ? UsbAnswer::accept(0) : UsbAnswer::data({});
        m_reader->replaceTransfer(transfer, answer);
        QTEST(m_card->PICC_Reader_ID_Request(m_handle), "request");
        m_reader->resetFaults();
        m_reader->replaceTransfer(transfer, answer);
        QTEST(m_card->PICC_Reader_ID_Read(m_handle, m_data.data()), "read");
        QCOMPARE(m_data.front(), untouched);
    }

    void messagesOfEveryLengthArriveUpToARecord_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<int>("reports");
        const auto row = [](int length, int reports) {
            QTest::addRow("%d", length) << length << reports;
        };
        row(0, 1);
        row(1, 1);
        row(27, 1);
        row(28, 2);
        row(27 + 31, 2);
        row(27 + 32, 3);
        row(27 + 31 + 5, 3);
        row(27 + 62, 3);
        row(27 + 63, 4);
        row(1280, 42);
        row(recordBytes, 75);
        row(recordBytes + 1, 75); // from here on the end is cut off, and not read
        row(65535, 75);
    }

    void messagesOfEveryLengthArriveUpToARecord()
    {
        QFETCH(int, length);
        const QByteArray message = pattern(length);
        m_reader->setRawReply(IdentityReaderHid::reportsOf(message));
        unsigned stated = 0;
        unsigned char command[8] = {0x02, 0x08, 0x00, 0x01, 0x00, 0xB4, 0xBD};
        QCOMPARE(m_card->SetUsbMsg(m_handle, command, sizeof(command)), 0);
        QCOMPARE(m_card->GetUsbMsg(m_handle, m_data.data(), &stated), 0);
        QCOMPARE(stated, static_cast<unsigned>(length));
        QTEST(static_cast<int>(m_reader->log().size()) - 1, "reports");
        const QByteArray kept = message.left(recordBytes);
        QCOMPARE(QByteArray(reinterpret_cast<char*>(m_data.data()), kept.size()), kept);
        QCOMPARE(m_data[static_cast<std::size_t>(kept.size())], untouched);
    }

    void oddRepliesAreTakenAsTheyAre_data()
    {
        QTest::addColumn<QList<QByteArray>>("reports");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("reads");
        QTest::addColumn<QByteArray>("written"); // up to its last byte, then untouched
        const auto row = [](const char* name, QList<QByteArray> reports, int result, int reads,
                            const QByteArray& written) {
            QTest::newRow(name) << reports << result << reads << written;
        };
        const QByteArray full(27, 'a');
        const auto head = [](const char* hex) { return QByteArray::fromHex(hex); };
        row("single with more than a report holds", {head("020000FF00") + full}, 0, 1,
            full + QByteArray(255 - 27, '\0'));
        row("single ignores the high byte", {head("0200000207") + "xy"}, 0, 1, "xy");
        row("neither single nor first", {head("0300000500") + full}, 0, 1, "");
        row("first of none", {head("8200000000") + full, "x"}, 0, 2, full);
        row("first shorter than itself", {head("8200001A00") + full, "x"}, 0, 2, full);
        row("first alone", {head("8200001B00") + full, "x"}, 0, 2, full);
        row("error status", {head("020001")}, -20, 1, "");
        row("another error status", {head("8200FF1B00") + full}, -20, 1, "");
    }

    void oddRepliesAreTakenAsTheyAre()
    {
        QFETCH(QList<QByteArray>, reports);
        QFETCH(int, result);
        QFETCH(QByteArray, written);
        m_reader->setRawReply(reports);
        QCOMPARE(m_card->PICC_Reader_ID_Read(m_handle, m_data.data()), long{result});
        QTEST(static_cast<int>(m_reader->log().size()) - 1, "reads");
        QCOMPARE(QByteArray(reinterpret_cast<char*>(m_data.data()), written.size()), written);
        QCOMPARE(m_data[static_cast<std::size_t>(written.size())], untouched);
    }

    void aContinuationThatMovesNothingFails()
    {
        m_reader->replaceTransfer(3, UsbAnswer::data({})); // command, two reports, then this one
        QCOMPARE(m_card->PICC_Reader_ID_Read(m_handle, m_data.data()), -15L);
    }

    void aBusyReaderIsWaitedFor()
    {
        m_reader->putCard("ready");
        m_reader->setBusyReplies(40);
        QCOMPARE(m_card->PICC_Reader_ID_Read(m_handle, m_data.data()), 0L);
        QCOMPARE(m_reader->log().size(), 1 + 40 + 1);
        QCOMPARE(QByteArray(reinterpret_cast<char*>(m_data.data()), 5), QByteArray("ready"));
    }

    void pullingABusyReaderEndsTheWait()
    {
        m_reader->setBusyReplies(-1);
        std::thread hand([this] {
            while (m_reader->log().size() < 100)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            m_reader->unplug();
        });
        QCOMPARE(m_card->PICC_Reader_ID_Read(m_handle, m_data.data()), 0L);
        hand.join();
        QCOMPARE(m_data.front(), untouched);
    }

    void aSilentReaderIsGivenASecondForEachReport()
    {
        m_reader->replaceTransfersFrom(0, UsbAnswer::never());
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(m_card->PICC_Reader_ID_Request(m_handle), 0L);
        QVERIFY2(clock.elapsed() >= 1980, qPrintable(QString::number(clock.elapsed())));
    }

    void longMessagesAreSentInSeveralReports_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<QList<QByteArray>>("reports");
        const QByteArray m = pattern(100);
        QTest::newRow("negative") << -1 << QList<QByteArray>{""};
        QTest::newRow("nothing") << 0 << QList<QByteArray>{""};
        QTest::newRow("8") << 8 << QList<QByteArray>{m.left(8)};
        QTest::newRow("32") << 32 << QList<QByteArray>{m.left(32)};
        const QByteArray start = '\x82' + m.mid(1, 31);
        QTest::newRow("33") << 33 << QList<QByteArray>{start, '\x02' + m.mid(32, 1)};
        QTest::newRow("63") << 63 << QList<QByteArray>{start, '\x02' + m.mid(32, 31)};
        QTest::newRow("64") << 64
                            << QList<QByteArray>{start, '\x82' + m.mid(32, 31),
                                                 '\x02' + m.mid(63, 1)};
        QTest::newRow("100") << 100
                             << QList<QByteArray>{start, '\x82' + m.mid(32, 31),
                                                  '\x82' + m.mid(63, 31), '\x02' + m.mid(94, 6)};
    }

    void longMessagesAreSentInSeveralReports()
    {
        QFETCH(int, length);
        QFETCH(QList<QByteArray>, reports);
        QByteArray message = pattern(100);
        auto* bytes = reinterpret_cast<unsigned char*>(message.data());
        QCOMPARE(m_card->SetUsbMsg(m_handle, bytes, length), 0);
        QStringList lines;
        for (const QByteArray& report : std::as_const(reports))
            lines += sent(report.toHex().constData());
        QCOMPARE(m_reader->log(), lines);
        m_reader->replaceTransfer(2 * static_cast<int>(lines.size()) - 1,
                                  UsbAnswer::accept(0)); // the last one
        QCOMPARE(m_card->SetUsbMsg(m_handle, bytes, length), -15);
    }

    void theCombinedReadFillsNothing_data()
    {
        QTest::addColumn<int>("failing");
        QTest::addColumn<int>("result");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("no card") << 0xB0 << 244 << QByteArray("无卡");
        QTest::newRow("not selected") << 0xB1 << 252 << QByteArray("?");
        QTest::newRow("not read") << 0xB4 << 252 << QByteArray("?");
        QTest::newRow("read") << 0 << 0 << QByteArray("?");
    }

    void theCombinedReadFillsNothing()
    {
        QFETCH(int, failing);
        m_reader->setResult(static_cast<IdentityReaderHid::Command>(failing), 1);
        if (failing == IdentityReaderHid::ReadCard)
            m_reader->setRawReply({QByteArray::fromHex("020001")});
        char texts[12][8];
        for (char* text : texts)
            qstrcpy(text, "?");
        unsigned char photo[] = {untouched};
        int photoLength = -1;
        QTEST(m_card->PICC_Reader_ReadMsg(m_handle, texts[0], texts[1], texts[2], texts[3],
                                          texts[4], texts[5], texts[6], texts[7], texts[8],
                                          texts[9], texts[10], texts[11], photo, &photoLength),
              "result");
        QTEST(QByteArray(texts[11]), "message");
        QVERIFY(std::all_of(texts, texts + 11, [](const char* t) { return qstrcmp(t, "?") == 0; }));
        QCOMPARE(photo[0], untouched);
        QCOMPARE(photoLength, -1);
    }

private:
    std::unique_ptr<VirtualKernel> m_kernel;
    std::unique_ptr<IdentityReaderHid> m_reader;
    std::unique_ptr<HidIDCard> m_card;
    long m_handle = 0;
    QByteArray m_openOutput;
    QStringList m_openLog;
    std::vector<unsigned char> m_data;
};

QTEST_GUILESS_MAIN(HidReaderTest)
#include "hid_reader_test.moc"
