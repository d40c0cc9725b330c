// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The built service's windows on a desktop: a window manager, two monitors with a page in full
// screen on each, and what desktops put into the environment of their applications.

#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"
#include "virtual/support/window_operator.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QProcess>
#include <QRasterWindow>
#include <QScreen>
#include <QTest>

#include <memory>

using namespace virtual_desk;

namespace {

const QRect clerksMonitor(0, 0, 1920, 1080);
const QRect padsMonitor(1920, 0, 1280, 800);
const QRect signingPlace(2361, 250, 400, 300);
const QRect okButton(2361 + 270, 250 + 240, 125, 58);
const QString pictureFile = QStringLiteral("/tmp/kvo_cv.jpg");

QByteArray outputOf(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessEnvironment(VirtualKernel::outsideEnvironment());
    process.start(program, arguments);
    process.waitForFinished();
    return process.readAllStandardOutput();
}

QImage screen(const QRect& place)
{
    return QGuiApplication::primaryScreen()
        ->grabWindow(0, place.x(), place.y(), place.width(), place.height())
        .toImage();
}

/// \brief A page in kiosk mode: one colour over a whole monitor. Notes what is typed into it.
class Page : public QRasterWindow
{
public:
    explicit Page(const QRect& monitor)
    {
        setGeometry(monitor);
        show();
        QVERIFY(QTest::qWaitForWindowExposed(this));
        setWindowStates(Qt::WindowFullScreen);
        QTRY_COMPARE(geometry(), monitor);
    }
    void click() const
    {
        const QPoint corner = geometry().topLeft() + QPoint(20, 20);
        outputOf("xdotool", {"mousemove", QString::number(corner.x()), QString::number(corner.y()),
                             "click", "1"});
    }

    QString typed;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter(this).fillRect(0, 0, width(), height(), Qt::magenta);
    }
    void keyPressEvent(QKeyEvent* event) override { typed += event->text(); }
};

bool isLight(QRgb pixel)
{
    return qGray(pixel) > 200;
}

} // namespace

class DesktopTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        outputOf("xrandr", {"--setmonitor", "clerk", "1920/508x1080/286+0+0", "screen"});
        outputOf("xrandr", {"--setmonitor", "pad", "1280/217x800/136+1920+0", "none"});
        QVERIFY(outputOf("xrandr", {"--listactivemonitors"}).contains("1280/217x800/136+1920+0"));
        m_manager.setProcessEnvironment(VirtualKernel::outsideEnvironment());
        m_manager.start(qEnvironmentVariable("DESK_WINDOW_MANAGER", "openbox"), {"--sm-disable"});
        QVERIFY2(m_manager.waitForStarted(), "openbox is needed");
        QTRY_VERIFY(outputOf("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("0x"));
        m_kernel = std::make_unique<VirtualKernel>();
        m_camera = std::make_unique<Camera>(*m_kernel, CameraDescription());
        m_camera->setDequeueTimeout(0);
        m_camera->plugIn();
    }

    void init()
    {
        QFile::remove(pictureFile);
        m_service = std::make_unique<ServiceProcess>();
        m_page = std::make_unique<DeskClient>();
    }

    void cleanup()
    {
        m_page.reset();
        m_service.reset();
    }

    void cleanupTestCase()
    {
        m_manager.terminate();
        QVERIFY(m_manager.waitForFinished());
    }

    void whatADesktopSetsMovesAndHidesNothing_data()
    {
        using Variables = QMap<QString, QString>;
        QTest::addColumn<Variables>("variables");
        QTest::newRow("nothing") << Variables();
        QTest::newRow("125 %") << Variables{{"QT_SCALE_FACTOR", "1.25"}};
        QTest::newRow("125 % by monitor") << Variables{{"QT_SCREEN_SCALE_FACTORS", "1.25"}};
        QTest::newRow("scaling by the letters' size")
            << Variables{{"QT_AUTO_SCREEN_SCALE_FACTOR", "1"}, {"QT_FONT_DPI", "192"}};
        QTest::newRow("letters of 192 dots per inch") << Variables{{"QT_FONT_DPI", "192"}};
        QTest::newRow("a session manager")
            << Variables{{"SESSION_MANAGER", "local/desk:@/tmp/.ICE-unix/1"}};
        QFile theme("kdeglobals");
        QVERIFY(theme.open(QIODevice::WriteOnly));
        for (const char* part : {"Window", "Button", "View"})
            theme.write(QByteArray("[Colors:") + part +
                        "]\nBackgroundNormal=49,54,59\nForegroundNormal=252,252,252\n");
        QTest::newRow("a dark theme") << Variables{{"XDG_CURRENT_DESKTOP", "KDE"},
                                                   {"KDE_SESSION_VERSION", "5"},
                                                   {"XDG_CONFIG_HOME", QDir::currentPath()}};
    }

    void whatADesktopSetsMovesAndHidesNothing()
    {
        using Variables = QMap<QString, QString>;
        QFETCH(Variables, variables);
        QProcessEnvironment environment;
        for (auto variable = variables.begin(); variable != variables.end(); ++variable)
            environment.insert(variable.key(), variable.value());
        QVERIFY(m_service->start(environment));
        QVERIFY(m_page->open());
        QVERIFY(!m_service->standardError().contains("Session management"));
        m_page->command("ZCBeginSignAB", m_place);
        QVERIFY(m_signing.waitForWindows(1));
        QTRY_COMPARE(placeOf(m_signing), signingPlace);
        int dark = 0;
        int light = 0;
        QTRY_VERIFY(isLight(screen(signingPlace).pixel(10, 150)));
        const QImage label = screen(okButton.adjusted(30, 10, -30, -10));
        for (int i = 0; i < label.width() * label.height(); ++i) {
            const int gray = qGray(label.pixel(i % label.width(), i / label.width()));
            dark += gray < 64;
            light += gray > 192;
        }
        QVERIFY2(dark > 60 && light > 600,
                 qPrintable(QStringLiteral("%1 %2").arg(dark).arg(light)));
        m_page->command("ZCCameraPic");
        QVERIFY(m_capture.waitForWindows(1));
        QCOMPARE(placeOf(m_capture).size(), QSize(1033, 481));
        keepScreenshot();
        m_page->command("ZCEndSignAB");
    }

    void theSigningWindowLeavesTheKeyboardAndIsNeverCovered()
    {
        QVERIFY(m_service->start());
        QVERIFY(m_page->open());
        Page advertisement(padsMonitor);
        Page clerksPage(clerksMonitor);
        clerksPage.click();
        QTRY_COMPARE(QGuiApplication::focusWindow(), &clerksPage);
        for (int start = 0; start < 10; ++start) {
            m_page->command("ZCBeginSignAB", m_place);
            QTRY_VERIFY(signingWindowIsWhole());
            QCOMPARE(placeOf(m_signing), signingPlace);
            clerksPage.typed.clear();
            for (const char* key : {"Escape", "Return", "KP_Enter", "space", "a"})
                m_signing.press({key});
            QTRY_VERIFY(clerksPage.typed.endsWith('a'));
            QVERIFY(signingWindowIsWhole());
            if (start == 0) {
                advertisement.click();
                QTRY_COMPARE(QGuiApplication::focusWindow(), &advertisement);
                Page later(padsMonitor);
                QTest::qWait(300);
                QVERIFY(signingWindowIsWhole());
                clerksPage.click();
                QTRY_COMPARE(QGuiApplication::focusWindow(), &clerksPage);
            }
            QCOMPARE(m_page->ask("ZCEndSignAB").value("success"), QJsonValue(1));
            QVERIFY(m_signing.waitForWindows(0));
        }
    }

    void theCaptureWindowTakesTheKeyboardOverAPageEvenDuringASession()
    {
        QVERIFY(m_service->start());
        QVERIFY(m_page->open());
        Page clerksPage(clerksMonitor);
        clerksPage.click();
        m_page->command("ZCBeginSignAB", m_place);
        QVERIFY(m_signing.waitForWindows(1));
        m_page->command("ZCCameraPic");
        QVERIFY(m_capture.waitForWindows(1));
        const QRect place = placeOf(m_capture);
        QTRY_VERIFY(isLight(screen(place).pixel(570, 470)));
        QTRY_VERIFY(m_camera->framesSent() > 5);
        QTRY_VERIFY(m_capture.press({"Return"}) && QFile::exists(pictureFile));
        QVERIFY(clerksPage.typed.isEmpty());
        QVERIFY(m_capture.handOver());
        QVERIFY(m_capture.waitForWindows(0));
        m_page->command("ZCEndSignAB");
    }

private:
    static QRect placeOf(const WindowOperator& windows)
    {
        const QByteArray text =
            outputOf("xwininfo", {"-id", windows.windows().value(0, QStringLiteral("0"))});
        const auto number = [&text](const char* name) {
            const int at = text.indexOf(name);
            return at < 0 ? -1 : text.mid(at + int(qstrlen(name))).trimmed().split('\n')[0].toInt();
        };
        return {number("Absolute upper-left X:"), number("Absolute upper-left Y:"),
                number("Width:"), number("Height:")};
    }
    static bool signingWindowIsWhole()
    {
        const QImage image = screen(signingPlace);
        for (int y = 0; y < image.height(); y += 7) {
            for (int x = 0; x < image.width(); x += 7)
                if (image.pixelColor(x, y) == QColor(Qt::magenta))
                    return false;
        }
        return true;
    }
    /// For a person to look at.
    static void keepScreenshot()
    {
        const QString folder = qEnvironmentVariable("DESK_SCREENSHOTS");
        if (folder.isEmpty())
            return;
        QTest::qWait(500);
        const QString name = QString(QTest::currentDataTag()).replace(' ', '_') + ".png";
        QGuiApplication::primaryScreen()->grabWindow(0).save(folder + "/" + name);
    }

    const QJsonObject m_place{{"x", 440}, {"y", 250}, {"width", 400}, {"height", 300}};
    const WindowOperator m_signing{QStringLiteral("HandWriting")};
    const CaptureOperator m_capture;
    QProcess m_manager;
    std::unique_ptr<VirtualKernel> m_kernel;
    std::unique_ptr<Camera> m_camera;
    std::unique_ptr<ServiceProcess> m_service;
    std::unique_ptr<DeskClient> m_page;
};

QTEST_MAIN(DesktopTest)
#include "desktop_test.moc"
