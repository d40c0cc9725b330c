// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/support/patience.h"
#include "virtual/kernel/virtual_kernel.h"

#include <QJsonObject>
#include <QKeyEvent>
#include <QPainter>
#include <QProcess>
#include <QRasterWindow>
#include <QTest>

const QRect clerksMonitor(0, 0, 1920, 1080);
const QRect padsMonitor(1920, 0, 1280, 800);
const QRect signingPlace(2361, 250, 400, 300); ///< of the window that the tests open
const QJsonObject signingKeys{{"x", 440}, {"y", 250}, {"width", 400}, {"height", 300}};

/// What a program outside the virtual desk prints.
inline QByteArray outputOf(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessEnvironment(virtual_desk::VirtualKernel::outsideEnvironment());
    process.start(program, arguments);
    process.waitForFinished();
    return process.readAllStandardOutput();
}

/// \brief A page in kiosk mode: one colour over a whole monitor. Notes what is typed into it.
class Page : public QRasterWindow
{
public:
    explicit Page(const QRect& monitor)
    {
        setGeometry(monitor);
        show();
        QVERIFY(QTest::qWaitForWindowExposed(this, 60000));
        setWindowStates(Qt::WindowFullScreen);
        AWAIT_EQUAL(geometry(), monitor);
    }

    QString typed;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter(this).fillRect(0, 0, width(), height(), Qt::magenta);
    }
    void keyPressEvent(QKeyEvent* event) override { typed += event->text(); }
};
