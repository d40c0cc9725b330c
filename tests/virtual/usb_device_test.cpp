// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/kernel/usb_device.h"

#include <QProcess>
#include <QtTest>

#include <libusb.h>

#include <atomic>

using namespace virtual_desk;

namespace {

UsbDescription everyKindOfEndpoint(const QByteArray& kernelDriver)
{
    return {0x1234,
            0x5678,
            {{0,
              0x03,
              {{0x81, UsbEndpoint::Interrupt, 16, 4},
               {0x02, UsbEndpoint::Bulk, 64, 0},
               {0x85, UsbEndpoint::Bulk, 64, 0}},
              kernelDriver}}};
}

/// A libusb program in a process of its own, driven one call at a time.
class Client
{
public:
    Client()
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(DESK_BIN_DIR "/usb_client"), QStringList());
    }
    ~Client() { end(); }

    int end()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }
    void kill()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    void start(const char* call) { m_process.write(QByteArray(call) + '\n'); }
    /// "result moved firstByte milliseconds"
    QStringList answer()
    {
        while (!m_process.canReadLine() && m_process.waitForReadyRead(5000)) {
        }
        return QString::fromLatin1(m_process.readLine()).trimmed().split(QLatin1Char(' ')).mid(1);
    }
    QStringList call(const char* name)
    {
        start(name);
        return answer();
    }
    int result(const char* name) { return call(name).value(0, QStringLiteral("-999")).toInt(); }

private:
    QProcess m_process;
};

} // namespace

class UsbDeviceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_kernel = std::make_unique<VirtualKernel>(); }

    void aSeparateProgramSeesThePlugAndClaimsAfterDetaching()
    {
        UsbDevice device(*m_kernel, everyKindOfEndpoint("usbhid"), nullptr);
        Client client;
        QCOMPARE(client.result("open"), int(LIBUSB_ERROR_NO_DEVICE));
        device.plug();
        QCOMPARE(client.result("open"), 0);
        QCOMPARE(client.result("claim"), int(LIBUSB_ERROR_BUSY));
        QCOMPARE(client.result("detach"), 0);
        QCOMPARE(client.result("claim"), 0);
        Client other;
        QCOMPARE(other.result("open"), 0);
        QCOMPARE(other.result("claim"), int(LIBUSB_ERROR_BUSY));
        QCOMPARE(client.result("release"), 0);
        QCOMPARE(client.result("close"), 0);
        QCOMPARE(other.result("claim"), 0);
        QCOMPARE(device.log(), QStringList({"claim 0: EBUSY", "detach 0", "claim 0",
                                            "claim 0: EBUSY", "release 0", "claim 0"}));
        QCOMPARE(client.end(), 0);
    }

    void aHeldInterfaceStaysBusyWhateverIsDetached()
    {
        UsbDevice device(*m_kernel, everyKindOfEndpoint("usbhid"), nullptr);
        device.setInterfaceHeldElsewhere(true);
        device.plug();
        Client client;
        QCOMPARE(client.result("open"), 0);
        QCOMPARE(client.result("detach"), 0);
        QCOMPARE(client.result("claim"), int(LIBUSB_ERROR_BUSY));
    }

    void everyAnswerReachesTheProgram_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("moved");
        QTest::addColumn<int>("atLeast");
        QTest::addColumn<QString>("line");
        enum { Data, Short, Long, Late, Stall, Broken, Never, Pull, Part };
        QTest::newRow("interrupt data") << "interrupt" << int(Data) << 0 << 16 << 0
                                        << "in 81: A7 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
        QTest::newRow("short report") << "interrupt" << int(Short) << 0 << 2 << 0 << "in 81: A7 01";
        QTest::newRow("too much")
            << "interrupt" << int(Long) << int(LIBUSB_ERROR_OVERFLOW) << 16 << 0
            << "in 81: A7 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00: EOVERFLOW";
        QTest::newRow("late") << "interrupt" << int(Late) << 0 << 2 << 100 << "in 81: A7 01";
        QTest::newRow("time-out") << "interrupt" << int(Never) << int(LIBUSB_ERROR_TIMEOUT) << 0
                                  << 300 << "in 81: ENOENT";
        QTest::newRow("stall") << "read" << int(Stall) << int(LIBUSB_ERROR_PIPE) << 0 << 0
                               << "in 85: EPIPE";
        QTest::newRow("broken wire")
            << "read" << int(Broken) << int(LIBUSB_ERROR_IO) << 0 << 0 << "in 85: EPROTO";
        QTest::newRow("pulled") << "read" << int(Pull) << int(LIBUSB_ERROR_NO_DEVICE) << 0 << 0
                                << "in 85: ESHUTDOWN";
        QTest::newRow("bulk out") << "write" << int(Data) << 0 << 7 << 0
                                  << "out 02: 00 00 00 00 00 00 00";
        QTest::newRow("bulk out in part")
            << "write" << int(Part) << 0 << 3 << 0 << "out 02: 00 00 00 00 00 00 00";
        QTest::newRow("control in")
            << "get" << int(Short) << 2 << 0 << 0 << "control A1 01 3000 0000: A7 01";
        QTest::newRow("control out")
            << "set" << int(Data) << 4 << 0 << 0 << "control 21 09 0000 0000: 02 00 00 00";
        QTest::newRow("control stall") << "get" << int(Stall) << int(LIBUSB_ERROR_PIPE) << 0 << 0
                                       << "control A1 01 3000 0000: EPIPE";
    }

    void everyAnswerReachesTheProgram()
    {
        QFETCH(QString, call);
        QFETCH(int, kind);
        QFETCH(int, result);
        QFETCH(int, moved);
        QFETCH(int, atLeast);
        QFETCH(QString, line);
        const QByteArray few = QByteArray::fromHex("A701");
        const QByteArray whole = QByteArray::fromHex("A7") + QByteArray(15, '\0');
        const std::vector<UsbAnswer> answers = {
            UsbAnswer::data(whole),       UsbAnswer::data(few),
            UsbAnswer::data(whole + few), UsbAnswer::data(few).after(100),
            UsbAnswer::stall(),           UsbAnswer::fail(EPROTO),
            UsbAnswer::never(),           UsbAnswer::unplug(),
            UsbAnswer::accept(3)};
        UsbDevice device(*m_kernel, everyKindOfEndpoint(""), [&](const UsbRequest&) {
            return answers.at(static_cast<std::size_t>(kind));
        });
        device.plug();
        Client client;
        QCOMPARE(client.result("open"), 0);
        QCOMPARE(client.result("claim"), 0);
        const QStringList answer = client.call(call.toLatin1().constData());
        QCOMPARE(answer.value(0).toInt(), result);
        QCOMPARE(answer.value(1).toInt(), moved);
        QVERIFY2(answer.value(3).toInt() >= atLeast, qPrintable(answer.value(3)));
        QCOMPARE(device.log().mid(1), QStringList(line));
    }

    void pullingThePlugEndsAnOpenTransferAndAReplugNeedsANewOpen()
    {
        UsbDevice device(*m_kernel, everyKindOfEndpoint(""),
                         [](const UsbRequest&) { return UsbAnswer::never(); });
        for (int plug = 0; plug < 256; ++plug) { // more often than one bus has addresses
            device.plug();
            device.unplug();
        }
        device.plug();
        Client client;
        QCOMPARE(client.result("open"), 0);
        QCOMPARE(client.result("claim"), 0);
        client.start("read");
        QTRY_COMPARE(device.log().value(1), QStringLiteral("in 85: pending"));
        device.unplug();
        QVERIFY(!device.isPlugged());
        QCOMPARE(client.answer().value(0).toInt(), int(LIBUSB_ERROR_NO_DEVICE));
        QCOMPARE(client.result("interrupt"), int(LIBUSB_ERROR_NO_DEVICE));
        device.plug();
        QCOMPARE(client.result("interrupt"), int(LIBUSB_ERROR_NO_DEVICE));
        QCOMPARE(client.result("close"), 0);
        QCOMPARE(client.result("open"), 0);
        QCOMPARE(client.result("claim"), 0);
        QCOMPARE(client.result("unknown"), int(LIBUSB_ERROR_IO));
        QCOMPARE(client.end(), 0);
    }

    void aKilledProgramLeavesTheDeviceToTheNext()
    {
        UsbDevice device(*m_kernel, everyKindOfEndpoint(""),
                         [](const UsbRequest&) { return UsbAnswer::never(); });
        device.plug();
        Client dying;
        QCOMPARE(dying.result("open"), 0);
        QCOMPARE(dying.result("claim"), 0);
        dying.start("read");
        QTRY_COMPARE(device.log().value(1), QStringLiteral("in 85: pending"));
        dying.kill();
        Client next;
        QCOMPARE(next.result("open"), 0);
        QCOMPARE(next.result("claim"), 0);
    }

    void aReportThatComesLaterEndsTheOpenTransferInTheSameProcessToo()
    {
        std::atomic<bool> ready{false};
        UsbDevice device(*m_kernel, everyKindOfEndpoint("usbhid"), [&](const UsbRequest&) {
            return ready ? UsbAnswer::data(QByteArray(16, '\x42')) : UsbAnswer::never();
        });
        device.plug();
        libusb_context* context = nullptr;
        QCOMPARE(libusb_init(&context), 0);
        libusb_device_handle* handle = libusb_open_device_with_vid_pid(context, 0x1234, 0x5678);
        QVERIFY(handle);
        QCOMPARE(libusb_claim_interface(handle, 0), int(LIBUSB_ERROR_BUSY));
        QCOMPARE(libusb_detach_kernel_driver(handle, 0), 0);
        QCOMPARE(libusb_claim_interface(handle, 0), 0);
        std::unique_ptr<QThread> writer(QThread::create([&] {
            QThread::msleep(50);
            ready = true;
            device.retry(0x81);
        }));
        writer->start();
        unsigned char report[16] = {};
        int moved = 0;
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(libusb_interrupt_transfer(handle, 0x81, report, 16, &moved, 1000), 0);
        QVERIFY2(timer.elapsed() >= 45, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(moved, 16);
        QCOMPARE(int(report[15]), 0x42);
        QVERIFY(writer->wait());
        device.unplug();
        QCOMPARE(libusb_interrupt_transfer(handle, 0x81, report, 16, &moved, 300),
                 int(LIBUSB_ERROR_NO_DEVICE));
        libusb_close(handle);
        libusb_exit(context);
    }

private:
    std::unique_ptr<VirtualKernel> m_kernel;
};

QTEST_GUILESS_MAIN(UsbDeviceTest)
#include "usb_device_test.moc"
