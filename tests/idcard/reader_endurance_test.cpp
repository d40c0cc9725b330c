// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/hid_reader.h"
#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idcard/sam_number.h"
#include "tests/support/output_capture.h"
#include "tests/support/patience.h"
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
        usb.plug();
        hid.plug();
        usb.putCard(QByteArray(2304, 'C'));
        if (fault == "unplugged") {
            usb.unplug();
            hid.unplug();
        } else if (fault == "no card")
            usb.takeCard();
        else if (fault == "no answer")
            usb.replaceTransfersFrom(0, UsbAnswer::stall());
        usb.setHeldElsewhere(fault == "held");
        hid.setHeldElsewhere(fault == "held");

        const LogCapture log;
        OutputCapture output;
        OutputCapture errors(stderr);
        constexpr int warmUp = 20;
        int good = 0;
        int descriptors = 0;
        qint64 heap = 0;
        for (int i = 0; i < warmUp + rounds; ++i) {
            descriptors = i == warmUp ? openDescriptors() : descriptors;
            heap = i == warmUp ? qint64(heapInUse()) : heap;
            good += succeeds(job) ? 1 : 0;
            usb.clearLog();
            hid.clearLog();
            LogCapture::lines().clear();
        }
        const qint64 grown = qint64(heapInUse()) - heap;
        output.take();
        errors.take();
        QCOMPARE(good, fault.isEmpty() ? warmUp + rounds : 0);
        // The virtual desk in this process sees a close late and keeps a few descriptors of its
        // own, and some bytes.
        AWAIT(openDescriptors() <= descriptors + 4);
        QVERIFY2(grown < 100000, qPrintable(QString::number(grown)));
    }

private:
    bool succeeds(const QString& job)
    {
        char text[ReadIDCard::MessageBytes] = "USB1";
        if (job == "number")
            return querySamNumber().success;
        if (job == "HID")
            return HidIDCard().ICC_Reader_Open(text) > 0;
        return ReadIDCard().readCard(m_info.get(), text) == ReadIDCard::CardRead;
    }

    std::unique_ptr<IDINFO> m_info = std::make_unique<IDINFO>();
};

QTEST_GUILESS_MAIN(ReaderEnduranceTest)
#include "reader_endurance_test.moc"
