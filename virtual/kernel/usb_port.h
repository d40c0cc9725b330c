// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/usb_device.h"

#include <deque>

namespace virtual_desk {

/// \brief Where a device is plugged in, from one plug to the next unplug: what stands between it
/// and the programs.
class UsbPort
{
public:
    UsbPort() = default;
    virtual ~UsbPort() = default;
    UsbPort(const UsbPort&) = delete;
    UsbPort& operator=(const UsbPort&) = delete;

    /// \return an empty text, or why not
    virtual QString plug() = 0;
    virtual void unplug() = 0;
    virtual bool isAlive() const = 0;
    virtual void retry(quint8 endpoint) = 0;
};

/// What outlives the ports: the description, the handler and the log.
struct UsbDevice::Shared
{
    UsbDescription description;
    std::mutex handlerMutex;
    Handler handler;
    std::mutex logMutex;
    std::deque<std::shared_ptr<UsbEvent>> events; ///< the latest `UsbDevice::MostEvents`
    bool heldElsewhere = false;                   ///< under logMutex

    /// What the device answers: every device itself to standard requests, its handler to the rest.
    UsbAnswer ask(const UsbRequest& request);
    /// Puts an event that begins now at the end of the log.
    std::shared_ptr<UsbEvent> record(UsbEvent event);
};

} // namespace virtual_desk
