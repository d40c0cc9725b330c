// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/support/window_operator.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>

#include <algorithm>

namespace virtual_desk {

namespace {

// Centres of the capture window's widgets.
constexpr QPoint photoButton(670, 438);
constexpr QPoint closeButton(910, 438);
constexpr QPoint resolutionSelector(450, 438);
constexpr QPoint cameraSelector(170, 438);

constexpr int pollMs = 20;
constexpr int popupMs = 200; // an opened list accepts keys after this time

bool run(const QString& program, const QStringList& arguments, QString* output = nullptr)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("LD_PRELOAD")); // the tools need no virtual devices
    environment.remove(QStringLiteral("UMOCKDEV_DIR"));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    const bool ended = process.waitForFinished() && process.exitStatus() == QProcess::NormalExit;
    if (output)
        *output = QString::fromUtf8(process.readAllStandardOutput());
    return ended && process.exitCode() == 0;
}

bool xdotool(const QStringList& arguments, QString* output = nullptr)
{
    return run(QStringLiteral("xdotool"), arguments, output);
}

// The number after `name` in a tool's output; -1 when there is none.
qint64 numberAfter(const QString& name, const QString& output)
{
    const auto found = QRegularExpression(name + "(-?\\d+)").match(output);
    return found.hasMatch() ? found.captured(1).toLongLong() : -1;
}

} // namespace

WindowOperator::WindowOperator(const QString& title)
    : m_title(title)
{
}

QStringList WindowOperator::windows() const
{
    QString output;
    const QString pattern = "^" + QRegularExpression::escape(m_title) + "$";
    xdotool({"search", "--onlyvisible", "--name", pattern}, &output);
    QStringList found = output.split('\n', Qt::SkipEmptyParts);
    const auto isFrame = [](const QString& window) {
        QString name;
        run("xprop", {"-id", window, "WM_CLASS"}, &name);
        return name.contains(QLatin1String("mutter-x11-frames"));
    };
    found.erase(std::remove_if(found.begin(), found.end(), isFrame), found.end());
    return found;
}

bool WindowOperator::waitForWindows(int count, int timeoutMs) const
{
    QElapsedTimer timer;
    for (timer.start(); windows().size() != count; QThread::msleep(pollMs))
        if (timer.elapsed() > timeoutMs)
            return false;
    return true;
}

QRect WindowOperator::place() const
{
    QString output;
    run("xwininfo", {"-id", windows().value(0)}, &output); // also right inside a frame
    const auto number = [&output](const char* name) {
        return int(numberAfter(QString(name) + ":\\s*", output));
    };
    return {number("Absolute upper-left X"), number("Absolute upper-left Y"), number("Width"),
            number("Height")};
}

int WindowOperator::opacity() const
{
    constexpr double opaque = 0xFFFFFFFF;
    QString output;
    run("xprop", {"-id", windows().value(0), "_NET_WM_WINDOW_OPACITY"}, &output);
    const qint64 part = numberAfter("= ", output); // a window without the property is opaque
    return part < 0 ? 100 : qRound(100 * double(part) / opaque);
}

bool WindowOperator::click(QPoint position) const
{
    const QStringList found = windows();
    return !found.isEmpty() &&
           xdotool({"mousemove", "--window", found.last(), QString::number(position.x()),
                    QString::number(position.y()), "click", "1"});
}

bool WindowOperator::press(const QStringList& keys) const
{
    return xdotool(QStringList{"key", "--delay", "20"} + keys);
}

CaptureOperator::CaptureOperator()
    : WindowOperator(QStringLiteral("Tarvex高拍"))
{
}

bool CaptureOperator::takePicture() const
{
    return click(photoButton);
}

bool CaptureOperator::handOver() const
{
    return click(closeButton);
}

bool CaptureOperator::chooseResolution(int item) const
{
    return choose(resolutionSelector, item);
}

bool CaptureOperator::chooseCamera(int item) const
{
    return choose(cameraSelector, item);
}

bool CaptureOperator::choose(QPoint selector, int item) const
{
    if (!click(selector))
        return false;
    QThread::msleep(popupMs);
    QStringList keys{"Home"};
    for (int step = 0; step < item; ++step)
        keys << "Down";
    return press(keys << "Return");
}

} // namespace virtual_desk
