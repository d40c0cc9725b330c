// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The built service's windows on a Wayland desktop: GNOME's compositor with two monitors and
// Xwayland.

#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"
#include "virtual/pad/signature_pad.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"
#include "virtual/support/window_operator.h"

#include <QApplication>
#include <QFile>
#include <QProcess>
#include <QRasterWindow>
#include <QScreen>
#include <QtTest>

using namespace virtual_desk;

namespace {

constexpr int patienceMs = 60000;
const QRect signingPlace(2361, 250, 400, 300);
const QPointF okButton(775, 507); // on the pad's display
const QRectF writingArea(480, 300, 320, 140);

QByteArray outputOf(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessEnvironment(VirtualKernel::outsideEnvironment());
    process.start(program, arguments);
    process.waitForFinished();
    return process.readAllStandardOutput();
}

/// \brief The compositor. Starts it, and puts its X display into this process's environment.
class Mutter
{
public:
    Mutter()
    {
        QProcessEnvironment environment = VirtualKernel::outsideEnvironment();
        environment.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
        m_process.setProcessEnvironment(environment);
        m_process.setStandardErrorFile(QStringLiteral("mutter.log"));
        // It ends with its command.
        m_process.start("dbus-run-session",
                        {"--", "mutter", "--headless", "--wayland", "--virtual-monitor",
                         "1920x1080", "--virtual-monitor", "1280x800", "--", "sh", "-c",
                         "echo \"$DISPLAY $XAUTHORITY\"; until [ -e ended ]; do sleep 0.1; done"});
        while (!m_process.canReadLine() && m_process.waitForReadyRead(patienceMs)) {
        }
        const QByteArrayList variables = m_process.readLine().trimmed().split(' ');
        qputenv("DISPLAY", variables.value(0));
        qputenv("XAUTHORITY", variables.value(1));
    }
    ~Mutter()
    {
        QFile("ended").open(QIODevice::WriteOnly);
        m_process.waitForFinished(patienceMs);
    }
    Mutter(const Mutter&) = delete;
    Mutter& operator=(const Mutter&) = delete;

private:
    QProcess m_process;
};

/// \brief The clerk's page in full screen. Notes what is typed into it.
class Page : public QRasterWindow
{
public:
    QString typed;

protected:
    void keyPressEvent(QKeyEvent* event) override { typed += event->text(); }
};

} // namespace

class WaylandDesktopTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QCOMPARE(QGuiApplication::screens().size(), 2);
        m_clerksPage.setGeometry(0, 0, 1920, 1080);
        m_clerksPage.showFullScreen();
        QTRY_COMPARE_WITH_TIMEOUT(QGuiApplication::focusWindow(), &m_clerksPage, patienceMs);
        m_camera.setDequeueTimeout(0);
        m_camera.plugIn();
        m_pad.device().plug();
        QVERIFY(m_service.start());
        QVERIFY(m_client.open());
    }

    void theSigningWindowIsInItsPlaceOnTopAndLeavesTheKeyboard()
    {
        QCOMPARE(m_client.ask("ZCStartDeviceAB")["success"].toInt(), 1);
        m_client.ask("ZCSetTransparency", {{"Percent", 60}});
        m_client.command("ZCBeginSignAB",
                         {{"x", 440}, {"y", 250}, {"width", 400}, {"height", 300}});
        QVERIFY(m_signing.waitForWindows(1));
        QTRY_COMPARE_WITH_TIMEOUT(m_signing.place(), signingPlace, patienceMs);
        QCOMPARE(m_signing.opacity(), 60);
        Page advertisement;
        advertisement.setGeometry(1920, 0, 1280, 800);
        advertisement.showFullScreen();
        QVERIFY(QTest::qWaitForWindowExposed(&advertisement, patienceMs));
        QTRY_VERIFY_WITH_TIMEOUT(isOnTop(m_signing), patienceMs);
        m_clerksPage.requestActivate();
        QTRY_COMPARE_WITH_TIMEOUT(QGuiApplication::focusWindow(), &m_clerksPage, patienceMs);
        QVERIFY(m_signing.press({"a"}));
        QTRY_COMPARE_WITH_TIMEOUT(m_clerksPage.typed, QString("a"), patienceMs);
    }

    void thePenWritesAndConfirms()
    {
        m_pad.play(PadGeometry().signature(writingArea), 500);
        m_pad.play(PadGeometry().tap(okButton), 50);
        QCOMPARE(m_client.reply()["success"].toInt(), 1);
        QVERIFY(m_signing.waitForWindows(0));
        const QImage signature("/tmp/kvo_sign.png");
        QCOMPARE(signature.width(), signingPlace.width());
    }

    void theCaptureWindowTakesTheKeyboardAndThePicture()
    {
        m_client.command("ZCCameraPic");
        QVERIFY(m_capture.waitForWindows(1));
        QCOMPARE(m_capture.place().size(), QSize(1033, 481));
        QVERIFY(QRect(0, 0, 1920, 1080).contains(m_capture.place()));
        QTRY_VERIFY_WITH_TIMEOUT(m_camera.framesSent() > 5, patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(m_capture.press({"Return"}) && QFile::exists("/tmp/kvo_cv.jpg"),
                                 patienceMs);
        QCOMPARE(m_clerksPage.typed, QString("a"));
        QVERIFY(m_capture.handOver());
        QVERIFY(m_capture.waitForWindows(0));
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

    Page m_clerksPage;
    const WindowOperator m_signing{QStringLiteral("HandWriting")};
    const CaptureOperator m_capture;
    VirtualKernel m_kernel;
    Camera m_camera{m_kernel, CameraDescription()};
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
