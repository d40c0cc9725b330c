// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// What a pen sample costs: on a small and a large canvas beside the bare painter's line, and from
// the virtual pad's report to ink. Ratios are what counts; times depend on the machine.

#include "sign/libusb_writing_device.h"
#include "sign/pen_reader_thread.h"
#include "sign/session_state.h"
#include "sign/signing_window.h"
#include "virtual/pad/signature_pad.h"

#include <QApplication>
#include <QPainter>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

using namespace virtual_desk;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int rounds = 15;
constexpr int samplesPerRound = 400;

double microsecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Strokes like handwriting: steps of a few pixels around the middle, the same on every canvas.
QPoint handAt(int step)
{
    return {100 + (step * 7) % 200, 60 + (step * 3) % 100};
}

// A window on screen whose canvas has that size.
struct Desk
{
    explicit Desk(const QSize& canvas)
    {
        g_SignData = struct_GLOBALSSIGNDATA();
        g_SignData.x = 0;
        g_SignData.y = 0;
        const int other = g_SignData.height - MainWindow().canvas->height();
        g_SignData.width = canvas.width();
        g_SignData.height = canvas.height() + other;
        window = std::make_unique<MainWindow>();
        window->show();
        for (int i = 0; i < 20; ++i)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }

    std::unique_ptr<MainWindow> window;
};

// Median microseconds of one sample, drawn and (with `repainted`) on the screen.
double sampleCost(const QSize& canvas, bool repainted)
{
    const Desk desk(canvas);
    std::vector<double> costs;
    for (int round = 0; round < rounds; ++round) {
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < samplesPerRound; ++i) {
            const QPoint place = handAt(i);
            desk.window->DrawWgtHandWriting(place.x(), place.y(), 700);
            if (repainted)
                QCoreApplication::processEvents();
        }
        costs.push_back(microsecondsSince(start) / samplesPerRound);
        QCoreApplication::processEvents();
    }
    return median(costs);
}

double bareLineCost()
{
    QPixmap canvas(400, 220);
    canvas.fill(Qt::white);
    std::vector<double> costs;
    for (int round = 0; round < rounds; ++round) {
        const Clock::time_point start = Clock::now();
        for (int i = 1; i <= samplesPerRound; ++i) {
            QPainter painter(&canvas);
            painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
            painter.setPen(QPen(QColor(0, 0, 0), 3, Qt::SolidLine, Qt::RoundCap));
            painter.drawLine(QPointF(handAt(i - 1)), QPointF(handAt(i)));
        }
        costs.push_back(microsecondsSince(start) / samplesPerRound);
    }
    return median(costs);
}

void reportSampleCosts()
{
    const QSize small(400, 220);
    const QSize large(1280, 720);
    const double bare = bareLineCost();
    const double onSmall = sampleCost(small, false);
    const double onLarge = sampleCost(large, false);
    const double shownSmall = sampleCost(small, true);
    const double shownLarge = sampleCost(large, true);
    std::printf("%-44s %8.2f us\n", "bare painter line", bare);
    std::printf("%-44s %8.2f us  %5.2f x bare line (aim 2)\n", "sample on 400 x 220", onSmall,
                onSmall / bare);
    std::printf("%-44s %8.2f us  %5.2f x bare line (aim 2), %.2f x small (aim 1.3)\n",
                "sample on 1280 x 720", onLarge, onLarge / bare, onLarge / onSmall);
    std::printf("%-44s %8.2f us\n", "sample on 400 x 220, repainted at once", shownSmall);
    std::printf("%-44s %8.2f us  %5.2f x small (aim 1.3)\n",
                "sample on 1280 x 720, repainted at once", shownLarge, shownLarge / shownSmall);
}

// Plays points at a rate and prints how long each took from the pad to ink.
void reportLatency(SignaturePad& pad, int reportsPerSecond, int count)
{
    const Desk desk(QSize(1280, 720));
    std::vector<Clock::time_point> sent(static_cast<std::size_t>(count));
    std::vector<double> latencies;
    int mostQueued = 0;
    QObject receiver;
    QObject::connect(g_globalObj->readThread, &QGetHandWrtingDevData::getDataOk, desk.window.get(),
                     &MainWindow::on_getDataOk);
    QObject::connect(g_globalObj->readThread, &QGetHandWrtingDevData::getDataOk, &receiver,
                     [&](int, int, int) {
                         latencies.push_back(microsecondsSince(sent[latencies.size()]));
                         mostQueued = std::max(mostQueued, pad.queued());
                     });
    g_globalObj->readThread->startReading();
    std::thread hand([&] {
        const auto pace = std::chrono::nanoseconds(std::chrono::seconds(1)) / reportsPerSecond;
        Clock::time_point due = Clock::now();
        for (int i = 0; i < count; ++i, due += pace) {
            std::this_thread::sleep_until(due);
            const QPoint place = handAt(i);
            const PenPoint point = PadGeometry().at(place, 700);
            sent[static_cast<std::size_t>(i)] = Clock::now();
            pad.pen(point);
        }
    });
    const auto giveUp = Clock::now() + std::chrono::seconds(count / reportsPerSecond + 5);
    while (static_cast<int>(latencies.size()) < count && Clock::now() < giveUp)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 20);
    hand.join();
    g_globalObj->readThread->stopReading();
    const std::size_t tenth = latencies.size() / 10;
    const double first = median({latencies.begin(), latencies.begin() + static_cast<long>(tenth)});
    const double last = median({latencies.end() - static_cast<long>(tenth), latencies.end()});
    std::printf(
        "%4d reports/s: %zu of %d drawn, report to ink %.2f ms median, %.2f ms in the first tenth,"
        " %.2f ms in the last, most queued %d\n",
        reportsPerSecond, latencies.size(), count, median(latencies) / 1000, first / 1000,
        last / 1000, mostQueued);
}

} // namespace

int main(int argc, char* argv[])
{
    VirtualKernel::restartUnderPreload(argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const QApplication application(argc, argv);
    reportSampleCosts();
    std::fflush(stdout);

    delete static_cast<QHandWritingDevForLibUsb*>(g_globalObj->handWritingDev);
    VirtualKernel kernel;
    SignaturePad pad(kernel);
    pad.device().plug();
    g_globalObj->handWritingDev = new QHandWritingDevForLibUsb;
    if (g_globalObj->handWritingDev->openDevice() != 1)
        return 1;
    reportLatency(pad, 200, 1000);
    reportLatency(pad, 1000, 10000);
    g_globalObj->handWritingDev->closeDevice();
    return 0;
}
