// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QLocalServer>
#include <QObject>
#include <QPointer>
#include <QProcessEnvironment>
#include <QRect>

class QLocalSocket;

namespace virtual_desk {

/// \brief The open windows of the service, and clicks in them.
///
/// A plugin in the service's process reports them (virtual/window_observer): where a button lies
/// and what it is called is known from the window's own layout. Main thread only.
class ServiceWindows : public QObject
{
    Q_OBJECT

public:
    /// \param plugins folder with Qt's folder "generic", in which the plugin lies
    explicit ServiceWindows(const QString& plugins);
    ~ServiceWindows() override;

    /// The environment in which the service loads the plugin.
    QProcessEnvironment environment() const;

    /// The names of windows: "signing", "capture".
    static const QStringList& names();

    /// The open windows as in the control port's state, the topmost last.
    QJsonArray windows() const { return m_windows; }
    /// The topmost open window of that name; empty when none is open.
    QJsonObject window(const QString& name) const;

    /// Position and size of an entry with "place" and the like, in pixels.
    static QRect place(const QJsonValue& entry);
    /// A button of a window in pixels of the desktop; a null rectangle when there is none.
    static QRect buttonOnDesktop(const QJsonObject& window, const QString& button);

    /// Clicks a point of the desktop with the pointer of the X server.
    /// \return an empty text, or an error message
    static QString click(QPoint point);

Q_SIGNALS:
    void changed();

private:
    void takeConnection();
    void read();
    void show(const QJsonArray& windows);

    QString m_plugins;
    QLocalServer m_server;
    QPointer<QLocalSocket> m_service;
    QJsonArray m_windows;
};

} // namespace virtual_desk
