// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idcard/usb_reader.h"
#include "tests/support/output_capture.h"
#include "virtual/readers/identity_reader_usb.h"

#include <QElapsedTimer>
#include <QtTest>

#include <algorithm>
#include <limits>
#include <memory>
#include <set>
#include <sys/resource.h>
#include <thread>
#include <utility>
#include <vector>

using namespace virtual_desk;

namespace {

using Module = IdentityReaderUsb::Module;
constexpr Module m0501 = IdentityReaderUsb::Module0501;
constexpr Module m0503 = IdentityReaderUsb::Module0503;

using CardData = std::vector<unsigned char>;

struct Operation
{
    const char* name;
    Module module;
    int32_t (*run)(ReadIDCard&, libusb_device_handle*, CardData&);
};

char samText[33];
int fingerprintFlag;

// The operations in the order of their tables of results.
const Operation operations[] = {
    {"getIDSAM0501", m0501,
     [](ReadIDCard& r, auto* h, CardData&) { return r.getIDSAM0501(h, samText); }},
    {"findCard0501", m0501, [](ReadIDCard& r, auto* h, CardData&) { return r.findCard0501(h); }},
    {"selectCard0501", m0501,
     [](ReadIDCard& r, auto* h, CardData&) { return r.selectCard0501(h); }},
    {"readCardData0501", m0501,
     [](ReadIDCard& r, auto* h, CardData& d) {
         return r.readCardData0501(h, d.data(), &fingerprintFlag);
     }},
    {"getIDSAM0503", m0503,
     [](ReadIDCard& r, auto* h, CardData&) { return r.getIDSAM0503(h, samText); }},
    {"selectCard0503", m0503,
     [](ReadIDCard& r, auto* h, CardData&) { return r.selectCard0503(h); }},
    {"findCard0503", m0503, [](ReadIDCard& r, auto* h, CardData&) { return r.findCard0503(h); }},
    {"readCardData0503", m0503,
     [](ReadIDCard& r, auto* h, CardData& d) {
         return r.readCardData0503(h, d.data(), &fingerprintFlag);
     }},
};

const Operation& operation(const char* name)
{
    return *std::find_if(std::begin(operations), std::end(operations),
                         [name](const Operation& o) { return qstrcmp(o.name, name) == 0; });
}

constexpr unsigned char untouched = 0xEE;

// Runs one operation on an opened and claimed reader.
int32_t run(const Operation& operation, CardData& data)
{
    UsbReader::Session session;
    if (!session.initialise() || !session.open() || !session.claim())
        return 1;
    ReadIDCard reader;
    data.assign(ReadIDCard::CardDataBytes, untouched);
    fingerprintFlag = 0;
    return operation.run(reader, session.handle(), data);
}

QByteArray cardOf(int bytes)
{
    QByteArray card(bytes, '\0');
    for (int i = 0; i < bytes; ++i)
        card[i] = static_cast<char>(i * 7 + i / 251);
    return card;
}

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

const QByteArray plainCard = cardOf(1280);
const QByteArray fingerprintCard = cardOf(2304);

} // namespace

class UsbReaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_kernel = std::make_unique<VirtualKernel>(); }

    void init()
    {
        m_reader = std::make_unique<IdentityReaderUsb>(*m_kernel, m0501);
        m_reader->putCard(plainCard);
        m_reader->plug();
    }

    void cleanup()
    {
        m_reader->unplug();
        m_reader.reset();
    }

    void everyTransferThatFailsHasItsCodeAndLog_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QList<int>>("failing");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("line");
        const auto row = [](const char* name, QList<int> failing, int code, const char* line = "") {
            QTest::addRow("%s %d", name, code) << name << failing << code << line;
        };
        row("getIDSAM0501", {0}, -2, "getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[0] \n");
        row("getIDSAM0501", {1}, -3, "getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[1] \n");
        row("getIDSAM0501", {2}, -4, "getIDSAM0501-libusb_bulk_transfer(0x81) read failed:[2] \n");
        row("getIDSAM0501", {3}, -5, "libusb_bulk_transfer(0x81) read failed:[3] \n");
        row("getIDSAM0503", {0, 1}, -31, "libusb_bulk_transfer(0x01) write failed:[0] \n");
        row("getIDSAM0503", {1}, -32, "libusb_bulk_transfer(0x81) read failed:[1] \n");
        for (int i = 0; i < 4; ++i) {
            row("findCard0501", {i}, -100 - i);
            row("selectCard0501", {i}, -110 - i);
            row("readCardData0501", {i}, -120 - i);
        }
        row("findCard0503", {0, 1}, -300);
        row("findCard0503", {1}, -301);
        row("selectCard0503", {0, 1}, -310);
        row("selectCard0503", {1}, -311);
        row("readCardData0503", {0, 1}, -320);
        row("readCardData0503", {1}, -321);
    }

    void everyTransferThatFailsHasItsCodeAndLog()
    {
        QFETCH(QString, name);
        QFETCH(QList<int>, failing);
        QFETCH(QString, line);
        const Operation& tried = operation(name.toLatin1().constData());
        m_reader->setModule(tried.module);
        for (const int transfer : std::as_const(failing))
            m_reader->replaceTransfer(transfer, UsbAnswer::stall());
        CardData data;
        const LogCapture log;
        OutputCapture output;
        QTEST(run(tried, data), "code");
        output.take();
        QCOMPARE(LogCapture::lines(), line.isEmpty() ? QStringList() : QStringList(line));
        QCOMPARE(m_reader->log().filter(QStringLiteral("EPIPE")).size(), failing.size());
        QCOMPARE(std::count(data.begin(), data.end(), untouched), ReadIDCard::CardDataBytes);
    }

    void aRefusingStatusHasItsCode_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("command");
        QTest::addColumn<QByteArray>("status");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("line");
        const auto row = [](const char* name, int command, const char* status, int code,
                            const char* line = "") {
            QTest::addRow("%s %s", name, status)
                << name << command << QByteArray::fromHex(status) << code << line;
        };
        constexpr int find = IdentityReaderUsb::FindCard;
        constexpr int select = IdentityReaderUsb::SelectCard;
        constexpr int read = IdentityReaderUsb::ReadCard;
        row("findCard0501", find, "000080", -104);
        row("findCard0501", find, "000081", 0);
        row("findCard0501", find, "010080", 0);
        row("selectCard0501", select, "000081", -114);
        row("selectCard0501", select, "000080", 0);
        row("readCardData0501", read, "000091", -124);
        row("readCardData0501", read, "010090", -124);
        row("readCardData0501", read, "000190", -124);
        row("selectCard0503", find, "000080", -312);
        row("selectCard0503", find, "000081", 0);
        row("findCard0503", select, "000081", -302);
        row("findCard0503", select, "000080", 0);
        row("readCardData0503", read, "000091", -322, "00 00 91");
        row("readCardData0503", read, "410090", -322, "41 00 90");
    }

    void aRefusingStatusHasItsCode()
    {
        QFETCH(QString, name);
        QFETCH(int, command);
        QFETCH(QByteArray, status);
        QFETCH(QString, line);
        const Operation& tried = operation(name.toLatin1().constData());
        m_reader->setModule(tried.module);
        m_reader->setStatus(static_cast<IdentityReaderUsb::Command>(command), status);
        CardData data;
        const LogCapture log;
        QTEST(run(tried, data), "code");
        QCOMPARE(LogCapture::lines(), line.isEmpty() ? QStringList() : QStringList(line));
    }

    void aSelectionOnTheFirstModuleIsJudgedByBytesSevenToNine()
    {
        const QByteArray header = QByteArray::fromHex("AAAAAA96690004");
        CardData data;
        m_reader->setRawReply(IdentityReaderUsb::SelectCard, header,
                              QByteArray::fromHex("00008100000000000000"));
        QCOMPARE(run(operation("selectCard0501"), data), 0);
        m_reader->setRawReply(IdentityReaderUsb::SelectCard, header,
                              QByteArray::fromHex("FFFFFFFFFFFFFF000081"));
        QCOMPARE(run(operation("selectCard0501"), data), -114);
    }

    void missingBytesOfAShortReplyCountAsZero()
    {
        CardData data;
        m_reader->setRawReply(IdentityReaderUsb::ReadCard, "", QByteArray::fromHex("000090"));
        QCOMPARE(run(operation("readCardData0501"), data), 0);
        QCOMPARE(data[0], untouched);
        m_reader->setRawReply(IdentityReaderUsb::ReadCard, "", QByteArray::fromHex("0000"));
        QCOMPARE(run(operation("readCardData0501"), data), -124);
        m_reader->setModule(m0503);
        m_reader->setRawReply(IdentityReaderUsb::ReadCard, QByteArray::fromHex("AAAAAA96690004"));
        QCOMPARE(run(operation("readCardData0503"), data), -322);
    }

    void theStatedLengthNeverReachesBeyondTheReply_data()
    {
        QTest::addColumn<bool>("first");
        QTest::addColumn<int>("stated");
        QTest::addColumn<int>("copied");
        QTest::addColumn<int>("flag");
        const auto row = [](bool first, int stated, int copied, int flag) {
            QTest::addRow("%s %d", first ? "0501" : "0503", stated)
                << first << stated << copied << flag;
        };
        row(true, 0, 0, 0);
        row(true, 7, 0, 0);
        row(true, 8, 0, 0);
        row(true, 9, 1, 0);
        row(true, 1288, 1280, 0);
        row(true, 1289, 1281, 1);
        row(true, 4103, 4095, 1);
        row(true, 4104, 4095, 1);
        row(true, 65535, 4095, 1);
        row(false, 0, 0, 0);
        row(false, 4, 0, 0);
        row(false, 5, 1, 0);
        row(false, 1284, 1280, 0);
        row(false, 1285, 1281, 1);
        row(false, 1288, 1284, 1);
        row(false, 4090, 4086, 1);
        row(false, 65535, 4086, 1);
    }

    void theStatedLengthNeverReachesBeyondTheReply()
    {
        QFETCH(bool, first);
        QFETCH(int, stated);
        QFETCH(int, copied);
        if (!first)
            m_reader->setModule(m0503);
        m_reader->setStatedReadLength(stated);
        CardData data;
        QCOMPARE(run(operation(first ? "readCardData0501" : "readCardData0503"), data), 0);
        QTEST(fingerprintFlag, "flag");
        // What the reply holds from the first copied byte on, zeros where nothing arrived.
        const QByteArray lengths = QByteArray::fromHex(first ? "009001000400" : "010004000000");
        QByteArray expected = (lengths + plainCard).left(copied);
        const auto rest = data.begin() + copied;
        QCOMPARE(QByteArray(reinterpret_cast<char*>(data.data()), expected.size()), expected);
        // One check byte follows the data.
        QVERIFY(copied <= expected.size() + 1 ||
                std::all_of(data.begin() + expected.size() + 1, rest,
                            [](unsigned char byte) { return byte == 0; }));
        QVERIFY(
            std::all_of(rest, data.end(), [](unsigned char byte) { return byte == untouched; }));
    }

    void theSamNumberIsWrittenInUpperCase_data()
    {
        QTest::addColumn<bool>("first");
        QTest::newRow("0501") << true;
        QTest::newRow("0503") << false;
    }

    void theSamNumberIsWrittenInUpperCase()
    {
        QFETCH(bool, first);
        if (!first)
            m_reader->setModule(m0503);
        const Operation& query = operation(first ? "getIDSAM0501" : "getIDSAM0503");
        CardData data;
        OutputCapture output;
        QCOMPARE(run(query, data), 0);
        QCOMPARE(output.take(), QByteArray(first ? "AA AA AA 96 69 00 14 " : ""));
        QCOMPARE(QByteArray(samText), QByteArray("0503000133A1B2C3D4E5F60708090A0B"));
        m_reader->setStatus(IdentityReaderUsb::GetSamNumber, QByteArray::fromHex("000066"));
        qstrcpy(samText, "as it was");
        OutputCapture again;
        QCOMPARE(run(query, data), 0);
        again.take();
        QCOMPARE(QByteArray(samText), QByteArray("as it was"));
    }

    void theSecondModuleTakesFramesOnItsOtherEndpoint()
    {
        m_reader->setModule(m0503);
        m_reader->setFramesOnSecondEndpointOnly(true);
        CardData data;
        QCOMPARE(run(operation("selectCard0503"), data), 0);
        QCOMPARE(m_reader->log(),
                 QStringList({"claim 0", "out 01: AA AA AA 96 69 00 03 20 01 22: EPIPE",
                              "out 02: AA AA AA 96 69 00 03 20 01 22",
                              "in 81: AA AA AA 96 69 00 04 00 00 90 94", "release 0"}));
    }

    void aWholeReadKeepsItsOrder_data()
    {
        QTest::addColumn<bool>("first");
        QTest::addColumn<QStringList>("wire");
        QTest::addColumn<QStringList>("log");
        const QString header = QStringLiteral("out 02: AA AA AA 96 69 00 03");
        const QString frame = QStringLiteral("out 01: AA AA AA 96 69 00 03 ");
        const QString reply = QStringLiteral("in 81: AA AA AA 96 69 ");
        const QString done = QStringLiteral("in 85: 00 00 90 ");
        QTest::newRow("0501")
            << true
            << QStringList{"claim 0",
                           header,
                           "out 06: 12 FF EE",
                           reply + "00 14",
                           done + "05 03 00 01 33 A1 B2 C3 D4 E5 F6 07 08 09 0A 0B",
                           header,
                           "out 06: 20 01 22",
                           reply + "00 04",
                           done + "94",
                           header,
                           "out 06: 20 02 21",
                           reply + "00 04",
                           "in 85: AA AA AA 96 69 00 04 00 00 90 94",
                           header,
                           "out 06: 30 01 32",
                           reply + "05 08",
                           done + "01 00 04 00 00 07 0E 15 1C 23 2A 31 38 3F 46 4D",
                           "release 0"}
            << QStringList{"开始获取0501模块SAMOID", "获取0501模块SAMOID成功", "获取0501-SAMID成功",
                           "0503000133A1B2C3D4E5F60708090A0B", "读取二代证成功，并开始解析数据"};
        QTest::newRow("0503")
            << false
            << QStringList{"claim 0",          header,
                           frame + "12 FF EE", reply + "00 14 00 00 90 05 03 00 01 33 A1 B2 C3",
                           frame + "20 01 22", reply + "00 04 00 00 90 94",
                           frame + "20 02 21", reply + "00 04 00 00 90 94",
                           frame + "30 10 23", reply + "05 0A 00 00 90 01 00 04 00 00 00 00 07",
                           "release 0"}
            << QStringList{"开始获取0501模块SAMOID",
                           "getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[1] \n",
                           "获取0501模块SAMID失败，开始获取0503模块SAMOID",
                           "获取0503-SAMID成功",
                           "0503000133A1B2C3D4E5F60708090A0B",
                           "findCard0503",
                           "寻卡成功",
                           "selectCard0503",
                           "选卡成功",
                           "readCardData0503",
                           "01 00 04 00",
                           "AA AA AA 96",
                           "读卡成功",
                           "读取二代证成功，并开始解析数据"};
    }

    void aWholeReadKeepsItsOrder()
    {
        QFETCH(bool, first);
        QFETCH(QStringList, wire);
        QFETCH(QStringList, log);
        if (!first)
            m_reader->setModule(m0503);
        ReadIDCard reader;
        const Outcome outcome = read(reader);
        QCOMPARE(outcome.result, 131001);
        QCOMPARE(outcome.message, QStringLiteral("获取SAMID成功"));
        QCOMPARE(outcome.log.mid(0, log.size()), log);
        QCOMPARE(outcome.log.last(), QStringLiteral("退出并释放 libUSb 资源"));
        QStringList seen = m_reader->log();
        for (int i = 0; i < qMin(seen.size(), wire.size()); ++i)
            seen[i] = seen[i].left(wire[i].size()); // the replies' ends are the card's
        QCOMPARE(seen, wire);
        QCOMPARE(reader.isModule0501(), first);
        QCOMPARE(reader.samNumber(), "0503000133A1B2C3D4E5F60708090A0B");
    }

    void everyFailureOfAReadHasItsResult_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("lastLine");
        const QString noReader =
            QStringLiteral("libusb_open_device_with_vid_pid(0x0400, 0xC35A) failed \n");
        QTest::newRow("no libusb") << "descriptors" << 431003 << "init USB failed"
                                   << "ZCStartDeviceAB";
        QTest::newRow("no reader") << "unplugged" << 431003 << noReader << noReader;
        QTest::newRow("busy") << "held" << 431003 << "libusb_claim_interface(0) \n"
                              << "libusb_claim_interface(0) failed:[0] \n";
        QTest::newRow("no SAM") << "dead" << 0 << "获取0503模块SAMID失败"
                                << "libusb_bulk_transfer(0x01) write failed:[0] \n";
        QTest::newRow("no card") << "no card" << 431004 << "read card failed"
                                 << "读卡失败";
        QTest::newRow("pulled") << "pulled" << 431004 << "read card failed"
                                << "读卡失败";
    }

    void everyFailureOfAReadHasItsResult()
    {
        QFETCH(QString, fault);
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit none{0, limit.rlim_max};
        if (fault == QLatin1String("unplugged"))
            m_reader->unplug();
        else if (fault == QLatin1String("dead"))
            m_reader->replaceTransfersFrom(0, UsbAnswer::stall());
        else if (fault == QLatin1String("no card"))
            m_reader->takeCard();
        else if (fault == QLatin1String("pulled"))
            m_reader->replaceTransfer(9, UsbAnswer::unplug());
        m_reader->setHeldElsewhere(fault == QLatin1String("held"));
        ReadIDCard reader;
        if (fault == QLatin1String("descriptors")) {
            m_info->name[0] = '!';
            char message[ReadIDCard::MessageBytes];
            const LogCapture log;
            setrlimit(RLIMIT_NOFILE, &none);
            const int result = reader.readCard(m_info.get(), message);
            setrlimit(RLIMIT_NOFILE, &limit);
            QTEST(result, "result");
            QTEST(QString::fromUtf8(message), "message");
            QTEST(LogCapture::lines().last(), "lastLine");
            QCOMPARE(m_info->name[0], '!');
            return;
        }
        const Outcome outcome = read(reader);
        QTEST(outcome.result, "result");
        QTEST(outcome.message, "message");
        QTEST(outcome.log.last(), "lastLine");
        QVERIFY(reader.isModule0501());
    }

    // Every operation waits for every one of its transfers, all at the same time on readers of
    // their own, because the longest wait takes three seconds.
    void everyTransferIsGivenItsTime()
    {
        struct Wait
        {
            const char* name;
            int transfer;
            int milliseconds;
            int code;
        };
        const Wait waits[] = {
            {"getIDSAM0501", 0, 1000, -2},       {"getIDSAM0501", 1, 1000, -3},
            {"getIDSAM0501", 2, 1000, -4},       {"getIDSAM0501", 3, 1000, -5},
            {"findCard0501", 0, 3000, -100},     {"findCard0501", 1, 3000, -101},
            {"findCard0501", 2, 1000, -102},     {"findCard0501", 3, 1000, -103},
            {"selectCard0501", 0, 1000, -110},   {"selectCard0501", 1, 1000, -111},
            {"selectCard0501", 2, 1000, -112},   {"selectCard0501", 3, 1000, -113},
            {"readCardData0501", 0, 1000, -120}, {"readCardData0501", 1, 1000, -121},
            {"readCardData0501", 2, 3000, -122}, {"readCardData0501", 3, 3000, -123},
            {"getIDSAM0503", 0, 1000, 0},        {"getIDSAM0503", 1, 1000, -32},
            {"selectCard0503", 0, 3000, 0},      {"selectCard0503", 1, 1000, -311},
            {"findCard0503", 0, 1000, 0},        {"findCard0503", 1, 1000, -301},
            {"readCardData0503", 0, 1000, 0},    {"readCardData0503", 1, 1000, -321},
        };
        struct Attempt
        {
            std::unique_ptr<IdentityReaderUsb> reader;
            libusb_device_handle* handle = nullptr;
            int32_t code = 1;
            qint64 milliseconds = 0;
        };
        m_reader->unplug();
        bool inOrder = false;
        const auto measure = [&] {
            QCOMPARE(libusb_init(nullptr), 0);
            std::vector<Attempt> attempts;
            for (const Wait& wait : waits) {
                Attempt attempt;
                attempt.reader =
                    std::make_unique<IdentityReaderUsb>(*m_kernel, operation(wait.name).module);
                attempt.reader->replaceTransfer(wait.transfer, UsbAnswer::never());
                attempt.reader->putCard(plainCard);
                attempt.reader->plug();
                attempt.handle = openNewReader();
                QVERIFY(attempt.handle);
                attempts.push_back(std::move(attempt));
            }
            const LogCapture log;
            OutputCapture output;
            std::vector<std::thread> threads;
            for (std::size_t i = 0; i < attempts.size(); ++i) {
                threads.emplace_back([&attempt = attempts[i], &tried = operation(waits[i].name)] {
                    ReadIDCard reader;
                    CardData data(ReadIDCard::CardDataBytes);
                    QElapsedTimer clock;
                    clock.start();
                    attempt.code = tried.run(reader, attempt.handle, data);
                    attempt.milliseconds = clock.elapsed();
                });
            }
            for (std::thread& thread : threads)
                thread.join();
            output.take();
            // A busy machine makes every wait longer and sometimes mixes them up; waits of a second
            // that are given three are never the shorter ones.
            qint64 longestSecond = 0;
            qint64 shortestThree = std::numeric_limits<qint64>::max();
            for (std::size_t i = 0; i < attempts.size(); ++i) {
                libusb_close(attempts[i].handle);
                const Wait& wait = waits[i];
                const QByteArray what = QByteArray(wait.name) + " transfer " +
                                        QByteArray::number(wait.transfer) + ": " +
                                        QByteArray::number(attempts[i].milliseconds) + " ms";
                QVERIFY2(attempts[i].code == wait.code, what.constData());
                QVERIFY2(attempts[i].milliseconds >= wait.milliseconds - 20, what.constData());
                if (wait.milliseconds == 1000)
                    longestSecond = std::max(longestSecond, attempts[i].milliseconds);
                else
                    shortestThree = std::min(shortestThree, attempts[i].milliseconds);
            }
            inOrder = longestSecond < shortestThree;
            libusb_exit(nullptr);
        };
        for (int i = 0; i < 5 && !inOrder && !QTest::currentTestFailed(); ++i)
            measure();
        QVERIFY(inOrder);
    }

private:
    struct Outcome
    {
        int result;
        QString message;
        QStringList log;
    };

    Outcome read(ReadIDCard& reader)
    {
        char message[ReadIDCard::MessageBytes] = {};
        const LogCapture log;
        OutputCapture output;
        const int result = reader.readCard(m_info.get(), message);
        return {result, QString::fromUtf8(message), LogCapture::lines()};
    }

    std::unique_ptr<IDINFO> m_info = std::make_unique<IDINFO>();
    std::unique_ptr<VirtualKernel> m_kernel;
    std::unique_ptr<IdentityReaderUsb> m_reader;
};

QTEST_GUILESS_MAIN(UsbReaderTest)
#include "usb_reader_test.moc"
