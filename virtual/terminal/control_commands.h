// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/terminal/checked_object.h"

#include <QJsonObject>
#include <QString>

namespace virtual_desk {

class Desk;
class ServiceRunner;
class ServiceWindows;

/// \brief The commands of the control port; see docs/virtual-terminal.md.
class ControlCommands
{
public:
    ControlCommands(Desk& desk, ServiceRunner& service, const ServiceWindows& windows)
        : m_desk(desk)
        , m_service(service)
        , m_windows(windows)
    {
    }

    /// Executes one request; a request with an error changes nothing.
    /// \return the reply
    QJsonObject execute(const QString& text);

    /// The state of all devices and of the service.
    QJsonObject state();

private:
    struct Command;
    /// A command's reply, or its error message.
    struct Outcome
    {
        QString error;
        QJsonObject result;
    };
    /// Reads and checks the keys of its command, and executes it when there is no error.
    using Handler = Outcome (ControlCommands::*)(CheckedObject& request);
    static const Command* find(const QString& name);

    Outcome dispatch(CheckedObject& request);
    /// The open window that "window" names; empty, and an error of the request, when none is open.
    QJsonObject takenWindow(CheckedObject& request) const;
    QString tapOnPad(const QRect& button, const QRect& display);

    Outcome tellState(CheckedObject& request);
    Outcome plug(CheckedObject& request);
    Outcome unplug(CheckedObject& request);
    Outcome breakDown(CheckedObject& request);
    Outcome repair(CheckedObject& request);
    Outcome putCard(CheckedObject& request);
    Outcome changeCard(CheckedObject& request);
    Outcome takeCard(CheckedObject& request);
    Outcome setModule(CheckedObject& request);
    Outcome insertSim(CheckedObject& request);
    Outcome pullSim(CheckedObject& request);
    Outcome pen(CheckedObject& request);
    Outcome setPicture(CheckedObject& request);
    Outcome log(CheckedObject& request);
    Outcome press(CheckedObject& request);
    Outcome screenshot(CheckedObject& request);
    Outcome startService(CheckedObject& request);
    Outcome stopService(CheckedObject& request);
    Outcome killService(CheckedObject& request);

    Desk& m_desk;
    ServiceRunner& m_service;
    const ServiceWindows& m_windows;
};

} // namespace virtual_desk
