// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The capture window: one step of its preview at each resolution beside the cheapest way to the
// same pixels, and the time from the command to the first picture on the display beside a bare
// OpenCV program's time to its first frame.

#include "camera/preview.h"
#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"
#include "virtual/support/window_operator.h"

#include <QApplication>
#include <QLabel>
#include <QProcess>
#include <QScreen>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

using namespace virtual_desk;

namespace {

constexpr double previewInterval = 33; // ms
constexpr QSize labelSize(500, 400);

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double milliseconds(const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

cv::Mat frameOf(QSize size)
{
    const QImage scene = drawScene(Scene::Document, size).convertToFormat(QImage::Format_BGR888);
    cv::Mat frame(size.height(), size.width(), CV_8UC3);
    for (int y = 0; y < size.height(); ++y)
        std::memcpy(frame.ptr(y), scene.constScanLine(y), frame.step);
    return frame;
}

QPixmap windowsWay(const cv::Mat& frame)
{
    static QImage shown; // the window keeps it for the picture
    shown = previewImage(frame, labelSize);
    return QPixmap::fromImage(shown);
}

// What the preview would be without care: every pixel of the frame converted, then scaled.
QPixmap wholeFrameWay(const cv::Mat& frame)
{
    const QImage wrapped(frame.data, frame.cols, frame.rows, static_cast<int>(frame.step),
                         QImage::Format_RGB888);
    return QPixmap::fromImage(
        wrapped.rgbSwapped().scaled(labelSize, Qt::IgnoreAspectRatio, Qt::FastTransformation));
}

// Straight from the frame into the format of the display, with no step between.
QPixmap cheapestWay(const cv::Mat& frame)
{
    QImage shown(labelSize, QImage::Format_RGB32);
    std::vector<int> columns;
    for (int x = 0; x < labelSize.width(); ++x)
        columns.push_back((2 * x + 1) * frame.cols / (2 * labelSize.width()) * 3);
    for (int y = 0; y < labelSize.height(); ++y) {
        const uchar* row = frame.ptr((2 * y + 1) * frame.rows / (2 * labelSize.height()));
        auto* out = reinterpret_cast<QRgb*>(shown.scanLine(y));
        for (int column : columns)
            *out++ = qRgb(row[column + 2], row[column + 1], row[column]);
    }
    return QPixmap::fromImage(std::move(shown));
}

void comparePreviewSteps()
{
    QLabel label;
    label.resize(labelSize);
    label.show();
    for (int turn = 0; turn < 100; ++turn) { // until the display and the processor are awake
        QApplication::processEvents(QEventLoop::AllEvents, 10);
        label.setPixmap(wholeFrameWay(frameOf({2592, 1944})));
    }
    std::printf("%-28s %12s %12s %8s %8s %12s %12s\n", "preview step, frame to label",
                "cheapest ms", "window ms", "ratio", "aim", "whole frame", "of 33 ms");
    for (QSize size : deskCameraSizes()) {
        const cv::Mat frame = frameOf(size);
        std::vector<double> cheapest;
        std::vector<double> window;
        std::vector<double> whole;
        for (int round = 0; round < 200; ++round) { // in turn, to meet the same disturbances
            const auto show = [&](QPixmap (*way)(const cv::Mat&)) {
                return milliseconds([&] {
                    label.setPixmap(way(frame));
                    label.repaint();
                });
            };
            cheapest.push_back(show(cheapestWay));
            window.push_back(show(windowsWay));
            whole.push_back(show(wholeFrameWay));
        }
        std::printf("%4d x %-21d %12.2f %12.2f %8.2f %8.2f %12.2f %11.0f%%\n", size.width(),
                    size.height(), median(cheapest), median(window),
                    median(window) / median(cheapest), 1.3, median(whole),
                    100 * median(window) / previewInterval);
    }
}

// Whether the desk's wood, the largest colour of the virtual document, is anywhere on the display.
bool documentOnDisplay()
{
    const QImage display = QGuiApplication::primaryScreen()->grabWindow(0).toImage();
    for (int y = 0; y < display.height(); y += 30) {
        for (int x = 0; x < display.width(); x += 20) {
            const QColor colour = display.pixelColor(x, y);
            if (std::abs(colour.red() - 92) < 8 && std::abs(colour.green() - 74) < 8 &&
                std::abs(colour.blue() - 58) < 8) {
                return true;
            }
        }
    }
    return false;
}

double pictureMilliseconds(DeskClient& client)
{
    const CaptureOperator person;
    const double spent = milliseconds([&client] {
        client.command(QStringLiteral("ZCCameraPic"));
        while (!documentOnDisplay())
            QThread::msleep(1);
    });
    person.press({"Escape"});
    client.reply();
    return spent;
}

void compareFirstPictures(Camera& camera)
{
    constexpr int rounds = 9;
    std::vector<double> bare;
    std::vector<double> first;
    std::vector<double> later;
    for (int round = 0; round < rounds; ++round) {
        camera.setDequeueTimeout(1000); // as select() would wait on a real node
        bare.push_back(milliseconds(
            [] { QProcess::execute(QStringLiteral(DESK_BIN_DIR "/bare_capture"), {"0"}); }));
        camera.setDequeueTimeout(0);
        ServiceProcess service;
        DeskClient client;
        if (!service.start() || !client.open()) {
            std::fprintf(stderr, "the service does not start\n");
            return;
        }
        first.push_back(pictureMilliseconds(client));
        later.push_back(pictureMilliseconds(client));
    }
    std::printf("\n%-40s %12s %8s\n", "time to the first picture", "ms", "ratio");
    const auto row = [&bare](const char* name, const std::vector<double>& times) {
        std::printf("%-40s %12.0f %8.2f\n", name, median(times), median(times) / median(bare));
    };
    row("bare program, start to first frame", bare);
    row("first command, to picture on display", first);
    row("later commands", later);
}

} // namespace

int main(int argc, char* argv[])
{
    VirtualKernel::restartUnderPreload(argv);
    QApplication application(argc, argv);
    comparePreviewSteps();
    VirtualKernel kernel;
    Camera camera(kernel, CameraDescription());
    camera.plugIn();
    compareFirstPictures(camera);
    return 0;
}
