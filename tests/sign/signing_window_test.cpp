// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/session_state.h"
#include "sign/signature_image.h"
#include "sign/signing_window.h"
#include "sign/stroke.h"
#include "tests/support/output_capture.h"
#include "tests/support/patience.h"
#include "virtual/pad/pen_path.h"

#include <QLabel>
#include <QPaintEvent>
#include <QPainter>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

using virtual_desk::PadGeometry;
using virtual_desk::PenPoint;

namespace {

const QRectF writingArea(480, 300, 320, 140); // of the pad's display, in the usual window

void feed(MainWindow& window, const PenPoint& point)
{
    window.on_getDataOk(point.x, point.y, point.pressure);
}

void feed(MainWindow& window, const std::vector<PenPoint>& points)
{
    for (const PenPoint& point : points)
        feed(window, point);
}

QPushButton& button(MainWindow& window, const char* name)
{
    return *window.findChild<QPushButton*>(name);
}

QLabel& label(MainWindow& window)
{
    return *window.findChild<QLabel*>("wgtHandwriting");
}

QImage shown(MainWindow& window)
{
    return label(window).pixmap(Qt::ReturnByValue).toImage();
}

/// The place of a canvas pixel on the pad's display.
QPointF onPad(MainWindow& window, const QPointF& canvasPixel)
{
    return canvasPixel + label(window).pos() + QPointF(g_SignData.x, g_SignData.y);
}

QPointF middleOf(const QPushButton& button)
{
    return QPointF(g_SignData.x, g_SignData.y) + QRectF(button.geometry()).center();
}

QImage canvasOf(const MainWindow& window)
{
    return window.canvas->toImage().convertToFormat(QImage::Format_RGB32);
}

/// \brief Collects what a widget is asked to repaint.
class PaintedRegion : public QObject
{
public:
    explicit PaintedRegion(QWidget& widget) { widget.installEventFilter(this); }
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            region += static_cast<QPaintEvent*>(event)->region();
        return false;
    }

    QRegion region;
};

QStringList texts(MainWindow& window)
{
    QStringList all(window.findChild<QLabel*>("labelTitle")->text());
    for (const QPushButton* each : window.findChildren<QPushButton*>())
        all << each->text();
    return all;
}

} // namespace

class SigningWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        g_SignData = struct_GLOBALSSIGNDATA();
        MainWindow().on_getDataOk(0, 0, 0); // ends the stroke that an earlier window began
    }

    void standsOnThePadsDisplay()
    {
        QPalette dark = QApplication::palette();
        dark.setColor(QPalette::ButtonText, Qt::white);
        QApplication::setPalette(dark); // as a desktop's theme has it
        MainWindow window;
        QApplication::setPalette(QPalette());
        QVERIFY(!window.isVisible());
        QCOMPARE(int(window.windowFlags()), 264203);
        QCOMPARE(texts(window), QStringList({"手写签字", "取消", "重签", "确定"}));
        QTimer::singleShot(100, &window, [&] {
            QVERIFY(QTest::qWaitForWindowExposed(&window));
            QCOMPARE(window.frameGeometry(), QRect(2361, 250, 400, 300));
            QVERIFY(window.isModal());
            for (const QPushButton* each : window.findChildren<QPushButton*>()) {
                const QRect text = each->fontMetrics().boundingRect(each->text());
                QVERIFY(text.height() > 24 && text.width() < each->width() - 10);
                QCOMPARE(each->palette().color(QPalette::ButtonText), QColor(Qt::black));
            }
            QCOMPARE(label(window).size(), window.canvas->size());
            window.onsEndSign();
        });
        window.exec();
    }

    void staysWithinTheDesktopsCoordinates()
    {
        struct_GLOBALSSIGNDATA& d = g_SignData;
        d.x = d.y = d.screenX = d.screenY = d.width = d.height = INT_MAX;
        QCOMPARE(MainWindow().geometry(), QRect(32767, 32767, 4096, 4096));
        d.x = d.screenX = INT_MIN;
        d.height = 300;
        QCOMPARE(MainWindow().geometry(), QRect(-32767, 32767, 32767, 300));
    }

    void showsTheStoredTextsAndColours()
    {
        const QSize usual = MainWindow().canvas->size();
        g_SignData.transparency = 100;
        g_SignData.backgroundColor = 0x112233;
        g_SignData.titleText = "A\nB";
        g_SignData.cancelText = "C";
        g_SignData.resignText = "D";
        g_SignData.okText = "E";
        MainWindow window;
        QCOMPARE(window.windowOpacity(), 1.0);
        QCOMPARE(canvasOf(window).pixel(5, 5), qRgb(0x11, 0x22, 0x33));
        QCOMPARE(shown(window), window.canvas->toImage());
        QCOMPARE(window.canvas->size(), usual);
        QCOMPARE(texts(window), QStringList({"A\nB", "C", "D", "E"}));
    }

    void onlyItsSlotsCloseItEachWithItsOutcome()
    {
        for (const auto& [slot, result] : {std::pair("on_btnOK_clicked", 0),
                                           {"on_btnCancel_clicked", -1},
                                           {"on_findDeviceErro", -2},
                                           {"on_openDeviceErro", -3},
                                           {"onsEndSign", -88}}) {
            MainWindow window;
            window.show();
            window.result = 5;
            window.close();
            for (const auto key : {Qt::Key_Escape, Qt::Key_Enter, Qt::Key_Return, Qt::Key_Space,
                                   Qt::Key_Tab, Qt::Key_Space, Qt::Key_Return})
                QTest::keyClick(&window, key);
            window.on_readDataErro();
            QCoreApplication::processEvents();
            QVERIFY(window.isVisible() && !window.closeAllowed);
            QVERIFY(QMetaObject::invokeMethod(&window, slot));
            QVERIFY(!window.isVisible());
            QCOMPARE(window.result, result);
            QCOMPARE(window.endedByCommand, result == -88);
            QCOMPARE(window.imageBase64.isEmpty(), result != 0);
        }
    }

    void drawsWhereThePenIsAsWideAsItsPressure()
    {
        // Pressure and pen width, and the widths of the first point and of the line from there.
        const std::tuple<int, int, int, int> pens[] = {
            {101, 1024, 51, 102}, {1023, INT_MIN, 0, 0}, {1023, INT_MAX, 32767, 32767}};
        for (const auto& [pressure, penWidth, pointWidth, lineWidth] : pens) {
            g_SignData.penWidth = penWidth;
            g_SignData.penColor = 0xFF8000;
            g_SignData.screenX = -300;
            MainWindow window;
            const PadGeometry pad;
            feed(window, pad.at(onPad(window, {50, 60}), pressure));
            feed(window, pad.at(onPad(window, {150, 60}), pressure));
            feed(window, pad.at(onPad(window, {150, 160}), 0));

            QPixmap expected(window.canvas->size());
            expected.fill(Qt::white);
            QPainter painter(&expected);
            painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
            const QColor orange(255, 128, 0);
            painter.setPen(QPen(orange, pointWidth, Qt::SolidLine, Qt::RoundCap));
            painter.drawPoint(50, 60);
            painter.setPen(QPen(orange, lineWidth, Qt::SolidLine, Qt::RoundCap));
            painter.drawLine(50, 60, 150, 60);
            painter.end();
            QCOMPARE(canvasOf(window), expected.toImage().convertToFormat(QImage::Format_RGB32));
            QCOMPARE(shown(window), window.canvas->toImage());
        }
    }

    void strokesBetweenPlacesFarAwayCrossTheCanvas()
    {
        const std::tuple<QLine, QPoint, bool> strokes[] = {
            {{-100000, 60, 100000, 60}, {200, 60}, true},
            {{200, -100000, 200, 100000}, {200, 60}, true},
            {{-100000, -100000, 100000, 100000}, {60, 60}, true},
            {{INT_MIN, 60, INT_MAX, 60}, {200, 60}, true},
            {{-100000, -50, 100000, -50}, {200, 0}, false}};
        for (const auto& [line, pixel, darkens] : strokes) {
            MainWindow window;
            MainWindow().DrawWgtHandWriting(line.x1(), line.y1(), 1023); // the session before
            window.DrawWgtHandWriting(line.x2(), line.y2(), 1023);
            window.DrawWgtHandWriting(0, 0, 0);
            QCOMPARE(qGray(canvasOf(window).pixel(pixel)) < 128, darkens);
        }
    }

    void aSampleRepaintsItsMarkAndNoMore()
    {
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTest::qWait(50);
        PaintedRegion painted(label(window));
        const PadGeometry pad;
        feed(window, pad.at(onPad(window, {50, 60}), 700));
        feed(window, pad.at(onPad(window, {60, 66}), 700));
        AWAIT(painted.region.contains(QPoint(60, 66)));
        for (int y = 0; y < window.canvas->height(); ++y)
            for (int x = 0; x < window.canvas->width(); ++x)
                if (canvasOf(window).pixel(x, y) != qRgb(255, 255, 255))
                    QVERIFY(painted.region.contains(QPoint(x, y)));
        QVERIFY(QRect(40, 50, 30, 26).contains(painted.region.boundingRect()));
        window.on_btnResign_clicked();
        AWAIT_EQUAL(painted.region.boundingRect(), QRect(QPoint(0, 0), window.canvas->size()));
    }

    void tapsPressButtonsToTheirEdges()
    {
        const std::tuple<QPointF, QPoint, bool> taps[] = {
            // The place as parts of the button's sides, an offset in pixels, whether that is
            // inside.
            {{0, 0}, {0, 0}, true},     {{1, 1}, {-1, -1}, true},  {{0, 0.5}, {-1, 0}, false},
            {{0.5, 0}, {0, -1}, false}, {{1, 0.5}, {0, 0}, false}, {{0.5, 1}, {0, 0}, false}};
        for (const auto& [part, pixels, isInside] : taps) {
            MainWindow window;
            const QRect place = button(window, "btnOK").geometry();
            const QPointF inside(part.x() * place.width(), part.y() * place.height());
            const QPoint onDisplay = place.topLeft() + pixels + QPoint(g_SignData.x, g_SignData.y);
            feed(window, PadGeometry().tap(onDisplay + inside));
            QCOMPARE(window.closeAllowed, isInside);
        }
    }

    void onlyALiftPressesAndOnlyOnce()
    {
        MainWindow window;
        QPushButton& ok = button(window, "btnOK");
        const QPointF target = middleOf(ok);
        const PadGeometry pad;
        feed(window, pad.at(target, 0)); // hovering
        const QImage released = ok.grab().toImage();
        feed(window, pad.at(target, 500));
        QVERIFY(ok.grab().toImage() != released);
        feed(window, pad.at(target - QPointF(0, 100), 500));
        QCOMPARE(ok.grab().toImage(), released);
        feed(window, pad.at(target, 500));
        QVERIFY(ok.isDown());
        QVERIFY(!window.closeAllowed);
        const LogCapture log;
        feed(window, pad.at(target, 0));
        QVERIFY(window.closeAllowed);
        const QRect cancel = button(window, "btnCancel").geometry().translated(2361, 250);
        QCOMPARE(LogCapture::take().join('|'),
                 QString::asprintf("btnCancel_GloablRct x:%d,y:%d, w:%d,h:%d\r\n|"
                                   "currentTuchPt x:%f,y:%f\r\n",
                                   cancel.x(), cancel.y(), cancel.width(), cancel.height(),
                                   std::floor(target.x()) + 1921, std::floor(target.y())));
        feed(window, pad.at(target, 0));
        QCOMPARE(LogCapture::take(), QStringList());
        feed(window, pad.tap(middleOf(button(window, "btnCancel")))); // was still queued
        QCOMPARE(window.result, 0);
        QCOMPARE(LogCapture::take().last(), "btnCancel_GloablRct.contains(currentTuchPt) \r\n");
    }

    void disabledButtonsDoNothing()
    {
        g_SignData.cancelDisabled = g_SignData.resignDisabled = true;
        MainWindow window;
        feed(window, PadGeometry().signature(writingArea));
        const QImage written = canvasOf(window);
        window.on_btnCancel_clicked();
        window.on_btnResign_clicked();
        QCOMPARE(canvasOf(window), written);
        g_SignData.resignDisabled = false;
        g_SignData.backgroundColor = 0;
        feed(window, PadGeometry().tap(middleOf(button(window, "btnResign"))));
        QImage white = written;
        white.fill(Qt::white);
        QCOMPARE(canvasOf(window), white);
        QCOMPARE(shown(window), window.canvas->toImage());
        QVERIFY(!window.closeAllowed);
    }

    void okLeavesThePictureAsBase64Png()
    {
        MainWindow window;
        feed(window, PadGeometry().signature(writingArea));
        const QImage written = canvasOf(window);
        window.on_btnOK_clicked();
        QVERIFY(QByteArray::fromBase64(window.imageBase64).startsWith("\x89PNG"));
        const QImage picture = Base64_To_Image(window.imageBase64, QString()).toImage();
        QCOMPARE(picture.convertToFormat(QImage::Format_RGB32), written);
        QVERIFY(Base64_To_Image("no picture", "none.png").isNull());
        QVERIFY(!QFile::exists("none.png"));
        MainWindow withoutPixels;
        *withoutPixels.canvas = QPixmap();
        withoutPixels.on_btnOK_clicked();
        QCOMPARE(withoutPixels.result, -1);
        QVERIFY(withoutPixels.closeAllowed);
    }
};

QTEST_MAIN(SigningWindowTest)
#include "signing_window_test.moc"
