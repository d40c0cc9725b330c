// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/pad_device.h"

namespace virtual_desk {
namespace {

constexpr int dropIntervalMs = 250;
constexpr int mostPoints = 5000;
constexpr int mostPressure = 1023;
constexpr int largestDisplay = 32767;

QSize displaySize(CheckedObject& request)
{
    const QString key = QStringLiteral("display");
    if (!request.has(key))
        return {1280, 800};
    const QJsonArray numbers = request.array(key);
    const QSize size(numbers.at(0).toInt(), numbers.at(1).toInt());
    if (numbers.size() != 2 || size.isEmpty() || size.width() > largestDisplay ||
        size.height() > largestDisplay)
        request.complain(QStringLiteral("\"display\" must be [width, height] in pixels."));
    return size;
}

bool isPoint(const QJsonArray& numbers, QSize display)
{
    const auto within = [&numbers](int at, double end) {
        const double value = numbers.at(at).toDouble(-1);
        return value >= 0 && value < end;
    };
    return numbers.size() == 3 && within(0, display.width()) && within(1, display.height()) &&
           within(2, mostPressure + 1);
}

} // namespace

PadDevice::PadDevice(VirtualKernel& kernel)
    : m_pad(kernel)
{
    QObject::connect(&m_dropTimer, &QTimer::timeout, &m_dropTimer, [this] { dropUnread(); });
    m_dropTimer.start(dropIntervalMs);
}

bool PadDevice::isPlugged() const
{
    return m_pad.device().isPlugged();
}

QString PadDevice::plug()
{
    return m_pad.device().plug();
}

void PadDevice::unplug()
{
    m_pad.device().unplug();
    m_pad.clearQueue();
}

bool PadDevice::write(const std::vector<PenPoint>& points)
{
    if (!m_pad.isRead())
        return false;
    m_pad.pen(points);
    return true;
}

void PadDevice::dropUnread()
{
    if (!m_pad.isRead())
        m_pad.clearQueue();
}

std::optional<std::function<void()>> PadDevice::faultAction(const QString& fault,
                                                            CheckedObject& /*keys*/)
{
    if (fault == QLatin1String("held"))
        return [this] { m_pad.device().setInterfaceHeldElsewhere(true); };
    if (fault == QLatin1String("stall"))
        return [this] { m_pad.setForcedAnswer(UsbAnswer::stall()); };
    if (fault == QLatin1String("silent"))
        return [this] { m_pad.setForcedAnswer(UsbAnswer::never()); };
    return std::nullopt;
}

void PadDevice::endFault()
{
    m_pad.device().setInterfaceHeldElsewhere(false);
    m_pad.setForcedAnswer(std::nullopt);
}

QJsonObject PadDevice::ownState() const
{
    return {{QStringLiteral("waiting"), m_pad.queued()}};
}

std::vector<PenPoint> penPoints(CheckedObject& request)
{
    const QSize display = displaySize(request);
    const QJsonArray list = request.array(QStringLiteral("points"));
    if (list.size() > mostPoints)
        request.complain(QStringLiteral("At most %1 points at once.").arg(mostPoints));
    const PadGeometry geometry(display);
    std::vector<PenPoint> points;
    for (const QJsonValue& value : list) {
        const QJsonArray numbers = value.toArray();
        if (!isPoint(numbers, display))
            request.complain(QStringLiteral("A point must be [x, y, pressure] on the display of "
                                            "%1 x %2 pixels, pressure 0 to %3.")
                                 .arg(display.width())
                                 .arg(display.height())
                                 .arg(mostPressure));
        if (!request.isGood())
            return {};
        points.push_back(geometry.at({numbers.at(0).toDouble(), numbers.at(1).toDouble()},
                                     static_cast<int>(numbers.at(2).toDouble())));
    }
    return points;
}

} // namespace virtual_desk
