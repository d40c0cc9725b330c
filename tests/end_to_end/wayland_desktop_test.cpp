// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The built service's windows on a Wayland desktop: GNOME's compositor with two monitors and
// Xwayland.

#include "tests/support/x_desktop.h"
#include "virtual/camera/camera.h"
#include "virtual/pad/signature_pad.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/window_operator.h"

#include <QApplication>
#include <QFile>

using namespace virtual_desk;

namespace {

const QPointF okButton(775, 507); // on the pad's display
const QRectF writingArea(480, 300, 320, 140);

/// \brief The compositor. Starts it, and puts its X display into this process's environment.
class Mutter
{
public:
    Mutter()
    {
        QProcessEnvironment environment = VirtualKernel::outsideEnvironment();
        environment.remove("DBUS_SESSION_BUS_ADDRESS");
        m_process.setProcessEnvironment(environment);
        m_process.setStandardErrorFile("mutter.log");
        // It ends with its command. Xwayland serves clients before mutter manages their windows,
        // and a window from that moment may never be shown.
        m_process.start("dbus-run-session",
                        {"--", "mutter", "--headless", "--wayland", "--virtual-monitor",
                         "1920x1080", "--virtual-monitor", "1280x800", "--", "sh", "-c",
                         "until xprop -root _NET_SUPPORTING_WM_CHECK | grep -q '#'; do sleep 0.1; "
                         "done; echo \"$DISPLAY $XAUTHORITY\"; "
                         "until [ -e ended ]; do sleep 0.1; done"});
        while (!m_process.canReadLine() && m_process.waitForReadyRead(60000)) {
        }
        const QByteArrayList variables = m_process.readLine().trimmed().split(' ');
        qputenv("DISPLAY", variables.value(0));
        qputenv("XAUTHORITY", variables.value(1));
    }
    ~Mutter()
    {
        QFile("ended").open(QIODevice::WriteOnly);
        m_process.waitForFinished(60000);
    }
    Mutter(const Mutter&) = delete;
    Mutter& operator=(const Mutter&) = delete;

private:
    QProcess m_process;
};

} // namespace

class WaylandDesktopTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QCOMPARE(QGuiApplication::screens().size(), 2);
        AWAIT_EQUAL(QGuiApplication::focusWindow(), &m_clerksPage);
        m_camera.setDequeueTimeout(0);
        m_camera.plugIn();
        m_pad.device().plug();
        QVERIFY(m_service.start() && m_client.open());
    }

    void theSigningWindowIsInItsPlaceOnTopAndLeavesTheKeyboard()
    {
        QCOMPARE(m_client.asked("ZCStartDeviceAB"), QString("ZCStartDeviceAB 1 "));
        m_client.ask("ZCSetTransparency", {{"Percent", 60}});
        m_client.command("ZCBeginSignAB", signingKeys);
        QVERIFY(m_signing.waitForWindows(1));
        AWAIT_EQUAL(m_signing.place(), signingPlace);
        QCOMPARE(m_signing.opacity(), 60);
        const Page advertisement(padsMonitor);
        AWAIT(isOnTop(m_signing));
        m_clerksPage.requestActivate();
        AWAIT_EQUAL(QGuiApplication::focusWindow(), &m_clerksPage);
        QVERIFY(m_signing.press({"a"}));
        AWAIT_EQUAL(m_clerksPage.typed, QString("a"));
    }

    void thePenWritesAndConfirms()
    {
        m_pad.play(PadGeometry().signature(writingArea), 500);
        m_pad.play(PadGeometry().tap(okButton), 50);
        QCOMPARE(m_client.reply()["success"].toInt(), 1);
        QVERIFY(m_signing.waitForWindows(0));
        QCOMPARE(QImage("/tmp/kvo_sign.png").width(), signingPlace.width());
    }

    void theCaptureWindowTakesTheKeyboardAndThePicture()
    {
        m_client.command("ZCCameraPic");
        QVERIFY(m_capture.waitForWindows(1));
        QCOMPARE(m_capture.place().size(), QSize(1033, 481));
        QVERIFY(clerksMonitor.contains(m_capture.place()));
        AWAIT(m_camera.framesSent() > 5);
        AWAIT(m_capture.press({"Return"}) && QFile::exists("/tmp/kvo_cv.jpg"));
        QCOMPARE(m_clerksPage.typed, QString("a"));
        QVERIFY(m_capture.handOver() && m_capture.waitForWindows(0));
    }

private:
    /// Whether the window is above the one that fills the pad's display.
    static bool isOnTop(const WindowOperator& window)
    {
        const QByteArray topmostFirst = outputOf("xwininfo", {"-root", "-children"});
        const qulonglong id = window.windows().value(0).toULongLong();
        const auto place = topmostFirst.indexOf("0x" + QByteArray::number(id, 16) + ' ');
        return place >= 0 && place < topmostFirst.indexOf("1280x800+1920+0");
    }

    Page m_clerksPage{clerksMonitor};
    const WindowOperator m_signing{"HandWriting"};
    const CaptureOperator m_capture;
    VirtualKernel m_kernel;
    Camera m_camera{m_kernel, {}};
    SignaturePad m_pad{m_kernel};
    ServiceProcess m_service;
    DeskClient m_client;
};

int main(int argc, char** argv)
{
    const Mutter mutter;
    QApplication application(argc, argv);
    WaylandDesktopTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "wayland_desktop_test.moc"
