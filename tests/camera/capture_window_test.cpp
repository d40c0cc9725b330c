// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The capture window on virtual cameras: its form, the preview, the picture, and cameras that fail.

#include "camera/capture_window.h"
#include "camera/preview.h"
#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"

#include <QBuffer>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMetaMethod>
#include <QPushButton>
#include <QScopeGuard>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace virtual_desk;

namespace {

const QString pictureFile = QStringLiteral("/tmp/kvo_cv.jpg");

CameraDescription documentCamera()
{
    CameraDescription description;
    description.number = 2;
    return description;
}

CameraDescription portraitOnFirstNode()
{
    CameraDescription description = portraitCamera();
    description.number = 0;
    return description;
}

QImage shown(const QLabel& label)
{
    return label.pixmap(Qt::ReturnByValue).toImage();
}

bool shows(const QImage& picture, Scene scene)
{
    return !picture.isNull() && sceneDifference(picture, drawScene(scene, {500, 400})) < 8;
}

QImage decoded(const QString& base64)
{
    return QImage::fromData(QByteArray::fromBase64(base64.toLatin1()), "jpg");
}

} // namespace

class CaptureWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("GST_REGISTRY", QDir().absoluteFilePath("registry").toUtf8()); }
    void init()
    {
        removePicture();
        m_kernel = std::make_unique<VirtualKernel>();
        m_document = std::make_unique<Camera>(*m_kernel, documentCamera());
        m_portrait = std::make_unique<Camera>(*m_kernel, portraitOnFirstNode());
        m_document->setDequeueTimeout(0);
        m_portrait->setDequeueTimeout(0);
    }
    void cleanup()
    {
        m_window.reset();
        m_document.reset();
        m_portrait.reset();
        m_kernel.reset();
        removePicture();
    }

    void hasTheFormOfTheDesk()
    {
        open();
        QCOMPARE(m_window->objectName(), "CameraUser");
        QCOMPARE(m_window->windowTitle(), "Tarvex高拍");
        QCOMPARE(m_window->size(), QSize(1033, 481));
        QVERIFY(m_window->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
        QCOMPARE(m_window->windowType(), Qt::Tool);
        struct Member
        {
            const char* name;
            QRect geometry;
            QString text;
        };
        const Member members[] = {
            {"grabPic", {520, 10, 500, 400}, ""},
            {"label_2", {20, 430, 63, 22}, "摄像头"},
            {"comboBox_2", {80, 420, 180, 36}, "文稿摄像头"},
            {"label_3", {290, 430, 63, 22}, "分辨率"},
            {"comboBox", {360, 420, 180, 36}, "640 X 480"},
            {"photoBtn", {600, 420, 141, 36}, "拍照"},
            {"closeCamBtn", {840, 420, 141, 36}, "关闭退出"},
            {"cameraPic", {0, 10, 500, 400}, ""},
            {"lineEdit", {740, 430, 113, 36}, ""},
        };
        const auto children =
            m_window->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
        QCOMPARE(children.size(), 9);
        for (int i = 0; i < children.size(); ++i) {
            QCOMPARE(children[i]->objectName(), members[i].name);
            QCOMPARE(children[i]->geometry(), members[i].geometry);
            const char* property = qobject_cast<QComboBox*>(children[i]) ? "currentText" : "text";
            QCOMPARE(children[i]->property(property).toString(), members[i].text);
        }
        QVERIFY(!child<QLineEdit>("lineEdit").isEnabled());
        QVERIFY(!child<QLineEdit>("lineEdit").isVisible());

        QStringList slotNames;
        const QMetaObject& type = CameraUser::staticMetaObject;
        for (int method = type.methodOffset(); method < type.methodCount(); ++method)
            slotNames << type.method(method).methodSignature();
        QCOMPARE(slotNames, QStringList({"openCamaraSlot()", "readFrameSlot()", "closeCamaraSlot()",
                                         "takingPicturesSlot()", "closeSlot()", "print_s()",
                                         "print_camera()"}));
        QCOMPARE(type.superClass(), &QDialog::staticMetaObject);
    }

    void itsTextsFitItsFormInLargeLetters()
    {
        const QFont usual = QApplication::font();
        QFont large = usual;
        large.setPixelSize(24); // the usual 9 points at 192 dots per inch
        QApplication::setFont(large);
        const auto restore = qScopeGuard([&usual] { QApplication::setFont(usual); });
        open();
        const QPair<const char*, const char*> labels[] = {{"label_2", "comboBox_2"},
                                                          {"label_3", "comboBox"}};
        for (const auto& [name, neighbour] : labels) {
            const QLabel& label = child<QLabel>(name);
            const QRect text = label.fontMetrics().tightBoundingRect(label.text());
            QVERIFY(label.x() + text.width() < child<QComboBox>(neighbour).x());
            QVERIFY(text.height() <= label.height());
            QVERIFY2(text.height() > 12, "letters as large as there is room for");
        }
    }

    void showsWhatTheCameraSees()
    {
        open();
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        const int first = readFrameNumber(shown(preview()));
        QTest::qWait(1000);
        const int later = readFrameNumber(shown(preview()));
        QVERIFY2(later - first >= 20, qPrintable(QString::number(later - first)));
        QVERIFY(shown(picture()).isNull());
    }

    void previewIsTheWholeFrameConvertedAndScaled_data()
    {
        QTest::addColumn<QSize>("frameSize");
        for (QSize size :
             deskCameraSizes() +
                 QVector<QSize>{{500, 400}, {1, 1}, {2, 2}, {33, 77}, {1499, 1201}, {4096, 3072}}) {
            QTest::addRow("%d x %d", size.width(), size.height()) << size;
        }
    }
    void previewIsTheWholeFrameConvertedAndScaled()
    {
        QFETCH(QSize, frameSize);
        cv::Mat frame(frameSize.height(), frameSize.width(), CV_8UC3);
        for (int y = 0; y < frame.rows; ++y)
            for (int x = 0; x < frame.cols * 3; ++x)
                frame.ptr(y)[x] = static_cast<uchar>(x * 7 + y * 13 + x * y);
        const QImage whole(frame.data, frame.cols, frame.rows, static_cast<int>(frame.step),
                           QImage::Format_RGB888);
        const QImage expected =
            whole.rgbSwapped().scaled(500, 400, Qt::IgnoreAspectRatio, Qt::FastTransformation);
        QCOMPARE(previewImage(frame, {500, 400}), expected.convertToFormat(QImage::Format_RGB32));
        QVERIFY(previewImage(cv::Mat(), {500, 400}).isNull());
        QVERIFY(previewImage(cv::Mat(4, 4, CV_8UC1), {500, 400}).isNull());
    }

    void takesThePictureThatIsShown_data() { resolutions(); }
    void takesThePictureThatIsShown()
    {
        QFETCH(int, item);
        QFETCH(QSize, size);
        QFETCH(QString, text);
        open();
        child<QComboBox>("comboBox").setCurrentIndex(item);
        QTRY_COMPARE(m_document->currentSize(), size);
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        QCOMPARE(child<QLineEdit>("lineEdit").text(), text);

        click("photoBtn");
        const QImage written(pictureFile);
        QCOMPARE(written.size(), size);
        QVERIFY(shows(written, Scene::Document));
        QCOMPARE(shown(picture()).size(), QSize(500, 400));
        QCOMPARE(readFrameNumber(written), readFrameNumber(shown(picture())));

        click("closeCamBtn");
        QVERIFY(!m_window->isVisible());
        const QImage handedOver = decoded(m_window->getBase64());
        QCOMPARE(handedOver.size(), size);
        QCOMPARE(readFrameNumber(handedOver), readFrameNumber(written));
        QByteArray second;
        QBuffer buffer(&second);
        written.save(&buffer, "jpg");
        QCOMPARE(m_window->getBase64(), QString(second.toBase64()));
    }

    void handsOverTheLastOfTwoPictures()
    {
        open();
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        click("photoBtn");
        const int first = readFrameNumber(QImage(pictureFile));
        QTRY_VERIFY(readFrameNumber(shown(preview())) > first + 3);
        click("photoBtn");
        click("closeCamBtn");
        QVERIFY(readFrameNumber(decoded(m_window->getBase64())) > first);
    }

    void handsOverAnEarlierWindowsPictureWhenNoneWasTaken()
    {
        QImage earlier(320, 240, QImage::Format_RGB32);
        earlier.fill(Qt::darkGreen);
        QVERIFY(earlier.save(pictureFile));
        open();
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        click("closeCamBtn");
        QCOMPARE(decoded(m_window->getBase64()).size(), QSize(320, 240));
        QVERIFY(shown(preview()).isNull());
    }

    void handsOverNothing_data()
    {
        QTest::addColumn<QString>("way");
        for (const char* way : {"no file", "a directory", "a device", "no picture in the file",
                                "Escape", "window manager", "closeSlot"}) {
            QTest::newRow(way) << QString(way);
        }
    }
    void handsOverNothing()
    {
        QFETCH(QString, way);
        if (way == "a directory") {
            QVERIFY(QDir().mkdir(pictureFile));
            QTest::ignoreMessage(QtWarningMsg, "cannot write /tmp/kvo_cv.jpg: Is a directory");
        } else if (way == "a device") {
            QVERIFY(QFile::link("/dev/full", pictureFile));
            QTest::ignoreMessage(QtWarningMsg, "cannot write /tmp/kvo_cv.jpg: not a regular file");
        }
        open();
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        if (way != "no file")
            click("photoBtn");
        if (way == "no picture in the file") {
            QFile file(pictureFile);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("\xff\xd8\xff\xe0 none") > 0);
        }
        if (way == "Escape")
            QTest::keyClick(m_window.get(), Qt::Key_Escape);
        else if (way == "window manager")
            m_window->close();
        else if (way == "closeSlot")
            m_window->closeSlot();
        else
            click("closeCamBtn");
        QVERIFY(!m_window->isVisible());
        QCOMPARE(m_window->getBase64(), QString());
    }

    void takesAPictureWithTheReturnKey()
    {
        open();
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        QTest::keyClick(m_window.get(), Qt::Key_Return);
        QVERIFY(shows(QImage(pictureFile), Scene::Document));
    }

    void keepsTheEarlierPictureWhileThereIsNoFrame_data()
    {
        QTest::addColumn<QString>("selector"); // that opens a camera anew
        QTest::newRow("at the start") << QString();
        QTest::newRow("another camera") << "comboBox_2";
        QTest::newRow("another resolution") << "comboBox";
    }
    void keepsTheEarlierPictureWhileThereIsNoFrame()
    {
        QFETCH(QString, selector);
        m_document->setStalled(selector.isEmpty());
        open();
        if (!selector.isEmpty()) {
            QTRY_VERIFY(shows(shown(preview()), Scene::Document));
            m_document->setStalled(true);
            m_portrait->setStalled(true);
            m_window->findChild<QComboBox*>(selector)->setCurrentIndex(1);
        }
        QTest::qWait(200);
        QTest::ignoreMessage(QtWarningMsg,
                             "cannot write /tmp/kvo_cv.jpg: the camera has sent no frame yet");
        click("photoBtn");
        QVERIFY(!QFile::exists(pictureFile));
        QVERIFY(shown(picture()).isNull());
        QVERIFY(m_window->isVisible());
    }

    void switchesTheCamera()
    {
        open();
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        child<QComboBox>("comboBox").setCurrentIndex(8);
        QTRY_COMPARE(m_document->currentSize(), QSize(2592, 1944));
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));

        child<QComboBox>("comboBox_2").setCurrentIndex(1);
        QCOMPARE(child<QComboBox>("comboBox").currentIndex(), 0);
        QCOMPARE(child<QLineEdit>("lineEdit").text(), "640*480");
        QCOMPARE(m_portrait->timesOpened(), 2); // once more for the change of the resolution
        QTRY_VERIFY(shows(shown(preview()), Scene::Portrait));
        QVERIFY(!m_document->isStreaming());
        QCOMPARE(m_portrait->currentSize(), QSize(640, 480));

        child<QComboBox>("comboBox_2").setCurrentIndex(0);
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        child<QComboBox>("comboBox").setCurrentIndex(3);
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        QCOMPARE(m_document->currentSize(), QSize(1280, 720));
        QVERIFY(!m_portrait->isStreaming());
    }

    void closesWhenItCannotOpenItsCamera_data()
    {
        QTest::addColumn<QString>("fault");
        for (const char* fault :
             {"no camera", "busy", "the other one is gone", "gone before the resolution changes"}) {
            QTest::newRow(fault) << QString(fault);
        }
    }
    void closesWhenItCannotOpenItsCamera()
    {
        QFETCH(QString, fault);
        if (fault != "no camera") {
            m_document->plugIn();
            m_portrait->plugIn();
        }
        m_document->setBusy(fault == "busy");
        QTest::ignoreMessage(QtWarningMsg, "CameraUser()++");
        QTest::ignoreMessage(QtDebugMsg, "open camera error");
        QTest::ignoreMessage(QtWarningMsg, "~CameraUser()--");
        auto window = std::make_unique<CameraUser>(nullptr);
        // Whoever runs the event loop before exec() must not use up the close.
        QCoreApplication::processEvents();
        QTimer::singleShot(300, window.get(), [&] {
            if (fault == "the other one is gone") {
                m_portrait->unplug();
                window->findChild<QComboBox*>("comboBox_2")->setCurrentIndex(1);
            } else if (fault == "gone before the resolution changes") {
                m_document->unplug();
                window->findChild<QComboBox*>("comboBox")->setCurrentIndex(4);
            }
        });
        QTimer::singleShot(10000, window.get(), [&] { window->done(77); });
        QVERIFY(window->exec() != 77);
        QCOMPARE(window->getBase64(), QString());
    }

    void staysUsableWhenTheCameraIsUnplugged()
    {
        open();
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        m_document->unplug();
        QTest::qWait(300);
        QVERIFY(m_window->isVisible());
        const int last = readFrameNumber(shown(preview()));
        click("photoBtn"); // what is still shown
        QCOMPARE(readFrameNumber(QImage(pictureFile)), last);
        click("closeCamBtn");
        QCOMPARE(readFrameNumber(decoded(m_window->getBase64())), last);
    }

    void survivesGarbage_data()
    {
        QTest::addColumn<bool>("compressed");
        QTest::newRow("pixels") << false;
        QTest::newRow("JPEG") << true;
    }
    void survivesGarbage()
    {
        QFETCH(bool, compressed);
        CameraDescription description = documentCamera();
        description.compressed = compressed;
        description.number = 4;
        m_document = std::make_unique<Camera>(*m_kernel, description);
        m_document->setDequeueTimeout(0);
        m_document->setGarbage(true);
        open();
        QTest::qWait(300);
        click("photoBtn");
        m_document->setGarbage(false);
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        click("photoBtn");
        click("closeCamBtn");
        QVERIFY(shows(decoded(m_window->getBase64()), Scene::Document));
    }

    void neverHoldsUpItsThread_data()
    {
        QTest::addColumn<int>("framesPerSecond");
        QTest::addColumn<bool>("stalled");
        QTest::newRow("a camera that stopped sending") << 30 << true;
        QTest::newRow("a picture a second") << 1 << false;
    }
    void neverHoldsUpItsThread()
    {
        QFETCH(int, framesPerSecond);
        QFETCH(bool, stalled);
        CameraDescription description = documentCamera();
        description.framesPerSecond = framesPerSecond;
        description.number = 4;
        m_document = std::make_unique<Camera>(*m_kernel, description);
        m_document->setDequeueTimeout(0);
        open();
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        m_document->setStalled(stalled);
        qint64 longest = 0;
        QElapsedTimer since;
        since.start();
        QTimer heartbeat;
        connect(&heartbeat, &QTimer::timeout, this,
                [&] { longest = std::max(longest, since.restart()); });
        heartbeat.start(2);
        QTest::qWait(2000);
        longest = std::max(longest, since.elapsed());
        // A thread that waited for the camera would stand still for a second; a busy machine does
        // not.
        QVERIFY2(longest < 500, qPrintable(QString::number(longest)));
        QVERIFY(shows(shown(preview()), Scene::Document));
    }

    void aSecondWindowFindsTheCameraBusy()
    {
        open();
        QTRY_VERIFY(shows(shown(preview()), Scene::Document));
        QTest::ignoreMessage(QtDebugMsg, "open camera error");
        CameraUser second(nullptr);
        QTimer::singleShot(10000, &second, [&] { second.done(77); });
        QVERIFY(second.exec() != 77);
        const int number = readFrameNumber(shown(preview()));
        QTRY_VERIFY(readFrameNumber(shown(preview())) > number + 2);
    }

    void leavesGStreamerOut()
    {
        // GStreamer writes its list of plug-ins when it is first asked for a camera.
        m_document->setBusy(true);
        QTest::ignoreMessage(QtDebugMsg, "open camera error");
        m_document->plugIn();
        const CameraUser window(nullptr);
        QVERIFY(!QFile::exists("registry"));
    }

private:
    void open()
    {
        m_document->plugIn();
        m_portrait->plugIn();
        m_window = std::make_unique<CameraUser>(nullptr);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    }
    template <typename Widget>
    Widget& child(const char* name)
    {
        return *m_window->findChild<Widget*>(name);
    }
    QLabel& preview() { return child<QLabel>("cameraPic"); }
    QLabel& picture() { return child<QLabel>("grabPic"); }
    void click(const char* button)
    {
        QTest::mouseClick(&child<QPushButton>(button), Qt::LeftButton);
    }
    static void resolutions()
    {
        QTest::addColumn<int>("item");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QString>("text");
        int item = 0;
        for (QSize size : deskCameraSizes()) {
            // The first item is current from the start; choosing it changes nothing.
            const QString text = QStringLiteral("%1*%2").arg(size.width()).arg(size.height());
            QTest::newRow(qPrintable(text)) << item << size << (item == 0 ? QString() : text);
            ++item;
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
    std::unique_ptr<CameraUser> m_window;
};

QTEST_MAIN(CaptureWindowTest)
#include "capture_window_test.moc"
