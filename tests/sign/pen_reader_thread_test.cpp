// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/pen_reader_thread.h"
#include "tests/sign/process_on_desk.h"
#include "tests/support/output_capture.h"
#include "tests/support/patience.h"
#include "virtual/pad/signature_pad.h"

#include <QVector>
#include <QtTest>

using namespace virtual_desk;

using Sample = std::tuple<int, int, int>;

/// \brief Receives the thread's signals on the test's own thread (a signal spy would be called on
/// the other).
class Receiver : public QObject
{
public:
    explicit Receiver(QGetHandWrtingDevData& reader)
    {
        connect(&reader, &QThread::started, this, [this] { ++starts; });
        connect(&reader, &QGetHandWrtingDevData::readDataErro, this, [this] { ++failures; });
        connect(&reader, &QGetHandWrtingDevData::getDataOk, this,
                [this](int x, int y, int p) { samples.append({x, y, p}); });
    }

    int starts = 0;
    int failures = 0;
    QVector<Sample> samples;
};

class PenReaderThreadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_pad.emplace(*m_desk.kernel); }

    void init()
    {
        m_pad->device().plug();
        AWAIT_EQUAL(g_globalObj->handWritingDev->openDevice(), 1);
        m_pad->clearQueue();
        m_pad->device().clearLog();
    }

    void cleanup()
    {
        reader().stopReading();
        g_globalObj->handWritingDev->closeDevice();
    }

    void handsEverySampleOverInOrderHoweverOftenItIsStarted()
    {
        const Receiver received(reader());
        for (int i = 0; i < 3; ++i)
            reader().startReading();
        QVERIFY(reader().isRunning());
        QVector<Sample> sent;
        for (int i = 0; i < 100; ++i) {
            sent.append({i, 2 * i, 3 * i + 1});
            m_pad->pen(PenPoint{i, 2 * i, 3 * i + 1});
        }
        AWAIT_EQUAL(received.samples, sent);
        QCOMPARE(received.starts, 3);
    }

    void writesItsDiagnosticsForEachRound()
    {
        m_pad->pen(PenPoint{1, 2, 3});
        m_pad->queue(UsbAnswer::data("short"));
        const LogCapture log;
        const Receiver received(reader());
        reader().startReading();
        AWAIT(received.failures > 0);
        reader().stopReading();
        QCOMPARE(LogCapture::take().mid(0, 9).join('|'),
                 "qgethandwrtingdevdata|readData|libusb_interrupt_transfer ,ret = 0|"
                 "x = 1 , y = 2 , p = 3|getDataOk x = 1,y = 2,P = 3\n|"
                 "qgethandwrtingdevdata|readData|libusb_interrupt_transfer ,ret = 0|"
                 "readDataErro faild\n");
    }

    void aStopBeforeTheFirstRoundReadsNothing()
    {
        reader().stop = true;
        reader().start();
        QVERIFY(reader().wait(60000));
        QCOMPARE(m_pad->device().log(), QStringList());
    }

private:
    static QGetHandWrtingDevData& reader() { return *g_globalObj->readThread; }

    ProcessOnDesk m_desk;
    std::optional<SignaturePad> m_pad;
};

QTEST_GUILESS_MAIN(PenReaderThreadTest)
#include "pen_reader_thread_test.moc"
