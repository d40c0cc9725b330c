// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// What unmodified OpenCV sees of a virtual camera, beyond what the tests of the capture window
// show.

#include "tests/support/patience.h"
#include "tests/support/table.h"
#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"

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

} // namespace

class VirtualCameraTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("OPENCV_VIDEOIO_PRIORITY_GPHOTO2", "0"); // its failed searches leave memory behind
    }

    void streamsItsSceneInRealTime_data()
    {
        addRows<bool, QSize, QSize>({{"pixels", false, {640, 480}, {640, 480}},
                                     {"largest", false, {2592, 1944}, {2592, 1944}},
                                     {"unknown size", true, {9999, 9999}, {2592, 1944}}});
    }
    void streamsItsSceneInRealTime()
    {
        VirtualKernel kernel;
        const auto [compressed, asked, size] = row<bool, QSize, QSize>();
        CameraDescription description;
        description.compressed = compressed;
        description.scene = Scene::TestCard;
        Camera camera(kernel, description);
        camera.plugIn();
        cv::VideoCapture capture(0);
        capture.set(cv::CAP_PROP_FRAME_WIDTH, asked.width());
        capture.set(cv::CAP_PROP_FRAME_HEIGHT, asked.height());
        const QImage first = next(capture);
        QCOMPARE(first.size(), size);
        QVERIFY(sceneDifference(first, drawScene(Scene::TestCard, {400, 300})) < 6);
        QTest::qSleep(1000); // frames that nobody takes are dropped
        for (int queued = 0; queued < 4; ++queued)
            next(capture);
        QVERIFY(readFrameNumber(next(capture)) - readFrameNumber(first) >= 28);
        QVERIFY(!cv::VideoCapture(0).isOpened()); // one user at a time
        capture.release();
        QVERIFY(!camera.isStreaming());
    }

    void stallsResumesAndEndsWithThePlug()
    {
        VirtualKernel kernel;
        Camera camera(kernel, {});
        camera.plugIn();
        cv::VideoCapture capture(0);
        AWAIT(!next(capture).isNull());
        camera.setStalled(true);
        AWAIT(next(capture).isNull()); // after those that had arrived
        for (int reads = 0; reads < 20; ++reads)
            QVERIFY(next(capture).isNull());
        camera.setStalled(false);
        AWAIT(!next(capture).isNull());
        camera.unplug();
        QVERIFY(next(capture).isNull());
        camera.plugIn();
        QVERIFY(next(capture).isNull()); // an open file of the old camera stays dead
        cv::VideoCapture again(0);
        AWAIT(!next(again).isNull());
    }
};

QTEST_GUILESS_MAIN(VirtualCameraTest)
#include "camera_test.moc"
