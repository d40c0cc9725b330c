// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The camera command of the built service, on virtual cameras, with an operator who uses the real
// pointer and keyboard of the display.

#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"
#include "virtual/support/window_operator.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QTest>

#include <memory>
#include <signal.h>

using namespace virtual_desk;

namespace {

const QString pictureFile = QStringLiteral("/tmp/kvo_cv.jpg");
const QString command = QStringLiteral("ZCCameraPic");
constexpr char module[] = DESK_BIN_DIR "/libdesk-camera.so";

QImage pictureOf(const QJsonObject& reply)
{
    return QImage::fromData(QByteArray::fromBase64(reply["Base64"].toString().toLatin1()), "jpg");
}

bool shows(const QImage& picture, Scene scene)
{
    return !picture.isNull() && sceneDifference(picture, drawScene(scene, {500, 400})) < 8;
}

QJsonObject withoutPicture(const QString& tag = {})
{
    return {{"functionName", command}, {"success", 0}, {"msg", ""}, {"_tflag", tag}};
}

QByteArray mapsOf(const ServiceProcess& service)
{
    QFile maps(QStringLiteral("/proc/%1/maps").arg(service.processId()));
    return maps.open(QIODevice::ReadOnly) ? maps.readAll() : QByteArray();
}

bool runOutside(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessEnvironment(VirtualKernel::outsideEnvironment());
    process.start(program, arguments);
    return process.waitForFinished() && process.exitCode() == 0;
}

} // namespace

class CameraTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        removePicture();
        m_kernel = std::make_unique<VirtualKernel>();
        CameraDescription description;
        description.number = 2;
        m_document = std::make_unique<Camera>(*m_kernel, description);
        description.vendor = "1b17";
        description.product = "6684";
        description.number = 3;
        description.scene = Scene::Portrait;
        m_portrait = std::make_unique<Camera>(*m_kernel, description);
        for (Camera* camera : {m_document.get(), m_portrait.get()}) {
            camera->setDequeueTimeout(0);
            camera->plugIn();
        }
        m_service = std::make_unique<ServiceProcess>();
        QVERIFY(m_service->start());
        m_client = std::make_unique<DeskClient>();
        QVERIFY(m_client->open());
    }

    void cleanup()
    {
        QVERIFY2(m_service->isRunning(), "the service must outlive whatever happens at its window");
        m_client.reset();
        m_service.reset();
        m_document.reset();
        m_portrait.reset();
        m_kernel.reset();
        removePicture();
    }

    void handsOverWhatTheOperatorTakes_data()
    {
        QTest::addColumn<int>("camera");
        QTest::addColumn<int>("resolution");
        QTest::newRow("document, 640 x 480") << 0 << 0;
        QTest::newRow("document, 1280 x 720") << 0 << 3;
        QTest::newRow("document, 2592 x 1944") << 0 << 8;
        QTest::newRow("portrait, 640 x 480") << 1 << 0;
        QTest::newRow("portrait, 1600 x 1200") << 1 << 5;
    }
    void handsOverWhatTheOperatorTakes()
    {
        QFETCH(int, camera);
        QFETCH(int, resolution);
        QVERIFY(m_service->waitForError("20220711\n"));
        m_service->forgetOutput();
        QVERIFY2(!mapsOf(*m_service).contains("libopencv"), "the idle service carries no OpenCV");

        const QSize size = deskCameraSizes()[resolution];
        const Scene scene = camera == 0 ? Scene::Document : Scene::Portrait;
        const Camera& used = camera == 0 ? *m_document : *m_portrait;
        openWindow("t1");
        if (camera != 0) {
            QVERIFY(m_operator.chooseCamera(camera));
            QTRY_VERIFY(used.isStreaming());
        }
        if (resolution != 0)
            QVERIFY(m_operator.chooseResolution(resolution));
        QTRY_COMPARE(used.currentSize(), size);
        waitForFrames(used);
        QVERIFY(m_operator.takePicture());
        QTRY_VERIFY(QFile::exists(pictureFile));
        QTest::qWait(200);
        keepScreenshot();
        QVERIFY(m_operator.handOver());

        const QJsonObject reply = m_client->reply();
        QCOMPARE(reply["functionName"].toString(), command);
        QCOMPARE(reply["success"].toInt(), 1);
        QCOMPARE(reply["msg"].toString(), "");
        QCOMPARE(reply["_tflag"].toString(), "t1");
        QCOMPARE(reply.size(), 5);
        const QImage picture = pictureOf(reply);
        QCOMPARE(picture.size(), size);
        QVERIFY(shows(picture, scene));
        QCOMPARE(readFrameNumber(picture), readFrameNumber(QImage(pictureFile)));
        QVERIFY(!used.isStreaming());

        QCOMPARE(m_service->standardError(),
                 "ZCCameraPic\nZCCameraPic\nZCCameraPic\nCameraUser()++\n"
                 "~CameraUser()--\n");
        QCOMPARE(m_service->standardOutput(),
                 "t_nFlag1 = 1 ,MSG = /dev/video2\nt_nFlag2 = 1 ,MSG = /dev/video3\n"
                 "t_nFlag1 == 1t_nFlag1 == 2");
    }

    void answersAtOnceWhenThereIsNoCamera()
    {
        m_document->unplug();
        m_portrait->unplug();
        for (int time = 1; time <= 3; ++time) {
            QCOMPARE(m_client->ask(command, {{"_tflag", "n"}}), withoutPicture("n"));
            QVERIFY(m_service->waitForError("open camera error\n", time));
        }
        QVERIFY(m_operator.waitForWindows(0));
    }

    void handsOverNothingWhenTheWindowIsClosedOtherwise()
    {
        openWindow();
        QVERIFY(m_operator.takePicture());
        QTRY_VERIFY(QFile::exists(pictureFile));
        QVERIFY(m_operator.press({"Escape"}));
        QCOMPARE(m_client->reply(), withoutPicture());
        QVERIFY(QFile::exists(pictureFile));

        // The picture stays, and the next window hands it over without taking one.
        openWindow();
        QVERIFY(m_operator.handOver());
        const QJsonObject reply = m_client->reply();
        QCOMPARE(reply["success"].toInt(), 1);
        QVERIFY(shows(pictureOf(reply), Scene::Document));
    }

    void aFifoInThePlaceOfThePictureHoldsNothingUp()
    {
        QCOMPARE(QProcess::execute("mkfifo", {pictureFile}), 0);
        openWindow();
        QVERIFY(m_operator.takePicture());
        QVERIFY(m_service->waitForError("cannot write /tmp/kvo_cv.jpg: "));
        QVERIFY(m_operator.handOver());
        QCOMPARE(m_client->reply(), withoutPicture());
        QVERIFY(m_service->waitForError("cannot read /tmp/kvo_cv.jpg: "));
    }

    void servesOthersWhileTheWindowIsOpen_data()
    {
        QTest::addColumn<QString>("camera");
        for (const char* camera : {"streams", "has stopped sending", "is unplugged"})
            QTest::newRow(camera) << QString(camera);
    }
    void servesOthersWhileTheWindowIsOpen()
    {
        QFETCH(QString, camera);
        openWindow();
        m_document->setStalled(camera == "has stopped sending");
        if (camera == "is unplugged")
            m_document->unplug();
        DeskClient other;
        QVERIFY(other.open());
        qint64 longest = 0;
        QElapsedTimer all;
        for (all.start(); all.elapsed() < 1500; QTest::qWait(10)) {
            QElapsedTimer one;
            one.start();
            other.send("still there?");
            QCOMPARE(other.text(), "still there?");
            longest = std::max(longest, one.elapsed());
        }
        QVERIFY2(longest < 5000, qPrintable(QString::number(longest)));
        QVERIFY(m_operator.takePicture());
        QTRY_VERIFY(QFile::exists(pictureFile));
        QVERIFY(m_operator.handOver());
        QVERIFY(shows(pictureOf(m_client->reply()), Scene::Document));
    }

    void outlivesItsClient()
    {
        openWindow();
        m_client->abort();
        QTest::qWait(300);
        QVERIFY(m_operator.takePicture());
        QVERIFY(m_operator.handOver());
        QVERIFY(m_service->waitForError("~CameraUser()--"));
        m_client = std::make_unique<DeskClient>();
        QVERIFY(m_client->open());
        openWindow();
        QVERIFY(m_operator.handOver());
        QCOMPARE(m_client->reply()["success"].toInt(), 1);
    }

    void aSecondRequestFindsTheCameraBusy()
    {
        openWindow("first");
        DeskClient other;
        QVERIFY(other.open());
        QCOMPARE(other.ask(command, {{"_tflag", "second"}}), withoutPicture("second"));
        QVERIFY(m_client->silentFor(200));
        QVERIFY(m_operator.waitForWindows(1));
        QVERIFY(m_operator.takePicture());
        QVERIFY(m_operator.handOver());
        const QJsonObject reply = m_client->reply();
        QCOMPARE(reply["_tflag"].toString(), "second"); // that of the latest request
        QVERIFY(shows(pictureOf(reply), Scene::Document));
    }

    void requestsWithoutNumberOpenFewWindows()
    {
        openWindow();
        m_service->forgetOutput();
        DeskClient other;
        QVERIFY(other.open());
        constexpr int burst = 20;
        for (int i = 0; i < burst; ++i)
            other.command(command);
        for (int i = 0; i < burst; ++i)
            QCOMPARE(other.reply(60000), withoutPicture());
        QVERIFY(m_service->waitForError("no more than 4 capture windows at a time"));
        QVERIFY(m_service->standardError().count("CameraUser()++") < burst);
        QVERIFY(m_operator.press({"Escape"}));
        QCOMPARE(m_client->reply(), withoutPicture());
    }

    void endsWithItsWindowOpen()
    {
        openWindow();
        m_service->sendSignal(SIGTERM);
        QCOMPARE(m_service->waitForEnd(), 0);
        QCOMPARE(m_client->reply(), withoutPicture());
        QVERIFY(m_client->waitForClosed());
        QVERIFY(m_service->start());
    }

    void twoWindowsShowACameraEach()
    {
        openWindow();
        QVERIFY(m_operator.chooseCamera(1));
        QTRY_VERIFY(m_portrait->isStreaming());
        waitForFrames(*m_portrait);
        DeskClient other;
        QVERIFY(other.open());
        other.command(command);
        QVERIFY(m_operator.waitForWindows(2));
        waitForFrames(*m_document);
        QVERIFY(m_portrait->isStreaming());

        QVERIFY(m_operator.takePicture()); // in the second window, which lies on top
        QVERIFY(m_operator.handOver());
        QVERIFY(shows(pictureOf(other.reply()), Scene::Document));
        QVERIFY(m_operator.waitForWindows(1));
        QVERIFY(m_operator.takePicture());
        QVERIFY(m_operator.handOver());
        QVERIFY(shows(pictureOf(m_client->reply()), Scene::Portrait));
    }

    void answersWithoutItsModule()
    {
        // Bound over in this test's own mount namespace.
        QVERIFY(runOutside("mount", {"--bind", "/dev/null", module}));
        const QJsonObject reply = m_client->ask(command);
        QVERIFY(runOutside("umount", {module}));
        QCOMPARE(reply, withoutPicture());
        QVERIFY(m_service->waitForError("camera module: "));
        QVERIFY(m_service->standardError().contains(module));

        openWindow(); // repaired without a restart
        QVERIFY(m_operator.press({"Escape"}));
        QCOMPARE(m_client->reply(), withoutPicture());
    }

    void leavesTheCameraFreeWhenItIsKilled()
    {
        openWindow();
        ::kill(static_cast<pid_t>(m_service->processId()), SIGKILL);
        QTRY_VERIFY(m_operator.windows().isEmpty());
        m_service = std::make_unique<ServiceProcess>();
        QVERIFY(m_service->start());
        m_client = std::make_unique<DeskClient>();
        QVERIFY(m_client->open());
        openWindow();
        QVERIFY(m_operator.takePicture());
        QVERIFY(m_operator.handOver());
        QVERIFY(shows(pictureOf(m_client->reply()), Scene::Document));
    }

private:
    void openWindow(const QString& tag = {})
    {
        m_client->command(command, {{"_tflag", tag}});
        QVERIFY(m_operator.waitForWindows(1));
        waitForFrames(*m_document);
    }
    /// Until a frame of the present stream is certain to have been shown.
    static void waitForFrames(const Camera& camera)
    {
        QTRY_VERIFY(camera.isStreaming());
        const int before = camera.framesSent();
        QTRY_VERIFY(camera.framesSent() > before + 3);
    }
    /// For a person to look at.
    static void keepScreenshot()
    {
        const QString folder = qEnvironmentVariable("DESK_SCREENSHOTS");
        if (!folder.isEmpty()) {
            const QString name = QString(QTest::currentDataTag()).replace(' ', '_') + ".png";
            QGuiApplication::primaryScreen()->grabWindow(0).save(folder + "/" + name);
        }
    }
    static void removePicture()
    {
        QFile::remove(pictureFile);
        QDir().rmdir(pictureFile);
    }

    std::unique_ptr<VirtualKernel> m_kernel;
    std::unique_ptr<Camera> m_document;
    std::unique_ptr<Camera> m_portrait;
    std::unique_ptr<ServiceProcess> m_service;
    std::unique_ptr<DeskClient> m_client;
    const CaptureOperator m_operator;
};

QTEST_MAIN(CameraTest)
#include "camera_test.moc"
