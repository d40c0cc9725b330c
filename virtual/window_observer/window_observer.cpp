// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/window_observer/window_observer.h"

#include <QApplication>
#include <QEvent>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QWindow>

#include <algorithm>

namespace virtual_desk {
namespace {

// Empty for any other window.
QString nameOf(const QWidget& window)
{
    const QLatin1String className(window.metaObject()->className());
    if (className == QLatin1String("MainWindow"))
        return QStringLiteral("signing");
    return className == QLatin1String("CameraUser") ? QStringLiteral("capture") : QString();
}

bool isOnScreen(const QWidget& window)
{
    const QWindow* native = window.windowHandle();
    return window.isVisible() && native && native->isExposed();
}

QJsonObject place(const QRect& rectangle)
{
    return {{QStringLiteral("x"), rectangle.x()},
            {QStringLiteral("y"), rectangle.y()},
            {QStringLiteral("width"), rectangle.width()},
            {QStringLiteral("height"), rectangle.height()}};
}

QJsonObject placeInWindow(const QWidget& widget)
{
    return place({widget.mapTo(widget.window(), QPoint()), widget.size()});
}

QJsonArray buttons(const QWidget& window)
{
    QJsonArray found;
    for (const QPushButton* button : window.findChildren<QPushButton*>())
        if (button->isVisible())
            found.append(QJsonObject{{QStringLiteral("button"), button->text()},
                                     {QStringLiteral("place"), placeInWindow(*button)}});
    return found;
}

QJsonObject description(const QWidget& window)
{
    QJsonObject described{{QStringLiteral("window"), nameOf(window)},
                          {QStringLiteral("place"), place(window.geometry())},
                          {QStringLiteral("buttons"), buttons(window)}};
    const QVariant padDisplay = window.property("padDisplay");
    if (padDisplay.isValid())
        described.insert(QStringLiteral("padDisplay"), place(padDisplay.toRect()));
    if (const auto* canvas = window.findChild<QLabel*>(QStringLiteral("wgtHandwriting")))
        described.insert(QStringLiteral("canvas"), placeInWindow(*canvas));
    return described;
}

} // namespace

WindowObserver::WindowObserver(const QString& server)
{
    m_terminal.connectToServer(server);
    QCoreApplication::instance()->installEventFilter(this);
}

bool WindowObserver::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::Expose:
    case QEvent::Hide:
    case QEvent::Move:
    case QEvent::Resize:
        if (watched->isWindowType() && !m_reportIsDue) {
            m_reportIsDue = true;
            // Later, when the event has had its effect.
            QMetaObject::invokeMethod(this, &WindowObserver::report, Qt::QueuedConnection);
        }
        break;
    default:
        break;
    }
    return false;
}

void WindowObserver::report()
{
    m_reportIsDue = false;
    updateOpenWindows();
    QJsonArray windows;
    for (const QPointer<QWidget>& window : m_open)
        windows.append(description(*window));
    const QByteArray line = QJsonDocument(windows).toJson(QJsonDocument::Compact) + '\n';
    if (line == m_reported)
        return;
    m_reported = line;
    m_terminal.write(line);
    m_terminal.flush();
}

void WindowObserver::updateOpenWindows()
{
    const auto isGone = [](const QPointer<QWidget>& window) {
        return !window || !isOnScreen(*window);
    };
    m_open.erase(std::remove_if(m_open.begin(), m_open.end(), isGone), m_open.end());
    for (QWidget* window : QApplication::topLevelWidgets())
        if (!nameOf(*window).isEmpty() && isOnScreen(*window) && !m_open.contains(window))
            m_open.append(window);
}

} // namespace virtual_desk
