// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// What unmodified OpenCV sees of the virtual cameras.

#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"

#include <QElapsedTimer>
#include <QTest>

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/videoio.hpp>

using namespace virtual_desk;

namespace {

QImage next(cv::VideoCapture& capture)
{
    cv::Mat frame;
    if (!capture.read(frame))
        return {};
    return QImage(frame.data, frame.cols, frame.rows, static_cast<int>(frame.step),
                  QImage::Format_BGR888)
        .copy();
}

void setSize(cv::VideoCapture& capture, QSize size)
{
    capture.set(cv::CAP_PROP_FRAME_WIDTH, size.width());
    capture.set(cv::CAP_PROP_FRAME_HEIGHT, size.height());
}

CameraDescription at(int number, Scene scene)
{
    CameraDescription description;
    description.number = number;
    description.scene = scene;
    return description;
}

} // namespace

class VirtualCameraTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_ERROR);
        qputenv("OPENCV_VIDEOIO_PRIORITY_GPHOTO2", "0"); // its failed searches leave memory behind
    }

    void streamsItsSceneAtEverySize_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("compressed");
        for (QSize size : deskCameraSizes()) {
            for (bool compressed : {false, true}) {
                QTest::addRow("%d x %d %s", size.width(), size.height(),
                              compressed ? "JPEG" : "YUYV")
                    << size << compressed;
            }
        }
    }
    void streamsItsSceneAtEverySize()
    {
        QFETCH(QSize, size);
        QFETCH(bool, compressed);
        VirtualKernel kernel;
        CameraDescription description = at(0, Scene::TestCard);
        description.compressed = compressed;
        Camera camera(kernel, description);
        camera.plugIn();

        cv::VideoCapture capture(0);
        QVERIFY(capture.isOpened());
        setSize(capture, size);
        const QImage first = next(capture);
        QCOMPARE(first.size(), size);
        const double difference = sceneDifference(first, drawScene(Scene::TestCard, {400, 300}));
        QVERIFY2(difference < 6, qPrintable(QString::number(difference)));
        QVERIFY(readFrameNumber(first) >= 0);
        QVERIFY(readFrameNumber(next(capture)) > readFrameNumber(first));
        QVERIFY(camera.isStreaming());
        capture.release();
        QVERIFY(!camera.isStreaming());
    }

    void twoCamerasStreamAtOnce()
    {
        VirtualKernel kernel;
        Camera document(kernel, at(0, Scene::Document));
        Camera portrait(kernel, at(3, Scene::Portrait));
        document.plugIn();
        portrait.plugIn();
        cv::VideoCapture first(0);
        cv::VideoCapture second(3);
        for (int frame = 0; frame < 5; ++frame) {
            QVERIFY(sceneDifference(next(first), drawScene(Scene::Document, {400, 300})) < 6);
            QVERIFY(sceneDifference(next(second), drawScene(Scene::Portrait, {400, 300})) < 6);
        }
    }

    void keepsRealTimeAndDropsWhatNobodyTakes()
    {
        VirtualKernel kernel;
        Camera camera(kernel, at(0, Scene::Document));
        camera.plugIn();
        cv::VideoCapture capture(0);
        const int before = readFrameNumber(next(capture));
        QTest::qSleep(1000);
        for (int queued = 0; queued < 4; ++queued) // what the four buffers still held
            next(capture);
        const int after = readFrameNumber(next(capture));
        QVERIFY2(after - before >= 28 && after - before < 60, qPrintable(QString::number(after)));
    }

    void hasOneUserAtATime()
    {
        VirtualKernel kernel;
        Camera camera(kernel, at(0, Scene::Document));
        camera.plugIn();
        cv::VideoCapture first(0);
        QVERIFY(!next(first).isNull());
        QVERIFY(!cv::VideoCapture(0).isOpened());
        first.release();
        QVERIFY(cv::VideoCapture(0).isOpened());
        camera.setBusy(true);
        QVERIFY(!cv::VideoCapture(0).isOpened());
    }

    void failsAtOnceWhenUnpluggedAndComesBack()
    {
        VirtualKernel kernel;
        Camera camera(kernel, at(0, Scene::Document));
        camera.plugIn();
        cv::VideoCapture capture(0);
        QVERIFY(!next(capture).isNull());
        camera.unplug();
        QVERIFY(next(capture).isNull());
        QVERIFY(!cv::VideoCapture(0).isOpened());

        camera.plugIn();
        QVERIFY2(next(capture).isNull(), "an open file of the old camera must stay dead");
        cv::VideoCapture again(0);
        QVERIFY(!next(again).isNull());
    }

    void stallsAndResumes()
    {
        VirtualKernel kernel;
        Camera camera(kernel, at(0, Scene::Document));
        camera.plugIn();
        cv::VideoCapture capture(0);
        const auto frames = [&capture](int milliseconds) {
            int count = 0;
            QElapsedTimer timer;
            for (timer.start(); timer.elapsed() < milliseconds; QTest::qSleep(5))
                count += next(capture).isNull() ? 0 : 1;
            return count;
        };
        QVERIFY(frames(500) >= 8);
        camera.setStalled(true);
        frames(100); // those that had arrived
        QElapsedTimer timer;
        timer.start();
        for (int reads = 0; reads < 20; ++reads)
            QVERIFY(next(capture).isNull());
        QVERIFY2(timer.elapsed() < 60000, "a stalled camera must not hold its program up");
        camera.setStalled(false);
        QVERIFY(frames(500) >= 8);
    }

    void answersAnUnknownSizeWithTheNearest()
    {
        VirtualKernel kernel;
        CameraDescription description = at(0, Scene::Document);
        description.sizes = {{640, 480}, {1280, 960}};
        Camera camera(kernel, description);
        camera.plugIn();
        cv::VideoCapture capture(0);
        setSize(capture, {2592, 1944});
        QCOMPARE(next(capture).size(), QSize(1280, 960));
    }

    void readsFrameNumbersBack()
    {
        for (QSize size : deskCameraSizes()) {
            for (int number : {0, 1, 255, 256, 43981, 65535}) {
                QImage picture(size, QImage::Format_RGB32);
                picture.fill(Qt::gray);
                QCOMPARE(readFrameNumber(picture), -1);
                const QImage band = drawFrameBand(size, number);
                for (int y = 0; y < band.height(); ++y)
                    std::copy_n(band.constScanLine(y), band.bytesPerLine(), picture.scanLine(y));
                QCOMPARE(readFrameNumber(picture.scaled(500, 400)), number);
            }
        }
    }
};

QTEST_GUILESS_MAIN(VirtualCameraTest)
#include "camera_test.moc"
