// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The capture window on virtual cameras: its form, the preview, the picture, and cameras that fail.

#include "camera/capture_window.h"
#include "camera/preview.h"
#include "tests/support/output_capture.h"
#include "tests/support/patience.h"
#include "tests/support/table.h"
#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"

#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QTimer>

#include <optional>

using namespace virtual_desk;

namespace {

const QString pictureFile = QStringLiteral("/tmp/kvo_cv.jpg");

QImage shown(const QLabel& label)
{
    return label.pixmap(Qt::ReturnByValue).toImage();
}

bool shows(const QImage& picture, Scene scene)
{
    return !picture.isNull() && sceneDifference(picture, drawScene(scene, {500, 400})) < 8;
}

} // namespace

class CaptureWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("GST_REGISTRY", QDir().absoluteFilePath("registry").toUtf8()); }
    void init()
    {
        m_kernel.emplace();
        attach(m_portrait, 0, portraitCamera());
        attach(m_document, 2, {});
    }
    void cleanup()
    {
        m_window.reset();
        m_document.reset();
        m_portrait.reset();
        QFile::remove(pictureFile);
    }

    void hasTheFormOfTheDesk()
    {
        open();
        QCOMPARE(m_window->windowTitle(), "Tarvex高拍");
        QCOMPARE(m_window->size(), QSize(1033, 481));
        QCOMPARE(m_window->windowType(), Qt::Tool);
        QVERIFY(m_window->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
        QString form;
        for (const QWidget* each :
             m_window->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
            const char* text = qobject_cast<const QComboBox*>(each) ? "currentText" : "text";
            QDebug(&form).noquote()
                << each->objectName() << each->geometry() << each->property(text).toString() << "";
        }
        QCOMPARE(form.simplified(), "grabPic QRect(520,10 500x400) "
                                    "label_2 QRect(20,430 63x22) 摄像头 "
                                    "comboBox_2 QRect(80,420 180x36) 文稿摄像头 "
                                    "label_3 QRect(290,430 63x22) 分辨率 "
                                    "comboBox QRect(360,420 180x36) 640 X 480 "
                                    "photoBtn QRect(600,420 141x36) 拍照 "
                                    "closeCamBtn QRect(840,420 141x36) 关闭退出 "
                                    "cameraPic QRect(0,10 500x400) "
                                    "lineEdit QRect(740,430 113x36)");
        QVERIFY(!hiddenText().isEnabled() && !hiddenText().isVisible());
    }

    void itsTextsFitItsFormInLargeLetters()
    {
        const QFont usual = QApplication::font();
        QFont large = usual;
        large.setPixelSize(24); // the usual 9 points at 192 dots per inch
        const auto restore = qScopeGuard([usual] { QApplication::setFont(usual); });
        QApplication::setFont(large);
        open();
        for (const char* name : {"label_2", "label_3"}) {
            const QLabel& label = child<QLabel>(name);
            const QRect text = label.fontMetrics().tightBoundingRect(label.text());
            QVERIFY(text.width() <= label.width() && text.height() <= label.height());
            QVERIFY2(text.height() > 12, "letters as large as there is room for");
        }
    }

    void previewIsTheWholeFrameConvertedAndScaled()
    {
        for (const QSize size : {QSize(500, 400), QSize(1, 1), QSize(33, 77), QSize(1499, 1201)}) {
            QImage whole = drawScene(Scene::TestCard, size).convertToFormat(QImage::Format_BGR888);
            const cv::Mat frame(size.height(), size.width(), CV_8UC3, whole.bits(),
                                static_cast<std::size_t>(whole.bytesPerLine()));
            QCOMPARE(previewImage(frame, {500, 400}),
                     whole.scaled(500, 400).convertToFormat(QImage::Format_RGB32));
        }
        QVERIFY(previewImage(cv::Mat(), {500, 400}).isNull());
        QVERIFY(previewImage(cv::Mat(4, 4, CV_8UC4), {500, 400}).isNull());
    }

    void takesAndHandsOverThePictureThatIsShown()
    {
        open();
        for (int item = 8; item >= 0; --item) {
            child<QComboBox>("comboBox").setCurrentIndex(item);
            const QSize size = deskCameraSizes()[item];
            QCOMPARE(m_document->currentSize(), size);
            QCOMPARE(hiddenText().text(), QString("%1*%2").arg(size.width()).arg(size.height()));
        }
        child<QComboBox>("comboBox").setCurrentIndex(3);
        AWAIT(shows(preview(), Scene::Document));
        QVERIFY(shown(child<QLabel>("grabPic")).isNull());
        QTest::keyClick(&*m_window, Qt::Key_Return); // takes a picture like the button
        const int first = readFrameNumber(QImage(pictureFile));
        AWAIT(readFrameNumber(preview()) > first + 3);
        click("photoBtn");
        const QImage taken(pictureFile);
        QCOMPARE(taken.size(), QSize(1280, 720));
        QVERIFY(shows(taken, Scene::Document));
        QVERIFY(readFrameNumber(taken) > first);
        QCOMPARE(shown(child<QLabel>("grabPic")).size(), QSize(500, 400));
        QCOMPARE(readFrameNumber(shown(child<QLabel>("grabPic"))), readFrameNumber(taken));
        click("closeCamBtn");
        QVERIFY(!m_window->isVisible());
        QCOMPARE(handedOver().size(), taken.size());
        QCOMPARE(readFrameNumber(handedOver()), readFrameNumber(taken));
        QVERIFY(preview().isNull());
        QVERIFY(!m_window->findChild<QTimer*>()->isActive());
    }

    void takesNoPictureBeforeACamerasFirstFrame()
    {
        const LogCapture log;
        for (const char* selector : {"", "comboBox", "comboBox_2"}) {
            const bool isOpened = *selector == '\0';
            m_document->setStalled(isOpened);
            open();
            if (!isOpened) {
                AWAIT(!preview().isNull());
                m_document->setStalled(true);
                m_portrait->setStalled(true);
                child<QComboBox>(selector).setCurrentIndex(1);
            }
            QTest::qWait(200);
            LogCapture::take();
            click("photoBtn");
            QCOMPARE(LogCapture::take().join('|'),
                     "cannot write /tmp/kvo_cv.jpg: the camera has sent no frame yet");
            QVERIFY(!QFile::exists(pictureFile) && m_window->isVisible());
            m_window.reset();
        }
    }

    void switchesTheCamera()
    {
        open();
        child<QComboBox>("comboBox").setCurrentIndex(8);
        child<QComboBox>("comboBox_2").setCurrentIndex(1);
        QCOMPARE(child<QComboBox>("comboBox").currentIndex(), 0);
        QCOMPARE(hiddenText().text(), "640*480");
        QCOMPARE(m_portrait->timesOpened(), 2); // once more for the change of the resolution
        AWAIT(shows(preview(), Scene::Portrait));
        QVERIFY(!m_document->isStreaming());
        QCOMPARE(m_portrait->currentSize(), QSize(640, 480));
        child<QComboBox>("comboBox_2").setCurrentIndex(0);
        child<QComboBox>("comboBox").setCurrentIndex(3);
        AWAIT(shows(preview(), Scene::Document));
        QCOMPARE(m_document->currentSize(), QSize(1280, 720));
        QVERIFY(!m_portrait->isStreaming());
    }

    void closesWhenItCannotOpenItsCamera_data()
    {
        addRows<QString>({{"no camera", ""},
                          {"the other one is gone", "comboBox_2"},
                          {"gone before the resolution changes", "comboBox"}});
    }
    void closesWhenItCannotOpenItsCamera()
    {
        const auto [selector] = row<QString>();
        if (!selector.isEmpty()) {
            m_document->plugIn();
            m_portrait->plugIn();
        }
        const LogCapture log;
        OutputCapture errors(stderr);
        m_window.emplace(nullptr);
        // The window still closes when events are processed before its exec().
        QCoreApplication::processEvents();
        QTimer::singleShot(300, &*m_window, [this, name = selector] {
            (name == "comboBox" ? m_document : m_portrait)->unplug();
            if (!name.isEmpty())
                m_window->findChild<QComboBox*>(name)->setCurrentIndex(1);
        });
        QTimer::singleShot(60000, &*m_window, [this] { m_window->done(77); });
        QVERIFY(m_window->exec() != 77);
        QCOMPARE(m_window->getBase64(), QString());
        m_window.reset();
        QCOMPARE(LogCapture::take().join('|'), "CameraUser()++|open camera error|~CameraUser()--");
        QCOMPARE(errors.take(), "");         // nothing of the library's own
        QVERIFY(!QFile::exists("registry")); // GStreamer writes it when OpenCV asks it for a camera
    }

    void staysUsableWhenTheCameraIsUnplugged()
    {
        open();
        AWAIT(shows(preview(), Scene::Document));
        m_document->unplug();
        QTest::qWait(300);
        QVERIFY(m_window->isVisible());
        const int last = readFrameNumber(preview());
        click("photoBtn"); // the last frame, which is still shown
        QCOMPARE(readFrameNumber(QImage(pictureFile)), last);
        click("closeCamBtn");
        QCOMPARE(readFrameNumber(handedOver()), last);
    }

    void survivesGarbage()
    {
        CameraDescription description;
        description.compressed = true;
        attach(m_document, 4, description);
        m_document->setGarbage(true);
        open();
        AWAIT(m_document->framesSent() > 5);
        click("photoBtn");
        m_document->setGarbage(false);
        AWAIT(shows(preview(), Scene::Document));
    }

    void setsWhatTheEnvironmentLeavesOpen()
    {
        const auto settings = [](bool clear) {
            QByteArray all;
            for (const char* name : {"V4L_SELECT_TIMEOUT", "PRIORITY_V4L2", "PRIORITY_GPHOTO2",
                                     "PRIORITY_GSTREAMER"}) {
                const QByteArray variable = QByteArray("OPENCV_VIDEOIO_") + name;
                all += qgetenv(variable.constData()) + ' ';
                if (clear)
                    qunsetenv(variable.constData());
            }
            return all;
        };
        settings(true);
        m_window.emplace(nullptr);
        QCOMPARE(settings(false), "0 2000 0 0 "); // a stalled camera holds nothing up
        qputenv("OPENCV_VIDEOIO_PRIORITY_V4L2", "1900");
        m_window.emplace(nullptr);
        QCOMPARE(settings(true), "0 1900 0 0 ");
    }

private:
    void attach(std::optional<Camera>& camera, int number, CameraDescription description)
    {
        description.number = number;
        camera.emplace(*m_kernel, description);
        camera->setDequeueTimeout(0);
    }
    void open()
    {
        m_document->plugIn();
        m_portrait->plugIn();
        m_window.emplace(nullptr);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(&*m_window));
    }
    template <typename Widget>
    Widget& child(const char* name)
    {
        return *m_window->findChild<Widget*>(name);
    }
    QLineEdit& hiddenText() { return child<QLineEdit>("lineEdit"); }
    QImage preview() { return shown(child<QLabel>("cameraPic")); }
    void click(const char* button)
    {
        QTest::mouseClick(&child<QPushButton>(button), Qt::LeftButton);
    }
    QImage handedOver()
    {
        return QImage::fromData(QByteArray::fromBase64(m_window->getBase64().toLatin1()), "jpg");
    }

    std::optional<VirtualKernel> m_kernel;
    std::optional<Camera> m_document;
    std::optional<Camera> m_portrait;
    std::optional<CameraUser> m_window;
};

QTEST_MAIN(CaptureWindowTest)
#include "capture_window_test.moc"
