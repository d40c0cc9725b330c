// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/pen_reader_thread.h"
#include "tests/sign/process_on_desk.h"
#include "tests/support/output_capture.h"
#include "virtual/pad/signature_pad.h"

#include <QVector>
#include <QtTest>

using namespace virtual_desk;

/// \brief Receives the thread's signals on the test's own thread (a signal spy would be called on
/// the other).
class Receiver : public QObject
{
public:
    explicit Receiver(QGetHandWrtingDevData& reader)
    {
        connect(&reader, &QGetHandWrtingDevData::getDataOk, this,
                [this](int x, int y, int p) { samples.append({x, y, p}); });
        connect(&reader, &QGetHandWrtingDevData::readDataErro, this, [this] { ++failures; });
    }

    QVector<PenPoint> samples;
    int failures = 0;
};

class PenReaderThreadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_desk = std::make_unique<ProcessOnDesk>();
        m_pad = std::make_unique<SignaturePad>(*m_desk->kernel);
    }

    void init()
    {
        m_pad->device().plug();
        QTRY_COMPARE(g_globalObj->handWritingDev->openDevice(), 1);
        m_pad->clearQueue();
    }

    void cleanup()
    {
        reader().stopReading();
        g_globalObj->handWritingDev->closeDevice();
    }

    void handsEverySampleToTheOtherThreadInOrder()
    {
        const Receiver received(reader());
        const std::vector<PenPoint> points = PadGeometry().signature({100, 100, 400, 200});
        m_pad->pen(points);
        reader().startReading();
        QTRY_COMPARE(received.samples.size(), static_cast<int>(points.size()));
        for (int i = 0; i < received.samples.size(); ++i) {
            const PenPoint& sent = points[static_cast<std::size_t>(i)];
            const PenPoint& sample = received.samples[i];
            QCOMPARE(sample.x, sent.x);
            QCOMPARE(sample.y, sent.y);
            QCOMPARE(sample.pressure, sent.pressure);
        }
    }

    void writesItsDiagnosticsForEachRound()
    {
        m_pad->pen(PenPoint{1, 2, 3});
        m_pad->queue(UsbAnswer::data("short"));
        LogCapture diagnostics;
        const Receiver received(reader());
        reader().startReading();
        QTRY_VERIFY(received.failures > 0);
        reader().stopReading();
        QCOMPARE(diagnostics.take().mid(0, 9),
                 QStringList({"qgethandwrtingdevdata", "readData",
                              "libusb_interrupt_transfer ,ret = 0", "x = 1 , y = 2 , p = 3",
                              "getDataOk x = 1,y = 2,P = 3\n", "qgethandwrtingdevdata", "readData",
                              "libusb_interrupt_transfer ,ret = 0", "readDataErro faild\n"}));
    }

    void aLiftedPenAndAPulledPadFailAtTheSamePace_data()
    {
        QTest::addColumn<bool>("pulled");
        QTest::newRow("lifted pen") << false;
        QTest::newRow("pulled pad") << true;
    }

    void aLiftedPenAndAPulledPadFailAtTheSamePace()
    {
        QFETCH(bool, pulled);
        if (pulled)
            m_pad->device().unplug();
        const Receiver received(reader());
        reader().startReading();
        QTest::qWait(1600);
        reader().stopReading();
        QVERIFY(!reader().isRunning());
        QCoreApplication::processEvents();
        QVERIFY2(received.failures >= 4 && received.failures <= 6,
                 qPrintable(QString::number(received.failures)));
    }

    void aStartWhileReadingLeavesOneLoop()
    {
        const Receiver received(reader());
        for (int i = 0; i < 3; ++i)
            reader().startReading();
        QVERIFY(reader().isRunning());
        m_pad->pen(PenPoint{7, 8, 9});
        QTRY_VERIFY(!received.samples.isEmpty());
        QTest::qWait(50);
        QCOMPARE(received.samples.size(), 1);
    }

    void aStopBeforeTheFirstRoundReadsNothing()
    {
        m_pad->device().clearLog();
        reader().stop = true;
        reader().start();
        QVERIFY(reader().wait(2000));
        QCOMPARE(m_pad->device().log(), QStringList());
    }

    void manyStartsAndStopsLoseNoSample()
    {
        const Receiver received(reader());
        for (int i = 0; i < 8; ++i) {
            reader().startReading();
            m_pad->pen(PenPoint{i, i, i});
            QTRY_COMPARE(received.samples.size(), i + 1);
            reader().stopReading();
        }
    }

private:
    static QGetHandWrtingDevData& reader() { return *g_globalObj->readThread; }

    std::unique_ptr<ProcessOnDesk> m_desk;
    std::unique_ptr<SignaturePad> m_pad;
};

QTEST_GUILESS_MAIN(PenReaderThreadTest)
#include "pen_reader_thread_test.moc"
