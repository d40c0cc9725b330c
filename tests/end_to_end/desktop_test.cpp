// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The built service's windows on a desktop: a window manager, two monitors with a page in full
// screen on each, and what desktops put into the environment of their applications.

#include "tests/support/table.h"
#include "tests/support/x_desktop.h"
#include "virtual/camera/camera.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/window_operator.h"

#include <QDir>
#include <QGuiApplication>
#include <QScreen>

using namespace virtual_desk;

namespace {

using Variables = QMap<QString, QString>;

const QRect okButton(signingPlace.topLeft() + QPoint(270, 240), QSize(125, 58));
const QString pictureFile = "/tmp/kvo_cv.jpg";

QImage screen(const QRect& place)
{
    return QGuiApplication::primaryScreen()
        ->grabWindow(0, place.x(), place.y(), place.width(), place.height())
        .toImage();
}

/// How many pixels of a place of the screen have a property.
template <typename Property>
int pixels(const QRect& place, Property property)
{
    const QImage image = screen(place).convertToFormat(QImage::Format_RGB32);
    int count = 0;
    for (int i = 0; i < image.width() * image.height(); ++i)
        count += property(image.pixel(i % image.width(), i / image.width())) ? 1 : 0;
    return count;
}

const auto isDark = [](QRgb pixel) { return qGray(pixel) < 64; };
const auto isLight = [](QRgb pixel) { return qGray(pixel) > 192; };
const auto isThePages = [](QRgb pixel) { return pixel == QColor(Qt::magenta).rgb(); };

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
        AWAIT(outputOf("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("0x"));
        m_camera.setDequeueTimeout(0);
        m_camera.plugIn();
    }

    void cleanup()
    {
        QFile::remove(pictureFile);
        m_client.close();
        m_service.stop();
        m_service.forgetOutput();
    }

    void cleanupTestCase()
    {
        m_manager.terminate();
        QVERIFY(m_manager.waitForFinished());
    }

    void whatADesktopSetsMovesAndHidesNothing_data()
    {
        QFile theme("kdeglobals");
        QVERIFY(theme.open(QIODevice::WriteOnly));
        for (const char* part : {"Window", "Button", "View"})
            theme.write(QByteArray("[Colors:") + part +
                        "]\nBackgroundNormal=49,54,59\nForegroundNormal=252,252,252\n");
        addRows<Variables>({
            {"nothing", {}},
            {"125 %", {{"QT_SCALE_FACTOR", "1.25"}}},
            {"125 % by monitor", {{"QT_SCREEN_SCALE_FACTORS", "1.25"}}},
            {"scaling by the letters' size",
             {{"QT_AUTO_SCREEN_SCALE_FACTOR", "1"}, {"QT_FONT_DPI", "192"}}},
            {"letters of 192 dots per inch", {{"QT_FONT_DPI", "192"}}},
            {"a session manager", {{"SESSION_MANAGER", "local/desk:@/tmp/.ICE-unix/1"}}},
            {"a dark theme",
             {{"XDG_CURRENT_DESKTOP", "KDE"},
              {"KDE_SESSION_VERSION", "5"},
              {"XDG_CONFIG_HOME", QDir::currentPath()}}},
        });
    }
    void whatADesktopSetsMovesAndHidesNothing()
    {
        const auto [variables] = row<Variables>();
        QProcessEnvironment environment;
        for (const QString& name : variables.keys())
            environment.insert(name, variables[name]);
        start(environment);
        QVERIFY(!m_service.standardError().contains("Session management"));
        m_client.command("ZCBeginSignAB", signingKeys);
        QVERIFY(m_signing.waitForWindows(1));
        AWAIT_EQUAL(m_signing.place(), signingPlace);
        const QRect label = okButton.adjusted(30, 10, -30, -10);
        AWAIT(pixels(label, isDark) > 60 && pixels(label, isLight) > 600);
        m_client.command("ZCCameraPic");
        QVERIFY(m_capture.waitForWindows(1));
        AWAIT_EQUAL(m_capture.place().size(), QSize(1033, 481));
        keepScreenshot();
    }

    void theSigningWindowLeavesTheKeyboardAndIsNeverCovered()
    {
        start();
        Page advertisement(padsMonitor);
        Page clerksPage(clerksMonitor);
        activate(clerksPage);
        for (int session = 0; session < 10; ++session) {
            m_client.command("ZCBeginSignAB", signingKeys);
            AWAIT(signingWindowIsWhole());
            QCOMPARE(m_signing.place(), signingPlace);
            clerksPage.typed.clear();
            QVERIFY(m_signing.press({"Escape", "Return", "KP_Enter", "space", "a"}));
            AWAIT(clerksPage.typed.endsWith('a'));
            QVERIFY(signingWindowIsWhole());
            if (session == 0) {
                activate(advertisement);
                Page later(padsMonitor);
                QTest::qWait(300);
                QVERIFY(signingWindowIsWhole());
                activate(clerksPage);
            }
            QCOMPARE(m_client.asked("ZCEndSignAB"), QString("ZCEndSignAB 1 "));
            QVERIFY(m_signing.waitForWindows(0));
        }
    }

    void theCaptureWindowTakesTheKeyboardOverAPageEvenDuringASession()
    {
        start();
        Page clerksPage(clerksMonitor);
        activate(clerksPage);
        m_client.command("ZCBeginSignAB", signingKeys);
        QVERIFY(m_signing.waitForWindows(1));
        const int before = m_camera.framesSent();
        m_client.command("ZCCameraPic");
        QVERIFY(m_capture.waitForWindows(1));
        AWAIT(isLight(screen(m_capture.place()).pixel(570, 470)));
        AWAIT(m_camera.framesSent() > before + 5);
        AWAIT(m_capture.press({"Return"}) && QFile::exists(pictureFile));
        QVERIFY(clerksPage.typed.isEmpty());
        QVERIFY(m_capture.handOver() && m_capture.waitForWindows(0));
    }

private:
    void start(const QProcessEnvironment& environment = {})
    {
        QVERIFY(m_service.start(environment) && m_client.open());
    }

    static void activate(const Page& page)
    {
        const QPoint corner = page.geometry().topLeft() + QPoint(20, 20);
        outputOf("xdotool", {"mousemove", QString::number(corner.x()), QString::number(corner.y()),
                             "click", "1"});
        AWAIT_EQUAL(QGuiApplication::focusWindow(), static_cast<const QWindow*>(&page));
    }

    /// Whether no pixel of its place has the pages' colour.
    static bool signingWindowIsWhole() { return pixels(signingPlace, isThePages) == 0; }

    /// For a person to look at.
    static void keepScreenshot()
    {
        const QString folder = qEnvironmentVariable("DESK_SCREENSHOTS");
        const QString name = QString(QTest::currentDataTag()).replace(' ', '_') + ".png";
        if (!folder.isEmpty())
            QGuiApplication::primaryScreen()->grabWindow(0).save(folder + "/" + name);
    }

    const WindowOperator m_signing{"HandWriting"};
    const CaptureOperator m_capture;
    QProcess m_manager;
    VirtualKernel m_kernel;
    Camera m_camera{m_kernel, {}};
    ServiceProcess m_service;
    DeskClient m_client;
};

QTEST_MAIN(DesktopTest)
#include "desktop_test.moc"
