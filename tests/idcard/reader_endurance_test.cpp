// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/hid_reader.h"
#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idcard/sam_number.h"
#include "tests/support/output_capture.h"
#include "tests/support/process_resources.h"
#include "tests/support/table.h"
#include "virtual/readers/identity_reader_hid.h"
#include "virtual/readers/identity_reader_usb.h"

#include <memory>

using namespace virtual_desk;

// A day at a counter in a minute: many reads, good and failed, in one process.
class ReaderEnduranceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingIsLeftBehind_data()
    {
        addRows<QString, QString, int>({{"read", "read", "", 1000},
                                        {"read no card", "read", "no card", 1000},
                                        {"read unplugged", "read", "unplugged", 1000},
                                        {"read held", "read", "held", 100},
                                        {"read no answer", "read", "no answer", 100},
                                        {"number", "number", "", 200},
                                        {"HID", "HID", "", 300},
                                        {"HID unplugged", "HID", "unplugged", 300},
                                        {"HID held", "HID", "held", 100}});
    }

    void nothingIsLeftBehind()
    {
        const auto [job, fault, rounds] = row<QString, QString, int>();
        VirtualKernel kernel;
        IdentityReaderUsb usb(kernel, IdentityReaderUsb::Module0503);
        IdentityReaderHid hid(kernel);
        if (fault != "unplugged") {
            usb.plug();
            hid.plug();
        }
        if (fault != "no card")
            usb.putCard(QByteArray(2304, 'C'));
        if (fault == "no answer")
            usb.replaceTransfersFrom(0, UsbAnswer::stall());
        usb.setHeldElsewhere(fault == "held");
        hid.setHeldElsewhere(fault == "held");

        const LogCapture log;
        OutputCapture output;
        OutputCapture errors(stderr);
        int good = 0;
        const auto repeat = [&, job = job](int times) {
            for (int i = 0; i < times; ++i) {
                good += run(job) ? 1 : 0;
                usb.clearLog();
                hid.clearLog();
                LogCapture::lines().clear();
            }
        };
        constexpr int warmUp = 20;
        repeat(warmUp);
        const int descriptors = openDescriptors();
        const std::size_t heap = heapInUse();
        repeat(rounds);
        const auto grown = static_cast<qint64>(heapInUse() - heap);
        output.take();
        errors.take();
        QCOMPARE(good, fault.isEmpty() ? warmUp + rounds : 0);
        // The virtual desk in this process sees a close late and keeps a few of its own.
        constexpr int desksOwn = 4;
        QTRY_VERIFY_WITH_TIMEOUT(openDescriptors() <= descriptors + desksOwn, 60000);
        constexpr qint64 noise = 100000; // bytes, of the virtual desk
        QVERIFY2(grown < noise, qPrintable(QString::number(grown)));
    }

private:
    // Whether the job succeeded.
    bool run(const QString& job)
    {
        if (job == "number")
            return querySamNumber().success;
        if (job == "HID") {
            char port[] = "USB1";
            return HidIDCard().ICC_Reader_Open(port) > 0;
        }
        char message[ReadIDCard::MessageBytes];
        return ReadIDCard().readCard(m_info.get(), message) == ReadIDCard::CardRead;
    }

    std::unique_ptr<IDINFO> m_info = std::make_unique<IDINFO>();
};

QTEST_GUILESS_MAIN(ReaderEnduranceTest)
#include "reader_endurance_test.moc"
