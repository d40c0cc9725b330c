// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The plugin's factory, as Qt loads it by QT_QPA_GENERIC_PLUGINS=desk-windows:SERVER.

#include "virtual/window_observer/window_observer.h"

#include <QGenericPlugin>

class WindowObserverPlugin : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "window_observer.json")

public:
    // Qt keeps the object until the application ends.
    QObject* create(const QString& /*key*/, const QString& server) override
    {
        return new virtual_desk::WindowObserver(server);
    }
};

#include "window_observer_plugin.moc"
