// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/session_state.h"
#include "sign/signing_window.h"

#include <QLabel>
#include <QProcess>
#include <QTimer>
#include <QtTest>

namespace {

QByteArray outputOf(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(5000);
    return process.readAllStandardOutput();
}

QString idOf(const MainWindow& window)
{
    return QString::number(window.winId());
}

} // namespace

class WindowManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_manager.start(QStringLiteral("openbox"), {QStringLiteral("--sm-disable")});
        QVERIFY2(m_manager.waitForStarted(), "openbox is needed");
        QTRY_VERIFY(outputOf("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("0x"));
    }

    void cleanupTestCase()
    {
        m_manager.terminate();
        QVERIFY(m_manager.waitForFinished());
    }

    void theWindowIsVisibleInPlaceAndOnTopEveryTime()
    {
        for (int start = 0; start < 20; ++start) {
            MainWindow window;
            const QSize canvas = window.canvas->size();
            QByteArray properties;
            QByteArray information;
            QTimer::singleShot(300, &window, [&] {
                properties = outputOf("xprop", {"-id", idOf(window), "_NET_WM_STATE"});
                information = outputOf("xwininfo", {"-id", idOf(window)});
                window.onsEndSign();
            });
            window.exec();
            const QString which = QStringLiteral("start %1: ").arg(start);
            QVERIFY2(properties.contains("_NET_WM_STATE_ABOVE"), qPrintable(which + properties));
            for (const char* fact : {"IsViewable", "Absolute upper-left X:  2361",
                                     "Absolute upper-left Y:  250", "Width: 400", "Height: 300"})
                QVERIFY2(information.contains(fact), qPrintable(which + information));
            QCOMPARE(window.findChild<QLabel*>("wgtHandwriting")->size(), canvas);
        }
    }

    void aCloseRequestOfTheManagerAndTheClerksKeysLeaveItOpen()
    {
        MainWindow window;
        bool stayed = false;
        QTimer::singleShot(300, &window, [&] {
            outputOf("xdotool", {"windowfocus", idOf(window)});
            for (const char* key : {"Escape", "Return", "KP_Enter", "space", "alt+F4"})
                outputOf("xdotool", {"key", "--window", idOf(window), key});
            for (const char* key : {"Escape", "Return", "KP_Enter", "space", "alt+F4"})
                outputOf("xdotool", {"key", key});
            QTest::qWait(200);
            stayed = window.isVisible() && window.result == -1;
            window.onsEndSign();
        });
        window.exec();
        QVERIFY(stayed);
    }

private:
    QProcess m_manager;
};

QTEST_MAIN(WindowManagerTest)
#include "window_manager_test.moc"
