// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/pad/signature_pad.h"
#include "virtual/terminal/desk_device.h"

#include <QTimer>

#include <vector>

namespace virtual_desk {

/// \brief The signature pad. As on the real one, samples are lost while no program reads.
class PadDevice : public DeskDevice
{
public:
    explicit PadDevice(VirtualKernel& kernel);

    bool isPlugged() const override;
    QString plug() override;
    void unplug() override;

    /// \return whether a program reads the pad; otherwise the samples are lost
    bool write(const std::vector<PenPoint>& points);

    UsbDevice& usb() { return m_pad.device(); }

protected:
    std::optional<std::function<void()>> faultAction(const QString& fault,
                                                     CheckedObject& keys) override;
    void endFault() override;
    QJsonObject ownState() const override;

private:
    void dropUnread();

    SignaturePad m_pad;
    QTimer m_dropTimer;
};

/// The samples of a request: "points" on the pad's display, in device units.
std::vector<PenPoint> penPoints(CheckedObject& request);

} // namespace virtual_desk
