// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/kernel/vhci_port.h"

#include <QFile>
#include <QFileInfo>

#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace virtual_desk {
namespace {

// Of the file "status": the hub for speeds up to 480 Mbit/s, and the state of a port without a
// device.
const char hub[] = "hs";
const char freeState[] = "004";

// The kernel's numbers of speeds.
const int fullSpeed = 2;
const int highSpeed = 3;

std::mutex attaching; // two devices must not take the same port

} // namespace

VhciPort::VhciPort(QString controller, std::shared_ptr<UsbDevice::Shared> device)
    : m_controller(std::move(controller))
    , m_device(std::move(device))
{
}

VhciPort::~VhciPort()
{
    unplug();
    if (m_kernelEnd >= 0)
        ::close(m_kernelEnd);
}

QString VhciPort::fault(const QString& controller)
{
    if (!QFileInfo::exists(controller))
        return QStringLiteral("the kernel has no virtual USB host controller (%1).\n"
                              "  `modprobe vhci-hcd` loads it; where there is no such module, the "
                              "kernel was built without it.")
            .arg(controller);
    const QString attach = controller + QStringLiteral("/attach");
    if (!QFile(attach).open(QIODevice::WriteOnly | QIODevice::ExistingOnly))
        return QStringLiteral("%1 cannot be written: run this as root, or let root give the file "
                              "to your account.")
            .arg(attach);
    return {};
}

QString VhciPort::plug()
{
    int ends[2] = {-1, -1};
    const std::lock_guard<std::mutex> lock(attaching);
    m_port = freePort();
    if (m_port < 0)
        return QStringLiteral("All ports of the kernel's virtual USB hub are taken.");
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return QStringLiteral("There is no socket for another device.");
    m_kernelEnd = ends[1];
    const int speed = m_device->description.highSpeed ? highSpeed : fullSpeed;
    const int device = 1 << 16 | (m_port + 1); // of its machine's own bus; any will do
    const QByteArray numbers = QByteArray::number(m_port) + ' ' + QByteArray::number(m_kernelEnd) +
                               ' ' + QByteArray::number(device) + ' ' + QByteArray::number(speed);
    if (!write("attach", numbers)) {
        ::close(ends[0]);
        return QStringLiteral("The kernel's virtual USB hub does not take the device.");
    }
    m_alive = true;
    m_server = std::make_unique<UrbServer>(ends[0], m_device, [this] {
        if (m_alive.exchange(false))
            write("detach", QByteArray::number(m_port));
    });
    return {};
}

void VhciPort::unplug()
{
    if (!m_server)
        return;
    if (m_alive.exchange(false))
        write("detach", QByteArray::number(m_port));
    m_server->stop();
}

void VhciPort::retry(quint8 endpoint)
{
    if (m_server)
        m_server->retry(endpoint);
}

int VhciPort::freePort() const
{
    QFile status(m_controller + QStringLiteral("/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.value(0) == hub && fields.value(2) == freeState)
            return fields.at(1).toInt();
    }
    return -1;
}

bool VhciPort::write(const char* file, const QByteArray& text) const
{
    // Such a file is told everything in one write.
    QFile target(m_controller + QLatin1Char('/') + QLatin1String(file));
    return target.open(QIODevice::WriteOnly | QIODevice::ExistingOnly | QIODevice::Unbuffered) &&
           target.write(text) == text.size();
}

} // namespace virtual_desk
