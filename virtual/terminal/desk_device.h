// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/terminal/checked_object.h"

#include <QJsonObject>
#include <QString>

#include <functional>
#include <optional>

namespace virtual_desk {

/// \brief One device of the desk, as it is operated through the control port: plug, fault, state.
///
/// At most one fault at a time. Main thread only.
class DeskDevice
{
public:
    DeskDevice() = default;
    virtual ~DeskDevice() = default;
    DeskDevice(const DeskDevice&) = delete;
    DeskDevice& operator=(const DeskDevice&) = delete;

    virtual bool isPlugged() const = 0;
    /// \return an empty text, or an error message
    virtual QString plug() = 0;
    virtual void unplug() = 0;

    /// Sets the fault of a request; it replaces any other.
    /// \param request has "fault" and the fault's own keys; nothing changes when one is wrong, and
    /// \p request then has an error
    void breakDown(CheckedObject& request);
    void repair();
    bool isBroken() const { return m_fault.has_value(); }

    /// The device's part of the desk's state.
    QJsonObject state() const;

protected:
    /// Reads the fault's own keys and returns the function that sets the fault on a repaired
    /// device; std::nullopt when the device has no such fault.
    virtual std::optional<std::function<void()>> faultAction(const QString& fault,
                                                             CheckedObject& keys) = 0;
    virtual void endFault() = 0;
    /// The keys of the state other than "plugged" and "fault".
    virtual QJsonObject ownState() const = 0;

private:
    std::optional<QJsonObject> m_fault;
};

} // namespace virtual_desk
