// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/usb_port.h"

#include <map>
#include <set>

namespace virtual_desk {

/// \brief Bus and device number of a plugged device. libusb stores each in a byte.
struct UsbAddress
{
    int bus;
    int device;

    /// A unique address for the \p plug-th plug, counted from 1; when a bus is full, the next one
    /// is used.
    static UsbAddress ofPlug(int plug);

    QByteArray path() const; ///< below /sys
    QByteArray node() const; ///< below /dev
};

/// \brief The usbfs node of a device, from one plug to the next unplug.
///
/// Lives until the virtual kernel ends, because programs may keep a node open after the unplug.
class UsbConnection : public UsbPort, public std::enable_shared_from_this<UsbConnection>
{
public:
    UsbConnection(VirtualKernel& kernel, std::shared_ptr<UsbDevice::Shared> shared,
                  UsbAddress address);

    QString plug() override;
    void unplug() override;
    bool isAlive() const override;
    void retry(quint8 endpoint) override;

private:
    /// One submitted transfer, until the program has collected it.
    struct Urb
    {
        IoctlClient client;
        IoctlData block;  ///< the program's request block, written back when it is collected
        IoctlData buffer; ///< the program's buffer; null when its length is 0
        UsbRequest request;
        std::shared_ptr<UsbEvent> event;
        unsigned long serial = 0;
        bool answered = false; ///< a delayed answer is scheduled
        bool done = false;
    };
    using Urbs = std::deque<std::unique_ptr<Urb>>;

    bool handle(const IoctlClient& client);
    bool dispatch(const IoctlClient& client);
    void claim(const IoctlClient& client, int interface, int attempt);
    int release(const IoctlClient& client, int interface);
    int driverName(const IoctlClient& client);
    int driverControl(const IoctlClient& client);
    int submit(const IoctlClient& client);
    int discard(const IoctlClient& client);
    void reap(const IoctlClient& client);
    bool deliver(const IoctlClient& client, Urbs& urbs);
    int namedRequest(const char* name);

    bool readRequest(Urb& urb, int& error);
    void ask(Urb& urb);
    void apply(unsigned long serial, const UsbAnswer& answer);
    void complete(Urb& urb, const UsbAnswer& answer);
    void finish(Urb& urb, int status, int actual);
    void finishAll();
    bool askIfAlive(const IoctlClient& client);
    bool isGone(const IoctlClient& client) const;
    void forgetVanishedClients();
    void pullPlug();
    int findInterface(quint8 endpoint) const;

    VirtualKernel& m_kernel;
    std::shared_ptr<UsbDevice::Shared> m_shared;
    const UsbAddress m_address;
    mutable std::mutex m_mutex;
    bool m_alive = false;
    unsigned long m_nextSerial = 1;
    std::map<int, QByteArray> m_drivers;
    std::map<int, IoctlClient> m_claims;
    Urbs m_urbs;
    std::map<IoctlClient, unsigned long> m_heldReaps;
    std::set<IoctlClient> m_dead;
    std::set<IoctlClient> m_delivered; ///< whose last request to collect a transfer returned one
};

} // namespace virtual_desk
