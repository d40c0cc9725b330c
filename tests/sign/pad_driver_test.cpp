// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/hidraw_writing_device.h"
#include "sign/inert_writing_device.h"
#include "sign/libusb_writing_device.h"
#include "tests/sign/process_on_desk.h"
#include "tests/support/output_capture.h"
#include "tests/support/patience.h"
#include "tests/support/process_resources.h"
#include "virtual/kernel/hidraw_node.h"
#include "virtual/pad/signature_pad.h"

#include <QtTest>

#include <fcntl.h>

using namespace virtual_desk;

namespace {

const QByteArray penDescriptor = QByteArray::fromHex("0602FF0901A101");
const QByteArray mouseDescriptor = QByteArray::fromHex("05010902A10109");

/// Result, x, y and pressure of a read; what the driver leaves alone is -7.
QVector<int> readFrom(QHidWritingDevice& driver)
{
    QVector<int> sample{99, -7, -7, -7};
    sample[0] = driver.readData(sample[1], sample[2], sample[3]);
    return sample;
}

} // namespace

class PadDriverTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_pad.emplace(*m_desk.kernel); }

    void init()
    {
        m_pad->device().plug();
        m_pad->device().clearLog();
        m_pad->clearQueue();
        m_driver.emplace();
        m_openBefore = openDescriptors("/dev");
    }

    void convertsDeviceUnitsToPixels()
    {
        QCOMPARE(convertPhysicalTologicalValue(5, 3, 10), 16); // division first
        QCOMPARE(convertPhysicalTologicalValue(21692, 21692, 1280), 1280);
        QCOMPARE(convertPhysicalTologicalValue(-5, 3, 10), -16); // toward zero
        QCOMPARE(convertPhysicalTologicalValue(65535, 21692, INT_MAX), INT_MAX);
        QCOMPARE(convertPhysicalTologicalValue(65535, 21692, INT_MIN), INT_MIN);
        QCOMPARE(convertPhysicalTologicalValue(0, 0, 10), 0);
    }

    void takesThePadFromTheKernelAndGivesItBackOnce()
    {
        const LogCapture log;
        OutputCapture output;
        QCOMPARE(m_driver->openDevice(), 1);
        QCOMPARE(LogCapture::take(), QStringList("Kernel Driver Detached!\n"));
        QCOMPARE(m_driver->openDevice(), 1); // lets go of the first handle
        m_driver->giveBack();
        QCOMPARE(m_driver->closeDevice(), 1);
        m_driver->giveBack();
        QCOMPARE(output.take(), "Released hid Interface!\nReleased hid Interface!\n");
        QCOMPARE(m_pad->device().log().join('|'),
                 "claim 0: EBUSY|detach 0|claim 0|release 0|claim 0|release 0|attach 0");
        QCOMPARE(m_driver->openDevice(), 1);
        m_pad->device().unplug();
        AWAIT_EQUAL(m_driver->findDevice(), 0);
        OutputCapture after;
        QCOMPARE(m_driver->closeDevice(), 1);
        QCOMPARE(after.take(), "Cannot hid Released Interface!\n");
        LogCapture::take();
        QCOMPARE(m_driver->openDevice(), -1);
        QCOMPARE(LogCapture::take(), QStringList("Cannot open device\n"));
    }

    void leavesNothingOpen()
    {
        QCOMPARE(m_driver->findDevice(), 1);
        AWAIT_EQUAL(openDescriptors("/dev"), m_openBefore);
        OutputCapture errors(stderr);
        OutputCapture output;
        QCOMPARE(m_driver->openDevice(), 1);
        QCOMPARE(m_driver->closeDevice(), 1);
        m_pad->device().setInterfaceHeldElsewhere(true);
        QCOMPARE(m_driver->openDevice(), -2);
        QCOMPARE(output.take().count("Released"), 1);
        QVERIFY(errors.take().contains("Cannot Claim Interface\n"));
        QCOMPARE(m_pad->device().log().join('|'),
                 "claim 0: EBUSY|detach 0|claim 0|release 0|claim 0: EBUSY|claim 0: EBUSY");
        AWAIT_EQUAL(openDescriptors("/dev"), m_openBefore);
        m_pad->device().setInterfaceHeldElsewhere(false);
        QCOMPARE(m_driver->openDevice(), 1);
        m_driver.reset();
        QCOMPARE(m_pad->device().log().last(), "release 0");
        AWAIT_EQUAL(openDescriptors("/dev"), m_openBefore);
    }

    void readsReports()
    {
        const QByteArray report = QByteArray::fromHex("FFFF020103041000FFFFFFFFFFFFFFFF");
        const QVector<int> failed{-1, -7, -7, -7};
        const std::tuple<UsbAnswer, QString, QVector<int>> reads[] = {
            {UsbAnswer::data(report.left(8)), "0|x = 258 , y = 1027 , p = 16", {0, 258, 1027, 16}},
            {UsbAnswer::data(report.left(7)), "0", {-2, -7, -7, -7}},
            {UsbAnswer::data(QByteArray(40, '\x01')), "-8", failed}, // too long
            {UsbAnswer::data(report).after(600), "-7", failed},
            {UsbAnswer::unplug(), "-4", failed}};
        const LogCapture log;
        for (const auto& [answer, lines, sample] : reads) {
            QCOMPARE(m_driver->openDevice(), 1);
            m_pad->clearQueue();
            m_pad->queue(answer);
            LogCapture::take();
            QElapsedTimer timer;
            timer.start();
            QCOMPARE(readFrom(*m_driver), sample);
            const bool keepsThePaceOfALiftedPen = timer.elapsed() >= 295;
            QVERIFY(sample[0] == 0 || keepsThePaceOfALiftedPen);
            QCOMPARE(LogCapture::take().join('|'),
                     "readData|libusb_interrupt_transfer ,ret = " + lines);
        }
        m_driver->closeDevice();
        QCOMPARE(readFrom(*m_driver), failed);
    }

    void judgesHidrawNodes()
    {
        const auto judged = [this](HidrawDescription description) {
            const HidrawNode node(*m_desk.kernel, m_nextNode++, description);
            const int judgement = isMyHidraw(node.path().constData());
            return QLinuxHidRawDev().findDevice() == judgement ? judgement : -1;
        };
        const OutputCapture errors(stderr);
        QCOMPARE(judged(padNode(penDescriptor)), 1);
        QCOMPARE(judged(padNode(penDescriptor.left(3))), 1);
        QCOMPARE(judged(padNode(penDescriptor.left(2))), 0);
        QCOMPARE(judged(padNode("\x06\x02\xFE")), 0);
        QCOMPARE(judged({0x046D, 0x0060, mouseDescriptor}), 1); // another maker
        QCOMPARE(judged({0x05AF, 0x0061, mouseDescriptor}), 1); // another product
        QCOMPARE(judged({0x05AF, 0x0060, penDescriptor, true}), 0);
        QCOMPARE(judged({0x05AF, 0x0060, penDescriptor, false, true}), 0);
        QCOMPARE(judged({0x05AF, 0x0060, mouseDescriptor, false, false, true}), 1);
        QCOMPARE(isMyHidraw("/dev/hidraw-missing"), 0);
        QCOMPARE(openDescriptors("/dev"), m_openBefore);
    }

    void takesThePenNodeAmongThePadsNodes()
    {
        const HidrawNode mouse(*m_desk.kernel, m_nextNode++, padNode(mouseDescriptor));
        std::optional<QLinuxHidRawDev> driver(std::in_place);
        QCOMPARE(driver->findDevice(), 0);
        QCOMPARE(driver->openDevice(), -1);
        HidrawNode pen(*m_desk.kernel, m_nextNode++, padNode(penDescriptor));
        const HidrawNode keys(*m_desk.kernel, m_nextNode++, padNode(mouseDescriptor));
        QCOMPARE(driver->findDevice(), 1);
        QCOMPARE(driver->path(), pen.path());
        for (int opening = 0; opening < 3; ++opening)
            QCOMPARE(driver->openDevice(), 1);
        QCOMPARE(openDescriptors("/dev"), m_openBefore + 1);
        pen.queueReport(QByteArray::fromHex("00000201030410000000000000000000"));
        pen.queueReport(QByteArray(15, '\x01'));
        QCOMPARE(readFrom(*driver), QVector<int>({0, 258, 1027, 16}));
        QCOMPARE(readFrom(*driver), QVector<int>({-1, -7, -7, -7}));
        QCOMPARE(driver->closeDevice(), 1);
        QCOMPARE(openDescriptors("/dev"), m_openBefore);
        const int stranger =
            ::open("/proc/self/stat", O_RDONLY); // gets the number of the closed one
        QCOMPARE(driver->closeDevice(), 1);
        QCOMPARE(readFrom(*driver)[0], -1);
        QCOMPARE(::close(stranger), 0);
        QCOMPARE(driver->openDevice(), 1);
        driver.reset();
        QCOMPARE(openDescriptors("/dev"), m_openBefore);
    }

    void theInertDriverDoesNothing()
    {
        QLinuxHidDev driver;
        QCOMPARE(driver.findDevice(), 0);
        QCOMPARE(driver.openDevice(), -1);
        QCOMPARE(readFrom(driver), QVector<int>({0, -7, -7, -7}));
        QCOMPARE(driver.closeDevice(), 0);
    }

private:
    static HidrawDescription padNode(const QByteArray& descriptor)
    {
        return {0x05AF, 0x0060, descriptor};
    }

    ProcessOnDesk m_desk;
    std::optional<SignaturePad> m_pad;
    std::optional<QHandWritingDevForLibUsb> m_driver;
    int m_nextNode = 0;
    int m_openBefore = 0;
};

QTEST_GUILESS_MAIN(PadDriverTest)
#include "pad_driver_test.moc"
