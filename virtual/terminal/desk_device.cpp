// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/desk_device.h"

namespace virtual_desk {

void DeskDevice::breakDown(CheckedObject& request)
{
    const QString name = request.text(QStringLiteral("fault"));
    if (!request.isGood())
        return;
    const auto action = faultAction(name, request);
    if (!action)
        request.complain(QStringLiteral("The device has no fault \"%1\".").arg(name));
    if (!request.error().isEmpty())
        return;
    repair();
    (*action)();
    m_fault = request.without(
        {QStringLiteral("command"), QStringLiteral("id"), QStringLiteral("device")});
}

void DeskDevice::repair()
{
    endFault();
    m_fault.reset();
}

QJsonObject DeskDevice::state() const
{
    QJsonObject state = ownState();
    state.insert(QStringLiteral("plugged"), isPlugged());
    state.insert(QStringLiteral("fault"), m_fault ? QJsonValue(*m_fault) : QJsonValue());
    return state;
}

} // namespace virtual_desk
