// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/session_state.h"
#include "sign/signature_image.h"
#include "sign/signing_window.h"
#include "sign/stroke.h"
#include "tests/support/output_capture.h"
#include "virtual/pad/pen_path.h"

#include <QLabel>
#include <QPaintEvent>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QtTest>

#include <functional>

using virtual_desk::PadGeometry;
using virtual_desk::PenPoint;

namespace {

/// Ends the strokes that the window's statics carry over, far from any button.
void liftPen(MainWindow& window)
{
    window.on_getDataOk(0, 0, 0);
}

void feed(MainWindow& window, const PenPoint& point)
{
    window.on_getDataOk(point.x, point.y, point.pressure);
}

void feed(MainWindow& window, const std::vector<PenPoint>& points)
{
    for (const PenPoint& point : points)
        feed(window, point);
}

/// The place of a canvas pixel on the pad's display.
QPointF onPad(MainWindow& window, const QPointF& canvasPixel)
{
    const QPoint label = window.findChild<QLabel*>(QStringLiteral("wgtHandwriting"))->pos();
    return canvasPixel + label + QPointF(g_SignData.x, g_SignData.y);
}

QImage canvasOf(const MainWindow& window)
{
    return window.canvas->toImage().convertToFormat(QImage::Format_RGB32);
}

/// \brief Collects what a widget is asked to repaint.
class PaintedRegion : public QObject
{
public:
    explicit PaintedRegion(QWidget* widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            region += static_cast<QPaintEvent*>(event)->region();
        return false;
    }

    QRegion region;
};

/// Runs the window like its command does, with `work` once it is up. Returns false when it did not
/// end.
bool run(MainWindow& window, const std::function<void()>& work)
{
    bool ended = true;
    QTimer::singleShot(100, &window, work);
    QTimer::singleShot(3000, &window, [&] {
        ended = false;
        window.onsEndSign();
    });
    window.exec();
    return ended;
}

} // namespace

class SigningWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        g_SignData = struct_GLOBALSSIGNDATA();
        MainWindow window;
        liftPen(window);
    }

    void standsOnThePadsDisplay()
    {
        MainWindow window;
        QVERIFY(!window.isVisible());
        QCOMPARE(int(window.windowFlags()), 264203);
        QCOMPARE(window.result, -1);
        QVERIFY(run(window, [&] {
            QVERIFY(QTest::qWaitForWindowExposed(&window));
            QCOMPARE(window.geometry(), QRect(2361, 250, 400, 300));
            QCOMPARE(window.frameGeometry(), window.geometry());
            QVERIFY(window.isModal());
            QVERIFY(qAbs(window.windowOpacity() - 0.65) < 0.005);
            QCOMPARE(window.findChild<QLabel*>("labelTitle")->text(), QString("手写签字"));
            QCOMPARE(window.findChild<QPushButton*>("btnCancel")->text(), QString("取消"));
            QCOMPARE(window.findChild<QPushButton*>("btnResign")->text(), QString("重签"));
            QCOMPARE(window.findChild<QPushButton*>("btnOK")->text(), QString("确定"));
            for (QPushButton* button : window.findChildren<QPushButton*>()) {
                const QRect text = button->fontMetrics().boundingRect(button->text());
                QVERIFY(text.height() > 24 && text.width() < button->width() - 10);
            }
            const QLabel* label = window.findChild<QLabel*>("wgtHandwriting");
            QCOMPARE(label->size(), window.canvas->size());
            QCOMPARE(label->width(), 400);
            QVERIFY(label->height() > 150);
            feed(window, PadGeometry().signature(QRectF(480, 300, 320, 140)));
            QTest::qWait(100);
            const QString picture = qEnvironmentVariable("DESK_KEEP_SCREENSHOT");
            if (!picture.isEmpty())
                QGuiApplication::primaryScreen()->grabWindow(0, 2341, 230, 440, 340).save(picture);
            window.onsEndSign();
        }));
        QCOMPARE(window.result, -88);
    }

    void followsTheStoredGeometry()
    {
        g_SignData.x = 10;
        g_SignData.y = 20;
        g_SignData.width = 640;
        g_SignData.height = 480;
        g_SignData.screenX = 100;
        g_SignData.screenY = 50;
        g_SignData.transparency = 100;
        g_SignData.titleText = QStringLiteral("A");
        g_SignData.backgroundColor = 0x112233;
        MainWindow window;
        QCOMPARE(window.geometry(), QRect(110, 70, 640, 480));
        QCOMPARE(window.windowOpacity(), 1.0);
        QCOMPARE(canvasOf(window).pixel(5, 5), qRgb(0x11, 0x22, 0x33));
    }

    void theCanvasDoesNotDependOnTheTexts()
    {
        const QSize usual = MainWindow().canvas->size();
        g_SignData.titleText = QStringLiteral("手写\n签字");
        MainWindow window;
        QCOMPARE(window.canvas->size(), usual);
    }

    void nothingButItsSlotsClosesIt_data()
    {
        QTest::addColumn<int>("key");
        QTest::newRow("window manager") << 0;
        QTest::newRow("Escape") << int(Qt::Key_Escape);
        QTest::newRow("Enter") << int(Qt::Key_Enter);
        QTest::newRow("Return") << int(Qt::Key_Return);
        QTest::newRow("Space") << int(Qt::Key_Space);
    }

    void nothingButItsSlotsClosesIt()
    {
        QFETCH(int, key);
        MainWindow window;
        bool stayed = false;
        QVERIFY(run(window, [&] {
            if (key == 0)
                window.close();
            for (QPushButton* button : window.findChildren<QPushButton*>()) {
                QVERIFY(!button->autoDefault() && !button->isDefault());
                QCOMPARE(button->focusPolicy(), Qt::NoFocus);
            }
            QTest::keyClick(&window, Qt::Key_Tab);
            QVERIFY(!qobject_cast<QPushButton*>(QApplication::focusWidget()));
            if (key != 0)
                QTest::keyClick(&window, Qt::Key(key));
            QCoreApplication::processEvents();
            stayed = window.isVisible() && window.result == -1;
            window.on_findDeviceErro();
        }));
        QVERIFY(stayed);
        QCOMPARE(window.result, -2);
    }

    void drawsWhereThePenIs_data()
    {
        QTest::addColumn<int>("pressure");
        QTest::addColumn<int>("penWidth");
        QTest::addColumn<int>(
            "rows"); // dark rows of a horizontal stroke; antialiasing adds lighter ones
        QTest::newRow("full pressure") << 1023 << 5 << 5;
        QTest::newRow("light pressure") << 100 << 5 << 1;
        QTest::newRow("wide pen") << 1023 << 21 << 21;
        QTest::newRow("half pressure") << 511 << 21 << 10;
        QTest::newRow("no width") << 1023 << 0 << 1;
    }

    void drawsWhereThePenIs()
    {
        QFETCH(int, pressure);
        QFETCH(int, penWidth);
        QFETCH(int, rows);
        g_SignData.penWidth = penWidth;
        g_SignData.penColor = 0xFF0000;
        MainWindow window;
        const PadGeometry pad;
        const PenPoint from = pad.at(onPad(window, {50, 60}), pressure);
        const PenPoint to = pad.at(onPad(window, {150, 60}), pressure);
        feed(window, from);
        feed(window, to);
        feed(window, PenPoint{to.x, to.y, 0});

        // The reference: the same two marks by the toolkit's painter.
        QPixmap expected(window.canvas->size());
        expected.fill(Qt::white);
        QPainter painter(&expected);
        painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        const auto pen = [&](int lastPressure) {
            const int width =
                static_cast<int>(((lastPressure + pressure) * 0.5 + 1.0) * 0.0009765625 * penWidth);
            return QPen(QColor(255, 0, 0), width, Qt::SolidLine, Qt::RoundCap);
        };
        painter.setPen(pen(0));
        painter.drawPoint(QPointF(50, 60));
        painter.setPen(pen(pressure));
        painter.drawLine(QPointF(50, 60), QPointF(150, 60));
        painter.end();
        QCOMPARE(canvasOf(window), expected.toImage().convertToFormat(QImage::Format_RGB32));
        int dark = 0;
        for (int y = 40; y < 80; ++y)
            dark += qGreen(canvasOf(window).pixel(100, y)) < 130;
        QVERIFY2(qAbs(dark - rows) <= 1, qPrintable(QString::number(dark)));
        const QLabel* label = window.findChild<QLabel*>("wgtHandwriting");
        QCOMPARE(label->pixmap(Qt::ReturnByValue).toImage(), window.canvas->toImage());
        QCOMPARE(label->pixmap(Qt::ReturnByValue).cacheKey(), window.canvas->cacheKey());
    }

    void aSampleRepaintsNoMoreThanItsMark()
    {
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTest::qWait(50);
        PaintedRegion painted(window.findChild<QLabel*>("wgtHandwriting"));
        const PadGeometry pad;
        feed(window, pad.at(onPad(window, {50, 60}), 700));
        feed(window, pad.at(onPad(window, {60, 66}), 700));
        QTRY_VERIFY(painted.region.contains(QPoint(60, 66)));
        QVERIFY(painted.region.contains(QPoint(50, 60)));
        QVERIFY(QRect(40, 50, 30, 26).contains(painted.region.boundingRect()));
        feed(window, pad.at(onPad(window, {60, 66}), 0));
        window.on_btnResign_clicked();
        QTRY_COMPARE(painted.region.boundingRect(), QRect(QPoint(0, 0), window.canvas->size()));
    }

    void theFirstSampleOfASessionJoinsTheLastOfTheOneBefore()
    {
        const PadGeometry pad;
        {
            MainWindow window;
            feed(window, pad.at(onPad(window, {50, 60}), 1000));
        }
        MainWindow window;
        feed(window, pad.at(onPad(window, {150, 60}), 1000));
        QVERIFY(qGray(canvasOf(window).pixel(100, 60)) < 128);
    }

    void tapsPressButtonsToTheirEdges_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QPointF>("corner"); // share of width and height
        QTest::addColumn<QPoint>("offset");
        QTest::addColumn<bool>("hits");
        for (const char* button : {"btnCancel", "btnOK"}) {
            const QString name = button;
            QTest::addRow("%s middle", button) << name << QPointF(0.5, 0.5) << QPoint(0, 0) << true;
            QTest::addRow("%s first pixel", button)
                << name << QPointF(0, 0) << QPoint(0, 0) << true;
            QTest::addRow("%s last pixel", button)
                << name << QPointF(1, 1) << QPoint(-1, -1) << true;
            QTest::addRow("%s left of it", button)
                << name << QPointF(0, 0.5) << QPoint(-1, 0) << false;
            QTest::addRow("%s above it", button)
                << name << QPointF(0.5, 0) << QPoint(0, -1) << false;
            QTest::addRow("%s right of it", button)
                << name << QPointF(1, 0.5) << QPoint(0, 0) << false;
            QTest::addRow("%s below it", button)
                << name << QPointF(0.5, 1) << QPoint(0, 0) << false;
        }
    }

    void tapsPressButtonsToTheirEdges()
    {
        QFETCH(QString, button);
        QFETCH(QPointF, corner);
        QFETCH(QPoint, offset);
        QFETCH(bool, hits);
        MainWindow window;
        window.show();
        const QRect place = window.findChild<QPushButton*>(button)->geometry();
        const QPointF target = QPointF(g_SignData.x, g_SignData.y) + place.topLeft() +
                               QPointF(corner.x() * place.width(), corner.y() * place.height()) +
                               offset;
        feed(window, PadGeometry().tap(target));
        QCOMPARE(window.closeAllowed, hits);
        QCOMPARE(window.isVisible(), !hits);
        QCOMPARE(window.result, hits && button == QLatin1String("btnOK") ? 0 : -1);
    }

    void onlyALiftPresses()
    {
        MainWindow window;
        QPushButton* button = window.findChild<QPushButton*>("btnOK");
        const QPointF target =
            QPointF(g_SignData.x, g_SignData.y) + QRectF(button->geometry()).center();
        const PadGeometry pad;
        feed(window, pad.at(target, 0)); // hovering
        const QImage released = button->grab().toImage();
        feed(window, pad.at(target, 500));
        QVERIFY(button->grab().toImage() != released);
        feed(window, pad.at(target - QPointF(0, 100), 500));
        QCOMPARE(button->grab().toImage(), released);
        feed(window, pad.at(target, 500));
        QVERIFY(button->isDown());
        QVERIFY(!window.closeAllowed);
        LogCapture diagnostics;
        feed(window, pad.at(target, 0));
        QVERIFY(window.closeAllowed);
        const QStringList lines = diagnostics.take();
        QCOMPARE(lines.size(), 2);
        QVERIFY(lines[0].startsWith("btnCancel_GloablRct x:23"));
        QVERIFY(lines[1].startsWith("currentTuchPt x:2"));
        feed(window, pad.at(target, 0));
        QCOMPARE(diagnostics.take(), QStringList());
    }

    void disabledButtonsDoNothing()
    {
        g_SignData.cancelDisabled = true;
        g_SignData.resignDisabled = true;
        MainWindow window;
        feed(window, PadGeometry().signature(QRectF(480, 300, 320, 140)));
        const QImage written = canvasOf(window);
        window.on_btnCancel_clicked();
        window.on_btnResign_clicked();
        QVERIFY(!window.closeAllowed);
        QCOMPARE(canvasOf(window), written);
        g_SignData.resignDisabled = false;
        g_SignData.backgroundColor = 0;
        window.findChild<QPushButton*>("btnResign")->click();
        QImage white = written;
        white.fill(Qt::white);
        QCOMPARE(canvasOf(window), white);
        QCOMPARE(window.findChild<QLabel*>("wgtHandwriting")->pixmap(Qt::ReturnByValue).toImage(),
                 window.canvas->toImage());
    }

    void okLeavesThePictureAsBase64Png()
    {
        MainWindow window;
        feed(window, PadGeometry().signature(QRectF(480, 300, 320, 140)));
        const QImage written = canvasOf(window);
        window.on_btnOK_clicked();
        QCOMPARE(window.result, 0);
        const QImage decoded = QImage::fromData(QByteArray::fromBase64(window.imageBase64), "PNG");
        QCOMPARE(decoded.convertToFormat(QImage::Format_RGB32), written);
        const QString file = QStringLiteral("signature.png");
        QCOMPARE(Base64_To_Image(window.imageBase64, file).size(), written.size());
        QCOMPARE(QImage(file).convertToFormat(QImage::Format_RGB32), written);
        QVERIFY(!Base64_To_Image(window.imageBase64, QString()).isNull());
        QTest::ignoreMessage(QtWarningMsg,
                             "cannot write none/signature.png: No such file or directory");
        QVERIFY(
            !Base64_To_Image(window.imageBase64, QStringLiteral("none/signature.png")).isNull());
        QVERIFY(Base64_To_Image("no picture", QStringLiteral("none.png")).isNull());
        QVERIFY(!QFile::exists(QStringLiteral("none.png")));
    }

    void anySampleIsTakenWithinASecond_data()
    {
        QTest::addColumn<int>("penWidth");
        QTest::addColumn<int>("screen");
        for (const int width : {0, -5, 5, 40000, INT_MAX})
            for (const int screen : {-1280, 0, 1280, 1000000, INT_MAX})
                QTest::addRow("pen %d, screen %d", width, screen) << width << screen;
    }

    void anySampleIsTakenWithinASecond()
    {
        QFETCH(int, penWidth);
        QFETCH(int, screen);
        g_SignData.penWidth = penWidth;
        g_SignData.screenWidth = screen;
        g_SignData.screenHeight = screen;
        MainWindow window;
        QElapsedTimer timer;
        timer.start();
        for (const int pressure : {1, 1023, 65535, 0}) {
            for (const int x : {0, 1, 8000, 21692, 65535})
                for (const int y : {65535, 5000, 0})
                    window.on_getDataOk(x, y, pressure);
        }
        QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    }

    void aCanvasWithoutPixelsCancels()
    {
        g_SignData.width = 0;
        g_SignData.height = 0;
        MainWindow window;
        window.canvas->swap(*std::make_unique<QPixmap>());
        feed(window, PadGeometry().tap({500, 400}));
        window.on_btnOK_clicked();
        QCOMPARE(window.result, -1);
        QVERIFY(window.closeAllowed);
    }
};

QTEST_MAIN(SigningWindowTest)
#include "signing_window_test.moc"
