// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/virtual_kernel.h"
#include "virtual/terminal/camera_device.h"
#include "virtual/terminal/identity_reader_device.h"
#include "virtual/terminal/pad_device.h"
#include "virtual/terminal/sim_reader_device.h"

#include <QJsonObject>
#include <QStringList>

namespace virtual_desk {

/// \brief The six devices of a desk, by their names on the control port.
class Desk
{
public:
    /// \param hostController see VirtualKernel: the devices are the running kernel's, and the
    /// service and the smart-card daemon are those of the machine
    explicit Desk(const QString& hostController = {});

    /// Plugs all devices in, puts a card on each reader and inserts a SIM. With the machine's own
    /// PC/SC daemon the SIM reader is left out: it may have no virtual reader.
    /// \return an empty text, or an error message
    QString furnish();

    /// In the order of the documentation.
    static const QStringList& deviceNames();
    /// \param name one of `deviceNames`
    DeskDevice& device(const QString& name);

    PadDevice& pad() { return m_pad; }
    UsbReaderDevice& usbReader() { return m_usbReader; }
    HidReaderDevice& hidReader() { return m_hidReader; }
    SimReaderDevice& simReader() { return m_simReader; }
    CameraDevice& camera(const QString& name);

    /// The transfers of "pad", "usbReader" or "hidReader", one a line.
    /// \param forget clears the log
    QStringList takeLog(const QString& name, bool forget);

    QJsonObject state();

    bool isEmulated() const { return m_kernel.hostController().isEmpty(); }

private:
    VirtualKernel m_kernel;
    PadDevice m_pad;
    UsbReaderDevice m_usbReader;
    HidReaderDevice m_hidReader;
    SimReaderDevice m_simReader;
    CameraDevice m_documentCamera;
    CameraDevice m_portraitCamera;
};

} // namespace virtual_desk
