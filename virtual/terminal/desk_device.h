// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/terminal/checked_object.h"

#include <QJsonObject>
#include <QString>

#include <functional>
#include <optional>

namespace virtual_desk {

/// \brief One device of the desk, as the control port plays it: its plug, its fault, its state.
///
/// At most one fault at a time. On the main thread.
class DeskDevice
{
public:
    DeskDevice() = default;
    virtual ~DeskDevice() = default;
    DeskDevice(const DeskDevice&) = delete;
    DeskDevice& operator=(const DeskDevice&) = delete;

    virtual bool isPlugged() const = 0;
    /// \return an empty text, or why not
    virtual QString plug() = 0;
    virtual void unplug() = 0;

    /// Sets the fault of a request; it replaces any other.
    /// \param request holds "fault" and the fault's own keys; complains of what is wrong with them,
    /// and then nothing changes
    void breakDown(CheckedObject& request);
    void repair();
    bool isBroken() const { return m_fault.has_value(); }

    /// The device's part of the desk's state.
    QJsonObject state() const;

protected:
    /// What makes the fault come true once the device is repaired; std::nullopt when the device has
    /// no such fault. Reads the fault's own keys.
    virtual std::optional<std::function<void()>> faultAction(const QString& fault,
                                                             CheckedObject& keys) = 0;
    virtual void endFault() = 0;
    /// The keys of the state beside "plugged" and "fault".
    virtual QJsonObject ownState() const = 0;

private:
    std::optional<QJsonObject> m_fault;
};

} // namespace virtual_desk
