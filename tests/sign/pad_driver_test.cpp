// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/hidraw_writing_device.h"
#include "sign/inert_writing_device.h"
#include "sign/libusb_writing_device.h"
#include "tests/sign/process_on_desk.h"
#include "tests/support/output_capture.h"
#include "virtual/kernel/hidraw_node.h"
#include "virtual/pad/signature_pad.h"

#include <QtTest>

#include <fcntl.h>

using namespace virtual_desk;

namespace {

const QByteArray penDescriptor = QByteArray::fromHex("0602FF0901A101");
const QByteArray mouseDescriptor = QByteArray::fromHex("05010902A10109");

struct Sample
{
    int x = -7;
    int y = -7;
    int p = -7;
    int result = 99;
};

Sample readFrom(QHidWritingDevice& driver)
{
    Sample sample;
    sample.result = driver.readData(sample.x, sample.y, sample.p);
    return sample;
}

HidrawDescription hidraw(quint16 vendor, quint16 product, const QByteArray& descriptor)
{
    HidrawDescription description;
    description.vendor = vendor;
    description.product = product;
    description.reportDescriptor = descriptor;
    return description;
}

} // namespace

class PadDriverTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_desk = std::make_unique<ProcessOnDesk>(); }

    void convertsDeviceUnitsToPixels_data()
    {
        QTest::addColumn<int>("value");
        QTest::addColumn<int>("physical");
        QTest::addColumn<int>("logical");
        QTest::addColumn<int>("pixels");
        QTest::newRow("division first") << 5 << 3 << 10 << 16;
        QTest::newRow("right edge") << 21692 << 21692 << 1280 << 1280;
        QTest::newRow("bottom edge") << 13564 << 13564 << 800 << 800;
        QTest::newRow("truncated") << 16 << 21692 << 1280 << 0;
        QTest::newRow("toward zero") << -5 << 3 << 10 << -16;
        QTest::newRow("beyond int") << 65535 << 21692 << INT_MAX << INT_MAX;
        QTest::newRow("below int") << 65535 << 21692 << INT_MIN << INT_MIN;
        QTest::newRow("no range") << 0 << 0 << 10 << 0;
    }

    void convertsDeviceUnitsToPixels()
    {
        QFETCH(int, value);
        QFETCH(int, physical);
        QFETCH(int, logical);
        QTEST(convertPhysicalTologicalValue(value, physical, logical), "pixels");
    }

    void findsThePadWithoutLeavingItOpen()
    {
        SignaturePad pad(*m_desk->kernel);
        QHandWritingDevForLibUsb driver;
        QCOMPARE(driver.findDevice(), 0);
        LogCapture diagnostics;
        QCOMPARE(driver.openDevice(), -1);
        QCOMPARE(diagnostics.take(), QStringList("Cannot open device\n"));
        pad.device().plug();
        QTRY_COMPARE(driver.findDevice(), 1);
        QCOMPARE(driver.findDevice(), 1);
        QCOMPARE(pad.device().log(), QStringList());
    }

    void claimsAfterDetachingTheKernelsDriverAndReleasesBeforeClosing()
    {
        SignaturePad pad(*m_desk->kernel);
        pad.device().plug();
        QHandWritingDevForLibUsb driver;
        LogCapture diagnostics;
        QCOMPARE(driver.openDevice(), 1);
        QCOMPARE(diagnostics.take(), QStringList("Kernel Driver Detached!\n"));
        OutputCapture output;
        QCOMPARE(driver.closeDevice(), 1);
        QCOMPARE(driver.closeDevice(), 1);
        QCOMPARE(output.take(), QByteArray("Released hid Interface!\n"));
        QCOMPARE(driver.openDevice(), 1);
        QCOMPARE(pad.device().log(),
                 QStringList({"claim 0: EBUSY", "detach 0", "claim 0", "release 0", "claim 0"}));
    }

    void givesUpAnInterfaceThatStaysBusy()
    {
        SignaturePad pad(*m_desk->kernel);
        pad.device().setInterfaceHeldElsewhere(true);
        pad.device().plug();
        QHandWritingDevForLibUsb driver;
        const LogCapture diagnostics;
        OutputCapture errors(stderr);
        OutputCapture output;
        QCOMPARE(driver.openDevice(), -2);
        QVERIFY(errors.take().contains("Cannot Claim Interface\n"));
        QCOMPARE(output.take(), QByteArray());
        QCOMPARE(pad.device().log(), QStringList({"claim 0: EBUSY", "detach 0", "claim 0: EBUSY"}));
        pad.device().setInterfaceHeldElsewhere(false);
        QCOMPARE(driver.openDevice(), 1);
    }

    void readsReports_data()
    {
        QTest::addColumn<QByteArray>("report");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("x");
        QTest::addColumn<int>("y");
        QTest::addColumn<int>("p");
        const QByteArray report = QByteArray::fromHex("FFFF020103041000FFFFFFFFFFFFFFFF");
        QTest::newRow("whole") << report << 0 << 258 << 1027 << 16;
        QTest::newRow("eight bytes") << report.left(8) << 0 << 258 << 1027 << 16;
        QTest::newRow("seven bytes") << report.left(7) << -2 << -7 << -7 << -7;
        QTest::newRow("empty") << QByteArray() << -2 << -7 << -7 << -7;
        QTest::newRow("largest") << QByteArray(16, '\xFF') << 0 << 65535 << 65535 << 65535;
        QTest::newRow("too long") << QByteArray(40, '\x01') << -1 << -7 << -7 << -7;
    }

    void readsReports()
    {
        QFETCH(QByteArray, report);
        SignaturePad pad(*m_desk->kernel);
        pad.device().plug();
        QHandWritingDevForLibUsb driver;
        QCOMPARE(driver.openDevice(), 1);
        pad.queue(UsbAnswer::data(report));
        LogCapture diagnostics;
        const Sample sample = readFrom(driver);
        QTEST(sample.result, "result");
        QTEST(sample.x, "x");
        QTEST(sample.y, "y");
        QTEST(sample.p, "p");
        QStringList lines = diagnostics.take();
        const QString text =
            QStringLiteral("x = %1 , y = %2 , p = %3").arg(sample.x).arg(sample.y).arg(sample.p);
        QCOMPARE(lines.value(0), QStringLiteral("readData"));
        QCOMPARE(lines.value(1), sample.result == -1
                                     ? QStringLiteral("libusb_interrupt_transfer ,ret = -8")
                                     : QStringLiteral("libusb_interrupt_transfer ,ret = 0"));
        QCOMPARE(lines.mid(2), sample.result == 0 ? QStringList(text) : QStringList());
    }

    void keepsThePaceOfALiftedPenWhateverFails_data()
    {
        QTest::addColumn<int>("failure");
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("result");
        QTest::newRow("lifted pen") << 0 << "ret = -7" << -1;
        QTest::newRow("stall") << 1 << "ret = -9" << -1;
        QTest::newRow("pulled during the transfer") << 2 << "ret = -4" << -1;
        QTest::newRow("pulled before") << 3 << "ret = -4" << -1;
        QTest::newRow("closed") << 4 << "ret = -4" << -1;
        QTest::newRow("empty packet") << 5 << "ret = 0" << -2;
    }

    void keepsThePaceOfALiftedPenWhateverFails()
    {
        QFETCH(int, failure);
        QFETCH(QString, line);
        SignaturePad pad(*m_desk->kernel);
        pad.device().plug();
        QHandWritingDevForLibUsb driver;
        QCOMPARE(driver.openDevice(), 1);
        if (failure == 1)
            pad.queue(UsbAnswer::stall());
        if (failure == 2)
            pad.queue(UsbAnswer::unplug());
        if (failure == 3)
            pad.device().unplug();
        if (failure == 4)
            driver.closeDevice();
        if (failure == 5)
            pad.queue(UsbAnswer::data({}));
        LogCapture diagnostics;
        QElapsedTimer timer;
        timer.start();
        const Sample sample = readFrom(driver);
        QTEST(sample.result, "result");
        QCOMPARE(sample.x, -7);
        QVERIFY2(timer.elapsed() >= 295, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(diagnostics.take().value(1).endsWith(line));
    }

    void aPulledPadWorksAgainAfterAReopen()
    {
        SignaturePad pad(*m_desk->kernel);
        pad.device().plug();
        QHandWritingDevForLibUsb driver;
        QCOMPARE(driver.openDevice(), 1);
        pad.device().unplug();
        QCOMPARE(readFrom(driver).result, -1);
        QCOMPARE(driver.findDevice(), 0);
        pad.device().plug();
        QCOMPARE(readFrom(driver).result, -1);
        OutputCapture output;
        QCOMPARE(driver.closeDevice(), 1);
        QCOMPARE(output.take(), QByteArray("Cannot hid Released Interface!\n"));
        QTRY_COMPARE(driver.findDevice(), 1);
        QCOMPARE(driver.openDevice(), 1);
        pad.pen({21692, 13564, 1023});
        QCOMPARE(readFrom(driver).x, 21692);
    }

    void judgesHidrawNodes_data()
    {
        QTest::addColumn<int>("vendor");
        QTest::addColumn<QByteArray>("descriptor");
        QTest::addColumn<QString>("fails");
        QTest::addColumn<int>("accepted");
        QTest::newRow("pen interface") << 0x05AF << penDescriptor << "" << 1;
        QTest::newRow("the pad's mouse interface") << 0x05AF << mouseDescriptor << "" << 0;
        QTest::newRow("one bit off") << 0x05AF << QByteArray::fromHex("0602FE") << "" << 0;
        QTest::newRow("two bytes") << 0x05AF << penDescriptor.left(2) << "" << 0;
        QTest::newRow("three bytes") << 0x05AF << penDescriptor.left(3) << "" << 1;
        QTest::newRow("any other device") << 0x046D << mouseDescriptor << "" << 1;
        QTest::newRow("no identity") << 0x05AF << penDescriptor << "info" << 0;
        QTest::newRow("no descriptor size") << 0x05AF << penDescriptor << "size" << 0;
        QTest::newRow("no descriptor") << 0x05AF << mouseDescriptor << "descriptor" << 1;
    }

    void judgesHidrawNodes()
    {
        QFETCH(int, vendor);
        QFETCH(QByteArray, descriptor);
        QFETCH(QString, fails);
        HidrawDescription description = hidraw(static_cast<quint16>(vendor), 0x0060, descriptor);
        description.infoFails = fails == QLatin1String("info");
        description.sizeFails = fails == QLatin1String("size");
        description.descriptorFails = fails == QLatin1String("descriptor");
        const HidrawNode node(*m_desk->kernel, m_nextNode++, description);
        const OutputCapture errors(stderr);
        QTEST(isMyHidraw(node.path().constData()), "accepted");
        QCOMPARE(isMyHidraw("/dev/hidraw-missing"), 0);
        QLinuxHidRawDev driver;
        QTEST(driver.findDevice(), "accepted");
    }

    void takesThePenNodeAmongThePadsNodes()
    {
        const HidrawNode mouse(*m_desk->kernel, m_nextNode++,
                               hidraw(0x05AF, 0x0060, mouseDescriptor));
        QLinuxHidRawDev driver;
        QCOMPARE(driver.findDevice(), 0);
        QCOMPARE(driver.openDevice(), -1);
        HidrawNode pen(*m_desk->kernel, m_nextNode++, hidraw(0x05AF, 0x0060, penDescriptor));
        const HidrawNode keys(*m_desk->kernel, m_nextNode++,
                              hidraw(0x05AF, 0x0060, mouseDescriptor));
        QCOMPARE(driver.findDevice(), 1);
        QCOMPARE(driver.path(), pen.path());
        QCOMPARE(readFrom(driver).result, -1);
        QCOMPARE(driver.openDevice(), 1);
        pen.queueReport(QByteArray::fromHex("00000201030410000000000000000000"));
        pen.queueReport(QByteArray(15, '\x01'));
        const Sample sample = readFrom(driver);
        QCOMPARE(sample.result, 0);
        QCOMPARE(sample.x, 258);
        QCOMPARE(sample.y, 1027);
        QCOMPARE(sample.p, 16);
        QCOMPARE(readFrom(driver).result, -1);
        QCOMPARE(driver.closeDevice(), 1);
    }

    void aSecondCloseSparesWhateverHasTheNumberNow()
    {
        const HidrawNode pen(*m_desk->kernel, m_nextNode++, hidraw(0x05AF, 0x0060, penDescriptor));
        QLinuxHidRawDev driver;
        QCOMPARE(driver.findDevice(), 1);
        QCOMPARE(driver.openDevice(), 1);
        QCOMPARE(driver.closeDevice(), 1);
        const int stranger = ::open("/proc/self/stat", O_RDONLY);
        QCOMPARE(driver.closeDevice(), 1);
        QCOMPARE(readFrom(driver).result, -1);
        QVERIFY(::fcntl(stranger, F_GETFD) != -1);
        ::close(stranger);
    }

    void theInertDriverDoesNothing()
    {
        QLinuxHidDev driver;
        QCOMPARE(driver.findDevice(), 0);
        QCOMPARE(driver.openDevice(), -1);
        const Sample sample = readFrom(driver);
        QCOMPARE(sample.result, 0);
        QCOMPARE(sample.x, -7);
        QCOMPARE(driver.closeDevice(), 0);
    }

private:
    std::unique_ptr<ProcessOnDesk> m_desk;
    int m_nextNode = 0;
};

QTEST_GUILESS_MAIN(PadDriverTest)
#include "pad_driver_test.moc"
