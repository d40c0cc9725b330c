// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idcard/usb_reader.h"
#include "tests/support/output_capture.h"
#include "tests/support/table.h"
#include "virtual/readers/identity_reader_usb.h"

#include <QElapsedTimer>
#include <QRegularExpression>

#include <functional>
#include <limits>
#include <memory>
#include <set>
#include <sys/resource.h>
#include <thread>

using namespace virtual_desk;

namespace {

using R = ReadIDCard;
using Reader = IdentityReaderUsb;
constexpr Reader::Module m0501 = Reader::Module0501;
constexpr Reader::Module m0503 = Reader::Module0503;

constexpr char untouched = '\xEE';
const char number[] = "0503000133A1B2C3D4E5F60708090A0B";

// What the operations fill.
struct Outputs
{
    char sam[33] = "as it was";
    QByteArray data = QByteArray(R::CardDataBytes, untouched);
    int fingerprintFlag = 0;
};

template <auto Operation>
int call(R& reader, libusb_device_handle* handle, Outputs& out)
{
    using Type = decltype(Operation);
    if constexpr (std::is_invocable_v<Type, R&, libusb_device_handle*>)
        return (reader.*Operation)(handle);
    else if constexpr (std::is_invocable_v<Type, R&, libusb_device_handle*, char*>)
        return (reader.*Operation)(handle, out.sam);
    else
        return (reader.*Operation)(handle, reinterpret_cast<unsigned char*>(out.data.data()),
                                   &out.fingerprintFlag);
}

// An operation, its code and its patience in seconds for each transfer that is not answered. A
// frame that the second module does not take on one endpoint goes to another.
struct Operation
{
    int (*run)(R&, libusb_device_handle*, Outputs&);
    Reader::Module module;
    std::vector<int> codes;
    std::vector<int> seconds;
};
const Operation operations[] = {
    {call<&R::getIDSAM0501>, m0501, {-2, -3, -4, -5}, {1, 1, 1, 1}},
    {call<&R::findCard0501>, m0501, {-100, -101, -102, -103}, {3, 3, 1, 1}},
    {call<&R::selectCard0501>, m0501, {-110, -111, -112, -113}, {1, 1, 1, 1}},
    {call<&R::readCardData0501>, m0501, {-120, -121, -122, -123}, {1, 1, 3, 3}},
    {call<&R::getIDSAM0503>, m0503, {0, -32}, {1, 1}},
    {call<&R::selectCard0503>, m0503, {0, -311}, {3, 1}},
    {call<&R::findCard0503>, m0503, {0, -301}, {1, 1}},
    {call<&R::readCardData0503>, m0503, {0, -321}, {1, 1}},
};
enum { Sam0501, Find0501, Select0501, Read0501, Sam0503, Select0503, Find0503, Read0503 };

// As long as a card's text and photo.
const QByteArray plainCard = QByteArray("0123456789ABCDEFGHIJKLMNOPQRSTU").repeated(42).left(1280);

// Opens and claims the one reader that nobody has opened yet.
libusb_device_handle* openNewReader()
{
    static std::set<int> known;
    libusb_device** devices = nullptr;
    const ssize_t count = libusb_get_device_list(nullptr, &devices);
    libusb_device_handle* handle = nullptr;
    for (ssize_t i = 0; i < count; ++i) {
        libusb_device_descriptor descriptor{};
        libusb_get_device_descriptor(devices[i], &descriptor);
        if (descriptor.idVendor == UsbReader::vendorId &&
            known.insert(libusb_get_device_address(devices[i])).second &&
            libusb_open(devices[i], &handle) == 0)
            libusb_claim_interface(handle, UsbReader::interfaceNumber);
    }
    libusb_free_device_list(devices, 1);
    return handle;
}

} // namespace

class UsbReaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_kernel = std::make_unique<VirtualKernel>(); }

    void init() { m_reader = newReader(m0501); }

    void cleanup() { m_reader.reset(); }

    void aReplyIsJudgedByItsStatus_data()
    {
        constexpr int find = Reader::FindCard;
        constexpr int select = Reader::SelectCard;
        addRows<int, int, QByteArray, int, QString>({
            {"0501 no number", Sam0501, Reader::GetSamNumber, "000066", 0, ""},
            {"0501 no card", Find0501, find, "000080", -104, ""},
            {"0501 another status", Find0501, find, "010080", 0, ""},
            {"0501 found", Find0501, find, "000081", 0, ""},
            {"0501 not selected", Select0501, select, "FFFFFFFFFFFFFF000081", -114, ""},
            {"0501 selected", Select0501, select, "000081000000000000800081", 0, ""},
            {"0501 read", Read0501, Reader::ReadCard, "000090", 0, ""},
            {"0501 not read", Read0501, Reader::ReadCard, "000091", -124, ""},
            {"0501 first byte", Read0501, Reader::ReadCard, "010090", -124, ""},
            {"0501 second byte", Read0501, Reader::ReadCard, "000190", -124, ""},
            {"0501 short", Read0501, Reader::ReadCard, "0000", -124, ""},
            {"0503 no number", Sam0503, Reader::GetSamNumber, "000066", 0, ""},
            {"0503 no card", Select0503, find, "000080", -312, ""},
            {"0503 found", Select0503, find, "000081", 0, ""},
            {"0503 not selected", Find0503, select, "000081", -302, ""},
            {"0503 selected", Find0503, select, "000080", 0, ""},
            {"0503 not read", Read0503, Reader::ReadCard, "410291", -322, "41 02 91"},
            {"0503 short", Read0503, Reader::ReadCard, "", -322, "00 00 00"},
        });
    }

    void aReplyIsJudgedByItsStatus()
    {
        const auto [tried, command, status, code, line] = row<int, int, QByteArray, int, QString>();
        const QByteArray header = QByteArray::fromHex("AAAAAA96690004");
        const QByteArray body = QByteArray::fromHex(status);
        m_reader->setModule(operations[tried].module);
        m_reader->setRawReply(static_cast<Reader::Command>(command),
                              tried < Sam0503 ? header : header + body, body);
        const LogCapture log;
        QCOMPARE(run(tried), code);
        QCOMPARE(LogCapture::lines().join(""), line);
        QCOMPARE(m_out.sam, "as it was");
        QVERIFY(m_out.data == Outputs().data);
    }

    void aFrameThatNoEndpointTakesIsNotWritten()
    {
        m_reader->setModule(m0503);
        m_reader->replaceTransfersFrom(0, UsbAnswer::stall());
        const LogCapture log;
        for (const auto& [tried, code] :
             {std::pair(Sam0503, -31), {Select0503, -310}, {Find0503, -300}, {Read0503, -320}})
            QCOMPARE(run(tried), code);
        QCOMPARE(LogCapture::lines(),
                 QStringList("libusb_bulk_transfer(0x01) write failed:[0] \n"));
    }

    void theStatedLengthNeverReachesBeyondTheReply_data()
    {
        addRows<int, int, int, int>({
            {"0501 nothing", Read0501, 8, 0, 0},
            {"0501 one byte", Read0501, 9, 1, 0},
            {"0501 a plain card", Read0501, 1288, 1280, 0},
            {"0501 fingerprints", Read0501, 1289, 1281, 1},
            {"0501 all of the reply", Read0501, 4103, 4095, 1},
            {"0501 more", Read0501, 4104, 4095, 1},
            {"0501 most", Read0501, 65535, 4095, 1},
            {"0503 nothing", Read0503, 4, 0, 0},
            {"0503 one byte", Read0503, 5, 1, 0},
            {"0503 a plain card", Read0503, 1284, 1280, 0},
            {"0503 fingerprints", Read0503, 1285, 1281, 1},
            {"0503 all of the reply", Read0503, 4090, 4086, 1},
            {"0503 most", Read0503, 65535, 4086, 1},
        });
    }

    void theStatedLengthNeverReachesBeyondTheReply()
    {
        const auto [tried, stated, copied, flag] = row<int, int, int, int>();
        m_reader->setModule(operations[tried].module);
        m_reader->setStatedReadLength(stated);
        QCOMPARE(run(tried), 0);
        QCOMPARE(m_out.fingerprintFlag, flag);
        const QByteArray lengths =
            QByteArray::fromHex(tried == Read0501 ? "009001000400" : "010004000000");
        const int sent = lengths.size() + plainCard.size() + 1; // and a check byte
        const QByteArray data = m_out.data;
        const QByteArray expected = (lengths + plainCard).left(copied);
        QCOMPARE(data.left(expected.size()), expected);
        QCOMPARE(data.mid(sent, std::max(0, copied - sent)).count('\0'),
                 std::max(0, copied - sent)); // nothing arrived there
        QVERIFY(data.mid(copied) == Outputs().data.mid(copied));
    }

    void theSecondModuleTakesFramesOnItsOtherEndpoint()
    {
        m_reader->setModule(m0503);
        m_reader->setFramesOnSecondEndpointOnly(true);
        QCOMPARE(run(Select0503), 0);
        QCOMPARE(m_reader->log(),
                 QStringList({"claim 0", "out 01: AA AA AA 96 69 00 03 20 01 22: EPIPE",
                              "out 02: AA AA AA 96 69 00 03 20 01 22",
                              "in 81: AA AA AA 96 69 00 04 00 00 90 94", "release 0"}));
    }

    void aWholeReadKeepsItsOrder_data()
    {
        addRows<bool, QString, QString, QString>({
            {"0501", true,
             "claim 0,out 02: H 00 03,out 06: 12 FF EE,in 81: H 00 14,in 85: 00 00 90 05 03 00,"
             "out 02: H 00 03,out 06: 20 01 22,in 81: H 00 04,in 85: 00 00 90 94,"
             "out 02: H 00 03,out 06: 20 02 21,in 81: H 00 04,in 85: H 00 04 00 00 90,"
             "out 02: H 00 03,out 06: 30 01 32,in 81: H 05 08,in 85: 00 00 90 01 00 04,release 0",
             "开始获取0501模块SAMOID,获取0501模块SAMOID成功,获取0501-SAMID成功,N",
             "AA AA AA 96 69 00 14 "},
            {"0503", false,
             "claim 0,out 02: H 00 03,out 01: H 00 03 12 FF EE,in 81: H 00 14 00 00 90,"
             "out 01: H 00 03 20 01 22,in 81: H 00 04 00 00 90,out 01: H 00 03 20 02 21,"
             "in 81: H 00 04 00 00 90,out 01: H 00 03 30 10 23,in 81: H 05 0A 00 00 90,release 0",
             "开始获取0501模块SAMOID,getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[1] \n,"
             "获取0501模块SAMID失败，开始获取0503模块SAMOID,获取0503-SAMID成功,N,findCard0503,"
             "寻卡成功,selectCard0503,选卡成功,readCardData0503,01 00 04 00,AA AA AA 96,读卡成功",
             ""},
        });
    }

    void aWholeReadKeepsItsOrder()
    {
        auto [first, wire, log, printed] = row<bool, QString, QString, QString>();
        m_reader->setModule(first ? m0501 : m0503);
        R reader;
        const Outcome outcome = read(reader);
        QCOMPARE(outcome.result, 131001);
        QCOMPARE(outcome.message, QStringLiteral("获取SAMID成功"));
        QCOMPARE(outcome.printed, printed + "ret = 3\n");
        QCOMPARE(outcome.log.filter("居民").join("").remove("居民二代证"),
                 QString("122.12.22.32.42.52.62.73--"));
        QCOMPARE(outcome.log.join(',').remove(QRegularExpression(",居民[^,]*")),
                 log.replace(",N", ',' + QString(number)) +
                     ",读取二代证成功，并开始解析数据,读卡4  \n,退出并释放 libUSb 资源");
        QStringList seen = m_reader->log().replaceInStrings("AA AA AA 96 69", "H");
        for (QString& line : seen)
            line = line.left(24).trimmed();
        QCOMPARE(seen.join(','), wire);
        QCOMPARE(reader.isModule0501(), first);
        QCOMPARE(reader.samNumber(), number);
        m_reader->setModule(m0501); // each read finds the module out anew
        read(reader);
        QVERIFY(reader.isModule0501());
    }

    void everyFailureOfAReadHasItsResult()
    {
        const QString none = "libusb_open_device_with_vid_pid(0x0400, 0xC35A) failed \n";
        const QString held = "libusb_claim_interface(0) \n";
        const std::tuple<std::function<void()>, int, QString, QString> failures[] = {
            {[] {}, 431003, "init USB failed", "ZCStartDeviceAB"},
            {[this] { m_reader->takeCard(); }, 431004, "read card failed", "读卡失败"},
            {[this] { m_reader->replaceTransfersFrom(0, UsbAnswer::stall()); }, 0,
             "获取0503模块SAMID失败", "libusb_bulk_transfer(0x01) write failed:[0] \n"},
            {[this] { m_reader->setHeldElsewhere(true); }, 431003, held,
             "libusb_claim_interface(0) failed:[0] \n"},
            {[this] { m_reader->unplug(); }, 431003, none, none},
        };
        for (const auto& [fail, result, message, lastLine] : failures) {
            fail();
            m_info->name[0] = '!';
            R reader;
            const Outcome outcome = read(reader, lastLine == "ZCStartDeviceAB");
            QCOMPARE(outcome.result, result);
            QCOMPARE(outcome.message, message);
            QCOMPARE(outcome.log.last(), lastLine);
            QVERIFY(reader.isModule0501());
            QCOMPARE(m_info->name[0], '!');
            m_reader->resetFaults();
        }
    }

    // Every operation waits for every one of its transfers, all at the same time on readers of
    // their own, because the longest wait takes three seconds.
    void everyTransferIsGivenItsTime()
    {
        struct Attempt
        {
            const Operation& operation;
            std::size_t transfer;
            std::unique_ptr<Reader> reader;
            libusb_device_handle* handle = nullptr;
            int code = 1;
            qint64 milliseconds = 0;
        };
        m_reader->unplug();
        bool inOrder = false;
        const auto measure = [&] {
            QCOMPARE(libusb_init(nullptr), 0);
            std::vector<Attempt> attempts;
            for (const Operation& operation : operations) {
                for (std::size_t transfer = 0; transfer < operation.codes.size(); ++transfer) {
                    Attempt attempt{operation, transfer, newReader(operation.module)};
                    attempt.reader->replaceTransfer(int(transfer), UsbAnswer::never());
                    attempt.handle = openNewReader();
                    attempts.push_back(std::move(attempt));
                }
            }
            const LogCapture log;
            OutputCapture output;
            std::vector<std::thread> threads;
            for (Attempt& attempt : attempts) {
                threads.emplace_back([&attempt] {
                    R reader;
                    Outputs out;
                    QElapsedTimer clock;
                    clock.start();
                    attempt.code = attempt.operation.run(reader, attempt.handle, out);
                    attempt.milliseconds = clock.elapsed();
                });
            }
            for (std::thread& thread : threads)
                thread.join();
            output.take();
            QStringList lines = LogCapture::lines().filter("failed");
            lines.sort();
            QCOMPARE(lines,
                     QStringList({"getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[0] \n",
                                  "getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[1] \n",
                                  "getIDSAM0501-libusb_bulk_transfer(0x81) read failed:[2] \n",
                                  "libusb_bulk_transfer(0x81) read failed:[1] \n",
                                  "libusb_bulk_transfer(0x81) read failed:[3] \n"}));
            // A busy machine makes every wait longer and sometimes mixes them up; waits of a second
            // that are given three are never the shorter ones.
            qint64 longestSecond = 0;
            qint64 shortestThree = std::numeric_limits<qint64>::max();
            for (const Attempt& attempt : attempts) {
                libusb_close(attempt.handle);
                const int seconds = attempt.operation.seconds[attempt.transfer];
                QCOMPARE(attempt.code, attempt.operation.codes[attempt.transfer]);
                QVERIFY2(attempt.milliseconds >= seconds * 1000 - 20,
                         qPrintable(QString::number(attempt.code)));
                if (seconds == 1)
                    longestSecond = std::max(longestSecond, attempt.milliseconds);
                else
                    shortestThree = std::min(shortestThree, attempt.milliseconds);
            }
            inOrder = longestSecond < shortestThree;
            libusb_exit(nullptr);
        };
        for (int i = 0; i < 5 && !inOrder && !QTest::currentTestFailed(); ++i)
            measure();
        QVERIFY(inOrder);
    }

private:
    std::unique_ptr<Reader> newReader(Reader::Module module)
    {
        auto reader = std::make_unique<Reader>(*m_kernel, module);
        reader->putCard(plainCard);
        reader->plug();
        return reader;
    }

    // Runs one operation on an opened and claimed reader.
    int run(int operation)
    {
        UsbReader::Session session;
        if (!session.initialise() || !session.open() || !session.claim())
            return 1;
        m_out = {};
        R reader;
        OutputCapture output;
        return operations[operation].run(reader, session.handle(), m_out);
    }

    struct Outcome
    {
        int result;
        QString message;
        QStringList log;
        QString printed;
    };

    Outcome read(R& reader, bool withoutDescriptors = false)
    {
        char message[R::MessageBytes] = {};
        const LogCapture log;
        OutputCapture output;
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit none{0, limit.rlim_max};
        if (withoutDescriptors)
            setrlimit(RLIMIT_NOFILE, &none);
        const int result = reader.readCard(m_info.get(), message);
        setrlimit(RLIMIT_NOFILE, &limit);
        return {result, QString::fromUtf8(message), LogCapture::lines(), output.take()};
    }

    std::unique_ptr<IDINFO> m_info = std::make_unique<IDINFO>();
    std::unique_ptr<VirtualKernel> m_kernel;
    std::unique_ptr<Reader> m_reader;
    Outputs m_out;
};

QTEST_GUILESS_MAIN(UsbReaderTest)
#include "usb_reader_test.moc"
