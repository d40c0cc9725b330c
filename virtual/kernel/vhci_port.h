// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/urb_server.h"

namespace virtual_desk {

/// \brief A port of the running kernel's virtual USB host controller (the module vhci-hcd). What is
/// plugged in there is a USB device to the kernel like any other, for every program.
class VhciPort : public UsbPort
{
public:
    /// \param controller its folder below /sys
    VhciPort(QString controller, std::shared_ptr<UsbDevice::Shared> device);
    ~VhciPort() override;

    QString plug() override;
    void unplug() override;
    bool isAlive() const override { return m_alive; }
    void retry(quint8 endpoint) override;

    /// Why nothing can be plugged in at the controller, and what to do; empty when it can.
    static QString fault(const QString& controller);

private:
    int freePort() const;
    bool write(const char* file, const QByteArray& text) const;

    const QString m_controller;
    std::shared_ptr<UsbDevice::Shared> m_device;
    int m_port = -1;
    int m_kernelEnd = -1;
    std::atomic<bool> m_alive{false};
    std::unique_ptr<UrbServer> m_server;
};

} // namespace virtual_desk
