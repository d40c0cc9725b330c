// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The camera command of the built service, on virtual cameras, with an operator who uses the real
// pointer and keyboard of the display.

#include "tests/support/patience.h"
#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/window_operator.h"

#include <QFile>
#include <QImage>

#include <csignal>
#include <memory>

using namespace virtual_desk;

namespace {

const QString pictureFile = "/tmp/kvo_cv.jpg";
const QString command = "ZCCameraPic";
constexpr char module[] = DESK_BIN_DIR "/libdesk-camera.so";

const QString nothing = "ZCCameraPic 0 "; // a reply on one line

QImage pictureIn(const QJsonObject& reply)
{
    return QImage::fromData(QByteArray::fromBase64(reply["Base64"].toString().toLatin1()), "jpg");
}

bool shows(const QJsonObject& reply, Scene scene)
{
    const QImage picture = pictureIn(reply);
    return !picture.isNull() && sceneDifference(picture, drawScene(scene, {500, 400})) < 8;
}

/// A terminal with both cameras, and two pages.
struct Desk
{
    VirtualKernel kernel;
    Camera document{kernel, {}};
    Camera portrait{kernel, portraitCamera()};
    ServiceProcess service; // ends before the cameras that it uses
    DeskClient page;
    DeskClient other;
};

} // namespace

class CameraTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QFile::remove(pictureFile);
        m_desk = std::make_unique<Desk>();
        for (Camera* camera : {&m_desk->document, &m_desk->portrait}) {
            camera->setDequeueTimeout(0);
            camera->plugIn();
        }
        QVERIFY(m_desk->service.start());
        QVERIFY(m_desk->page.open() && m_desk->other.open());
    }

    void cleanup()
    {
        QVERIFY2(m_desk->service.isRunning(),
                 "the service must outlive what happens at its window");
        m_desk.reset();
    }

    void handsOverWhatTheOperatorTakes()
    {
        QVERIFY(m_desk->service.waitForError("20220711\n"));
        m_desk->service.forgetOutput();
        const QString maps = QString("/proc/%1/maps").arg(m_desk->service.processId());
        QVERIFY2(QProcess::execute("grep", {"-q", "libopencv", maps}) == 1, "loaded when idle");

        openWindow("t1");
        QVERIFY(m_operator.chooseResolution(8));
        const QSize size(2592, 1944);
        AWAIT_EQUAL(m_desk->document.currentSize(), size);
        waitForFrames(m_desk->document);
        QJsonObject reply = takenAndHandedOver(m_desk->page);
        const QImage picture = pictureIn(reply);
        QCOMPARE(picture.size(), size);
        QVERIFY(shows(reply, Scene::Document));
        QCOMPARE(readFrameNumber(picture), readFrameNumber(QImage(pictureFile)));
        reply.remove("Base64");
        QCOMPARE(reply,
                 QJsonObject(
                     {{"functionName", command}, {"success", 1}, {"msg", ""}, {"_tflag", "t1"}}));
        QVERIFY(!m_desk->document.isStreaming());
        QCOMPARE(m_desk->service.standardError(),
                 "ZCCameraPic\nZCCameraPic\nZCCameraPic\nCameraUser()++\n~CameraUser()--\n");
        QCOMPARE(m_desk->service.standardOutput(),
                 "t_nFlag1 = 1 ,MSG = /dev/video0\nt_nFlag2 = 1 ,MSG = /dev/video1\n"
                 "t_nFlag1 == 1t_nFlag1 == 2");
    }

    void answersAtOnceWhenThereIsNoCamera()
    {
        m_desk->document.unplug();
        m_desk->portrait.unplug();
        for (int time = 1; time <= 3; ++time) {
            m_desk->page.command(command, {{"_tflag", "n"}});
            QCOMPARE(
                m_desk->page.text(),
                QString(R"({"_tflag":"n","functionName":"ZCCameraPic","msg":"","success":0})"));
            QVERIFY(m_desk->service.waitForError("open camera error\n", time));
        }
        QVERIFY(m_operator.waitForWindows(0));
    }

    void handsOverNothingWhenTheWindowIsClosedOtherwise()
    {
        openWindow();
        takePicture();
        QVERIFY(m_operator.press({"Escape"}));
        QCOMPARE(DeskClient::inShort(m_desk->page.reply()), nothing);
        // The picture stays, and the next window hands it over without taking one.
        openWindow();
        QVERIFY(m_operator.handOver());
        QVERIFY(shows(m_desk->page.reply(), Scene::Document));
    }

    void outlivesItsClient()
    {
        openWindow();
        m_desk->page.abort();
        QTest::qWait(300);
        takePicture();
        QVERIFY(m_operator.handOver());
        QVERIFY(m_desk->service.waitForError("~CameraUser()--"));
        QVERIFY(m_desk->page.open());
        openWindow();
        QVERIFY(shows(takenAndHandedOver(m_desk->page), Scene::Document));
    }

    void furtherRequestsFindTheCameraBusyAndOpenFewWindows()
    {
        openWindow("first");
        constexpr int burst = 20;
        for (int i = 0; i < burst; ++i)
            m_desk->other.command(command, {{"_tflag", "later"}});
        for (int i = 0; i < burst; ++i)
            QCOMPARE(DeskClient::inShort(m_desk->other.reply()), nothing);
        QVERIFY(m_desk->service.waitForError("no more than 4 capture windows at a time"));
        QVERIFY(m_desk->service.standardError().count("CameraUser()++") <= burst);
        QVERIFY(m_desk->page.silentFor(200) && m_operator.waitForWindows(1));
        const QJsonObject reply = takenAndHandedOver(m_desk->page);
        QCOMPARE(reply["_tflag"].toString(), "later"); // that of the latest request
        QVERIFY(shows(reply, Scene::Document));
    }

    void endsWithItsWindowOpen()
    {
        openWindow();
        m_desk->service.sendSignal(SIGTERM);
        QCOMPARE(m_desk->service.waitForEnd(), 0);
        QCOMPARE(DeskClient::inShort(m_desk->page.reply()), nothing);
        QVERIFY(m_desk->page.waitForClosed());
        QVERIFY(m_desk->service.start());
    }

    void twoWindowsShowACameraEach()
    {
        openWindow();
        QVERIFY(m_operator.chooseCamera(1));
        AWAIT(m_desk->portrait.isStreaming());
        m_desk->other.command(command);
        QVERIFY(m_operator.waitForWindows(2));
        waitForFrames(m_desk->document);
        waitForFrames(m_desk->portrait);
        // The second window lies on top.
        QVERIFY(shows(takenAndHandedOver(m_desk->other), Scene::Document));
        QVERIFY(m_operator.waitForWindows(1));
        QVERIFY(QFile::remove(pictureFile));
        QVERIFY(shows(takenAndHandedOver(m_desk->page), Scene::Portrait));
    }

    void answersWithoutItsModule()
    {
        // Bound over in this test's own mount namespace, and not by the virtual desk.
        const QStringList real{"-u", "LD_PRELOAD"};
        QCOMPARE(QProcess::execute("env", real + QStringList{"mount", "-B", "/dev/null", module}),
                 0);
        const QString reply = m_desk->page.asked(command);
        QCOMPARE(QProcess::execute("env", real + QStringList{"umount", module}), 0);
        QCOMPARE(reply, nothing);
        QVERIFY(m_desk->service.waitForError("camera module: "));
        QVERIFY(m_desk->service.standardError().contains(module));
        openWindow(); // repaired without a restart
    }

private:
    void openWindow(const QString& tag = {})
    {
        m_desk->page.command(command, {{"_tflag", tag}});
        QVERIFY(m_operator.waitForWindows(1));
        waitForFrames(m_desk->document);
    }
    /// Until a frame of the present stream is certain to have been shown.
    static void waitForFrames(const Camera& camera)
    {
        AWAIT(camera.isStreaming());
        const int before = camera.framesSent();
        AWAIT(camera.framesSent() > before + 3);
    }
    void takePicture() const
    {
        QVERIFY(m_operator.takePicture());
        AWAIT(QFile::exists(pictureFile));
    }
    QJsonObject takenAndHandedOver(DeskClient& page) const
    {
        takePicture();
        return m_operator.handOver() ? page.reply() : QJsonObject();
    }

    std::unique_ptr<Desk> m_desk;
    const CaptureOperator m_operator;
};

QTEST_MAIN(CameraTest)
#include "camera_test.moc"
