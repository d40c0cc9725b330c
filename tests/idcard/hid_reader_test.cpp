// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/hid_reader.h"
#include "tests/support/output_capture.h"
#include "virtual/readers/identity_reader_hid.h"

#include <QElapsedTimer>
#include <QTest>

#include <cerrno>
#include <memory>
#include <thread>

using namespace virtual_desk;

namespace {

constexpr unsigned char untouched = 0xEE;
constexpr int recordBytes = 256 + 1024 + 1024; // text, photo, fingerprints
char port[] = "USB1";

QByteArray pattern(int bytes)
{
    return QByteArray("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZa").repeated(1 + bytes / 37).left(bytes);
}

QString sent(const QByteArray& report)
{
    return "control 21 09 0000 0000: " +
           QString(report.leftJustified(32, '\0').toHex(' ').toUpper());
}

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
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
        OutputCapture output;
        m_handle = m_card->ICC_Reader_Open(port); // closes what is open
        QCOMPARE(output.take(), "libusb_init ok 19\n4 ok 40\nlibusb_claim_interface ok 64\n"
                                "ReaderHandle:" +
                                    QByteArray::number(qlonglong{m_handle}) + " 66\n");
        QCOMPARE(m_card->ICC_Reader_Close(m_handle), 0);
        QCOMPARE(m_card->ICC_Reader_Close(m_handle), 0);
    }

    void openFailsWithoutAReaderOrOnABusyOne()
    {
        HidIDCard card;
        OutputCapture errors(stderr);
        OutputCapture output;
        QCOMPARE(card.ICC_Reader_Open(port), -6L); // m_card has claimed it
        QCOMPARE(card.PICC_Reader_ID_Request(-6), -12L);
        QCOMPARE(card.ICC_Reader_Close(-6), 0);
        m_reader->unplug();
        errno = ENOENT;
        QCOMPARE(card.ICC_Reader_Open(port), -1L);
        QCOMPARE(output.take(), QByteArray("libusb_init ok 19\n4 ok 40\nlibusb_claim_interface err "
                                           "61\nlibusb_init ok 19\n"
                                           "libusb_open_device_with_pid_vid err 34\n"));
        const QByteArray reasons = errors.take();
        QVERIFY(reasons.contains("libusb_claim_interface: "));
        QVERIFY(reasons.contains("libusb_open_device_with_pid_vid: "));
    }

    void resultBytesAreJudgedDifferently()
    {
        for (const int result : {0, 1, 2, 255}) {
            m_reader->setResult(IdentityReaderHid::RequestCard, result);
            m_reader->setResult(IdentityReaderHid::SelectCard, result);
            QCOMPARE(m_card->PICC_Reader_ID_Request(m_handle), result == 0 ? 0L : -2L);
            QCOMPARE(m_card->PICC_Reader_ID_Select(m_handle), result == 1 ? -2L : 0L);
        }
    }

    void invalidHandlesAreRefused()
    {
        for (const long handle : {0L, -1L, -12L}) {
            QCOMPARE(m_card->PICC_Reader_ID_Request(handle), -12L);
            QCOMPARE(m_card->PICC_Reader_ID_Select(handle), -12L);
            QCOMPARE(m_card->PICC_Reader_ID_Read(handle, m_data.data()), -12L);
        }
        QVERIFY(m_card->HidD_GetFeature(m_handle + 1, m_data.data(), 32) < 0);
        // On a closed handle a transfer fails; only one that moves nothing is an error.
        m_card->ICC_Reader_Close(m_handle);
        QCOMPARE(m_card->PICC_Reader_ID_Request(m_handle), 0L);
        QVERIFY(m_card->HidD_GetFeature(m_handle, m_data.data(), 32) < 0);
        QCOMPARE(m_reader->log(), QStringList());
    }

    void onlyATransferThatMovesNothingFails()
    {
        // The transfer, its answer, and the results of request and select, and of read.
        const std::tuple<int, UsbAnswer, long, long> cases[] = {
            {0, UsbAnswer::accept(0), -15, 0}, {1, UsbAnswer::data({}), -15, -15},
            {0, UsbAnswer::stall(), 0, 0},     {1, UsbAnswer::stall(), 0, 0},
            {3, UsbAnswer::data({}), 0, -15}, // in the middle of the data
        };
        for (const auto& [transfer, answer, addressed, read] : cases) {
            const auto prepare = [&, transfer = transfer, &answer = answer] {
                m_reader->resetFaults();
                m_reader->replaceTransfer(transfer, answer);
            };
            prepare();
            QCOMPARE(m_card->PICC_Reader_ID_Request(m_handle), addressed);
            prepare();
            QCOMPARE(m_card->PICC_Reader_ID_Select(m_handle), addressed);
            QCOMPARE(m_data.front(), untouched);
            prepare();
            QCOMPARE(m_card->PICC_Reader_ID_Read(m_handle, m_data.data()), read);
        }
    }

    void repliesOfEveryKindAndLengthAreTakenUpToARecord()
    {
        const auto ofLength = [](int bytes) {
            return IdentityReaderHid::reportsOf(pattern(bytes));
        };
        const QByteArray full(27, 'a');
        // The reports, the result, how many are read, and what is written.
        const std::tuple<QList<QByteArray>, long, int, QByteArray> replies[] = {
            {ofLength(0), 0, 1, ""},
            {ofLength(27), 0, 1, pattern(27)},
            {ofLength(28), 0, 2, pattern(28)},
            {ofLength(27 + 31), 0, 2, pattern(27 + 31)},
            {ofLength(27 + 32), 0, 3, pattern(27 + 32)},
            {ofLength(recordBytes + 1), 0, 75, pattern(recordBytes)},
            {{hex("020000FF00") + full}, 0, 1, full + QByteArray(228, 0)}, // single, of 255 bytes
            {{hex("0200000207") + "xy"}, 0, 1, "xy"}, // single: the length's high byte is ignored
            {{hex("0300000500") + full}, 0, 1, ""},   // neither single nor first
            {{hex("8200000000") + full, "x"}, 0, 2, full}, // first of none
            {{hex("8200001B00") + full, "x"}, 0, 2, full}, // first alone
            {{hex("020001")}, -20, 1, ""},                 // error status
        };
        for (const auto& [reports, result, reads, written] : replies) {
            m_reader->setRawReply(reports);
            m_reader->clearLog();
            m_data.assign(recordBytes + 1, untouched);
            QCOMPARE(m_card->PICC_Reader_ID_Read(m_handle, m_data.data()), result);
            QCOMPARE(m_reader->log().size() - 1, reads);
            QCOMPARE(QByteArray(reinterpret_cast<char*>(m_data.data()), written.size()), written);
            QCOMPARE(m_data[std::size_t(written.size())], untouched);
        }
        unsigned char command[8] = {0x02, 0x08, 0x00, 0x01, 0x00, 0xB4, 0xBD};
        unsigned stated = 0;
        m_reader->setRawReply(ofLength(recordBytes + 1));
        QCOMPARE(m_card->SetUsbMsg(m_handle, command, sizeof(command)), 0);
        QCOMPARE(m_card->GetUsbMsg(m_handle, m_data.data(), &stated), 0);
        QCOMPARE(stated, unsigned{recordBytes + 1});
    }

    void aSilentReaderIsGivenASecondForEachReport()
    {
        m_reader->replaceTransfersFrom(0, UsbAnswer::never());
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(m_card->PICC_Reader_ID_Request(m_handle), 0L);
        QVERIFY2(clock.elapsed() >= 1980, qPrintable(QString::number(clock.elapsed())));
    }

    void longMessagesAreSentInSeveralReports()
    {
        const QByteArray m = pattern(64);
        const std::pair<int, QList<QByteArray>> messages[] = {
            {32, {m.left(32)}},
            {63, {'\x82' + m.mid(1, 31), '\x02' + m.mid(32, 31)}},
            {64, {'\x82' + m.mid(1, 31), '\x82' + m.mid(32, 31), '\x02' + m.mid(63, 1)}}};
        for (const auto& [length, reports] : messages) {
            QByteArray message = m;
            auto* bytes = reinterpret_cast<unsigned char*>(message.data());
            QStringList lines;
            for (const QByteArray& each : reports)
                lines += sent(each);
            m_reader->clearLog();
            QCOMPARE(m_card->SetUsbMsg(m_handle, bytes, length), 0);
            QCOMPARE(m_reader->log(), lines);
            for (int failing = 0; failing < reports.size(); ++failing) {
                m_reader->resetFaults();
                m_reader->replaceTransfer(failing, UsbAnswer::accept(0));
                QCOMPARE(m_card->SetUsbMsg(m_handle, bytes, length), -15);
            }
            m_reader->resetFaults();
        }
    }

    void theCombinedReadFillsNothing()
    {
        for (const auto& [failing, result, message] :
             {std::tuple(0, 0, "?"), {0xB4, 252, "?"}, {0xB1, 252, "?"}, {0xB0, 244, "无卡"}}) {
            m_reader->setResult(static_cast<IdentityReaderHid::Command>(failing), 1);
            if (failing == IdentityReaderHid::ReadCard)
                m_reader->setRawReply({hex("020001")});
            char t[] = "?";
            char told[8] = "?";
            unsigned char photo[] = {untouched};
            int photoLength = -1;
            QCOMPARE(m_card->PICC_Reader_ReadMsg(m_handle, t, t, t, t, t, t, t, t, t, t, t, told,
                                                 photo, &photoLength),
                     result);
            QCOMPARE(told, message);
            QCOMPARE(t, "?");
            QCOMPARE(photo[0], untouched);
            QCOMPARE(photoLength, -1);
        }
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
