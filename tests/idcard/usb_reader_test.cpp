// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idcard/usb_reader.h"
#include "tests/support/output_capture.h"
#include "tests/support/table.h"
#include "virtual/readers/identity_reader_usb.h"

#include <QRegularExpression>

#include <dlfcn.h>
#include <functional>
#include <memory>
#include <sys/resource.h>

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

// An operation, its code when nothing can be written, and the endpoint and the timeout of each of
// its transfers on a module that takes frames on its second endpoint only.
struct Operation
{
    int (*run)(R&, libusb_device_handle*, Outputs&);
    Reader::Module module;
    int unwritten;
    const char* transfers;
};
const Operation operations[] = {
    {call<&R::getIDSAM0501>, m0501, -2, "02:1000 06:1000 81:1000 85:1000 "},
    {call<&R::findCard0501>, m0501, -100, "02:3000 06:3000 81:1000 85:1000 "},
    {call<&R::selectCard0501>, m0501, -110, "02:1000 06:1000 81:1000 85:1000 "},
    {call<&R::readCardData0501>, m0501, -120, "02:1000 06:1000 81:3000 85:3000 "},
    {call<&R::getIDSAM0503>, m0503, -31, "01:1000 02:1000 81:1000 "},
    {call<&R::selectCard0503>, m0503, -310, "01:3000 02:3000 81:1000 "},
    {call<&R::findCard0503>, m0503, -300, "01:1000 02:1000 81:1000 "},
    {call<&R::readCardData0503>, m0503, -320, "01:1000 02:1000 81:1000 "},
};
enum { Sam0501, Find0501, Select0501, Read0501, Sam0503, Select0503, Find0503, Read0503 };

// Endpoint and timeout of every transfer that the product asks libusb for.
QString transfers;

// As long as a card's text and photo.
const QByteArray plainCard = QByteArray("0123456789ABCDEFGHIJKLMNOPQRSTU").repeated(42).left(1280);

} // namespace

// Stands before libusb's function of this name, and calls it.
int libusb_bulk_transfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* data,
                         int length, int* transferred, unsigned timeout)
{
    transfers += QString::asprintf("%02x:%u ", unsigned{endpoint}, timeout);
    static const auto next =
        reinterpret_cast<decltype(&libusb_bulk_transfer)>(dlsym(RTLD_NEXT, "libusb_bulk_transfer"));
    return next(handle, endpoint, data, length, transferred, timeout);
}

class UsbReaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_kernel = std::make_unique<VirtualKernel>(); }

    void init()
    {
        m_reader = std::make_unique<Reader>(*m_kernel, m0501);
        m_reader->putCard(plainCard);
        m_reader->plug();
    }

    void cleanup() { m_reader.reset(); }

    void everyTransferHasItsEndpointItsPatienceAndItsCode()
    {
        const LogCapture log;
        for (const Operation& operation : operations) {
            m_reader->setModule(operation.module);
            m_reader->setFramesOnSecondEndpointOnly(true);
            QCOMPARE(run(operation), 0);
            QCOMPARE(transfers, operation.transfers);
            m_reader->replaceTransfersFrom(0, UsbAnswer::stall());
            QCOMPARE(run(operation), operation.unwritten);
            for (int failing = 0; failing < (operation.module == m0501 ? 4 : 2); ++failing) {
                m_reader->resetFaults();
                m_reader->replaceTransfer(failing, UsbAnswer::stall());
                const bool isWrittenElsewhere = operation.module == m0503 && failing == 0;
                QCOMPARE(run(operation), isWrittenElsewhere ? 0 : operation.unwritten - failing);
            }
            m_reader->resetFaults();
        }
        QCOMPARE(LogCapture::lines().filter("failed").join("|"),
                 "getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[0] \n|"
                 "getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[0] \n|"
                 "getIDSAM0501-libusb_bulk_transfer(0x01) write failed:[1] \n|"
                 "getIDSAM0501-libusb_bulk_transfer(0x81) read failed:[2] \n|"
                 "libusb_bulk_transfer(0x81) read failed:[3] \n|"
                 "libusb_bulk_transfer(0x01) write failed:[0] \n|"
                 "libusb_bulk_transfer(0x81) read failed:[1] \n");
    }

    void aReplyIsJudgedByItsStatus_data()
    {
        addRows<int, QByteArray, QString>({
            {"0501 no number", Sam0501, "000066", "0"},
            {"0501 no card", Find0501, "000080", "-104"},
            {"0501 another status", Find0501, "010080", "0"},
            {"0501 not selected", Select0501, "FFFFFFFFFFFFFF000081", "-114"},
            {"0501 selected", Select0501, "000081000000000000800081", "0"},
            {"0501 not read", Read0501, "000091", "-124"},
            {"0501 first byte", Read0501, "010090", "-124"},
            {"0501 second byte", Read0501, "000190", "-124"},
            {"0501 short", Read0501, "0000", "-124"},
            {"0503 no number", Sam0503, "000066", "0"},
            {"0503 no card", Select0503, "000080", "-312"},
            {"0503 not selected", Find0503, "000081", "-302"},
            {"0503 not read", Read0503, "410291", "-322 41 02 91"},
            {"0503 short", Read0503, "", "-322 00 00 00"},
        });
    }

    void aReplyIsJudgedByItsStatus()
    {
        const auto [tried, status, codeAndLine] = row<int, QByteArray, QString>();
        const QByteArray header = QByteArray::fromHex("AAAAAA96690004");
        const QByteArray body = QByteArray::fromHex(status);
        m_reader->setModule(operations[tried].module);
        for (const auto command :
             {Reader::GetSamNumber, Reader::FindCard, Reader::SelectCard, Reader::ReadCard})
            m_reader->setRawReply(command, tried < Sam0503 ? header : header + body, body);
        const LogCapture log;
        const int code = run(operations[tried]);
        QCOMPARE((QStringList(QString::number(code)) + LogCapture::lines()).join(' '), codeAndLine);
        QCOMPARE(m_out.sam, "as it was");
        QVERIFY(m_out.data == Outputs().data);
    }

    void theStatedLengthNeverReachesBeyondTheReply()
    {
        // Operation, stated length, bytes that are copied, whether they hold fingerprints.
        const std::tuple<int, int, int, int> lengths[] = {
            {Read0501, 8, 0, 0},       {Read0501, 9, 1, 0},        {Read0501, 1288, 1280, 0},
            {Read0501, 1289, 1281, 1}, {Read0501, 65535, 4095, 1}, {Read0503, 4, 0, 0},
            {Read0503, 5, 1, 0},       {Read0503, 1284, 1280, 0},  {Read0503, 1285, 1281, 1},
            {Read0503, 65535, 4086, 1}};
        for (const auto& [tried, stated, copied, flag] : lengths) {
            m_reader->setModule(operations[tried].module);
            m_reader->setStatedReadLength(stated);
            QCOMPARE(run(operations[tried]), 0);
            QCOMPARE(m_out.fingerprintFlag, flag);
            QByteArray expected =
                QByteArray::fromHex(tried == Read0501 ? "009001000400" : "010004000000") +
                plainCard;
            const int checkByte = expected.size();
            expected = expected.leftJustified(R::CardDataBytes, '\0'); // behind what arrived
            expected[checkByte] = m_out.data[checkByte];
            QCOMPARE(m_out.data, expected.left(copied) + Outputs().data.mid(copied));
        }
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
        // The decoder tells each field, in between.
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
        m_reader->setModule(m0501); // each read asks anew which module it is
        read(reader);
        QVERIFY(reader.isModule0501());
    }

    void everyFailureOfAReadHasItsResult()
    {
        const QString none = "libusb_open_device_with_vid_pid(0x0400, 0xC35A) failed \n";
        const QString held = "libusb_claim_interface(0) \n";
        const auto limitDescriptors = [](rlim_t number) {
            rlimit limit{};
            getrlimit(RLIMIT_NOFILE, &limit);
            limit.rlim_cur = number;
            setrlimit(RLIMIT_NOFILE, &limit);
        };
        const std::tuple<std::function<void()>, int, QString, QString> failures[] = {
            {[&] { limitDescriptors(0); }, 431003, "init USB failed", "ZCStartDeviceAB"},
            {[this] { m_reader->takeCard(); }, 431004, "read card failed", "读卡失败"},
            {[this] { m_reader->replaceTransfersFrom(0, UsbAnswer::stall()); }, 0,
             "获取0503模块SAMID失败", "libusb_bulk_transfer(0x01) write failed:[0] \n"},
            {[this] { m_reader->setHeldElsewhere(true); }, 431003, held,
             "libusb_claim_interface(0) failed:[0] \n"},
            {[this] { m_reader->unplug(); }, 431003, none, none},
        };
        for (const auto& [fail, result, message, lastLine] : failures) {
            m_info->name[0] = '!';
            R reader;
            const Outcome outcome = read(reader, fail);
            limitDescriptors(1024);
            QCOMPARE(outcome.result, result);
            QCOMPARE(outcome.message, message);
            QCOMPARE(outcome.log.last(), lastLine);
            QVERIFY(reader.isModule0501());
            QCOMPARE(m_info->name[0], '!');
            m_reader->resetFaults();
        }
    }

private:
    // Runs one operation on an opened and claimed reader.
    int run(const Operation& operation)
    {
        UsbReader::Session session;
        if (!session.initialise() || !session.open() || !session.claim())
            return 1;
        m_out = {};
        transfers.clear();
        R reader;
        OutputCapture output;
        return operation.run(reader, session.handle(), m_out);
    }

    struct Outcome
    {
        int result;
        QString message;
        QStringList log;
        QString printed;
    };

    Outcome read(R& reader, const std::function<void()>& fail = [] {})
    {
        char message[R::MessageBytes] = {};
        const LogCapture log;
        OutputCapture output;
        fail();
        const int result = reader.readCard(m_info.get(), message);
        return {result, QString::fromUtf8(message), LogCapture::lines(), output.take()};
    }

    std::unique_ptr<IDINFO> m_info = std::make_unique<IDINFO>();
    std::unique_ptr<VirtualKernel> m_kernel;
    std::unique_ptr<Reader> m_reader;
    Outputs m_out;
};

QTEST_GUILESS_MAIN(UsbReaderTest)
#include "usb_reader_test.moc"
