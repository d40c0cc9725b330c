// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/hid_reader.h"
#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idcard/sam_number.h"
#include "tests/support/output_capture.h"
#include "tests/support/process_resources.h"
#include "virtual/readers/identity_reader_hid.h"
#include "virtual/readers/identity_reader_usb.h"

#include <QtTest>

#include <memory>

using namespace virtual_desk;

// A day at a counter in a minute: many reads, good and failed, in one process.
class ReaderEnduranceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_kernel = std::make_unique<VirtualKernel>();
        m_usb = std::make_unique<IdentityReaderUsb>(*m_kernel, IdentityReaderUsb::Module0503);
        m_hid = std::make_unique<IdentityReaderHid>(*m_kernel);
    }

    void init()
    {
        m_usb->resetFaults();
        m_usb->setHeldElsewhere(false);
        m_hid->setHeldElsewhere(false);
        m_usb->putCard(QByteArray(2304, 'C'));
    }

    void nothingIsLeftBehind_data()
    {
        QTest::addColumn<QString>("job");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("rounds");
        const auto row = [](const char* job, const char* fault, int rounds) {
            QTest::addRow("%s %s", job, fault) << job << fault << rounds;
        };
        row("read", "", 1000);
        row("read", "no card", 1000);
        row("read", "unplugged", 1000);
        row("read", "held", 100);
        row("read", "no answer", 100);
        row("number", "", 200);
        row("number", "unplugged", 200);
        row("number", "held", 100);
        row("number", "no answer", 100);
        row("HID", "", 300);
        row("HID", "unplugged", 300);
        row("HID", "held", 100);
    }

    void nothingIsLeftBehind()
    {
        QFETCH(QString, job);
        QFETCH(QString, fault);
        QFETCH(int, rounds);
        putFault(fault);
        const bool good = fault.isEmpty();
        const LogCapture log;
        OutputCapture output;
        OutputCapture errors(stderr);
        int asExpected = 0;
        const auto repeat = [&](int times) {
            for (int i = 0; i < times; ++i) {
                asExpected += run(job) == good ? 1 : 0;
                m_usb->clearLog();
                m_hid->clearLog();
                LogCapture::lines().clear();
            }
        };
        constexpr int warmUp = 20;
        repeat(warmUp);
        const int descriptors = openDescriptors();
        const std::size_t heap = heapInUse();
        repeat(rounds);
        const std::size_t grown = heapInUse() - heap;
        output.take();
        errors.take();
        QCOMPARE(asExpected, warmUp + rounds);
        // The virtual desk in this process sees a close late and keeps a few of its own.
        constexpr int desksOwn = 4;
        QTRY_VERIFY(openDescriptors() <= descriptors + desksOwn);
        constexpr qint64 noise = 100000; // of the virtual desk in this process
        QVERIFY2(static_cast<qint64>(grown) < noise, qPrintable(QString::number(grown)));
    }

private:
    void putFault(const QString& fault)
    {
        const bool held = fault == QLatin1String("held");
        const bool plugged = fault != QLatin1String("unplugged");
        if (plugged != m_usb->isPlugged()) {
            plugged ? m_usb->plug() : m_usb->unplug();
            plugged ? m_hid->plug() : m_hid->unplug();
        }
        m_usb->setHeldElsewhere(held);
        m_hid->setHeldElsewhere(held);
        if (fault == QLatin1String("no card"))
            m_usb->takeCard();
        if (fault == QLatin1String("no answer"))
            m_usb->replaceTransfersFrom(0, UsbAnswer::stall());
    }

    // Whether the job succeeded.
    bool run(const QString& job)
    {
        if (job == QLatin1String("number"))
            return querySamNumber().success;
        if (job == QLatin1String("HID")) {
            char port[] = "USB1";
            return HidIDCard().ICC_Reader_Open(port) > 0;
        }
        char message[ReadIDCard::MessageBytes];
        return ReadIDCard().readCard(m_info.get(), message) == ReadIDCard::CardRead;
    }

    std::unique_ptr<VirtualKernel> m_kernel;
    std::unique_ptr<IdentityReaderUsb> m_usb;
    std::unique_ptr<IdentityReaderHid> m_hid;
    std::unique_ptr<IDINFO> m_info = std::make_unique<IDINFO>();
};

QTEST_GUILESS_MAIN(ReaderEnduranceTest)
#include "reader_endurance_test.moc"
