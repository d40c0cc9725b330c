// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/kernel/usb_device.h"

#include "virtual/kernel/usb_connection.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

namespace virtual_desk {
namespace {

QByteArray hexByte(int value)
{
    return QByteArray::number(value, 16).toUpper().rightJustified(2, '0');
}

QByteArray hexWord(int value)
{
    return QByteArray::number(value, 16).toUpper().rightJustified(4, '0');
}

QByteArray transferText(const UsbEvent& event)
{
    const UsbRequest& request = event.request;
    QByteArray line;
    if (request.kind == UsbRequest::Control) {
        line = "control " + hexByte(request.setup.requestType) + ' ' +
               hexByte(request.setup.request) + ' ' + hexWord(request.setup.value) + ' ' +
               hexWord(request.setup.index);
    } else {
        line = (request.isIn() ? "in " : "out ") + hexByte(request.endpoint);
    }
    const QByteArray bytes = request.isIn() ? event.received : request.data;
    return bytes.isEmpty() ? line : line + ": " + bytes.toHex(' ').toUpper();
}

} // namespace

UsbAnswer UsbAnswer::stall()
{
    return fail(EPIPE);
}

UsbAnswer UsbAnswer::after(int milliseconds) const
{
    UsbAnswer later = *this;
    later.delay = milliseconds;
    return later;
}

QString UsbEvent::text() const
{
    static const char* const names[] = {"claim ", "release ", "detach ", "attach "};
    QByteArray line;
    switch (kind) {
    case Transfer:
        line = transferText(*this);
        break;
    case Other:
        line = name;
        break;
    default:
        line = names[kind] + QByteArray::number(interface);
        break;
    }
    if (error != 0)
        line += error == Pending ? ": pending" : QByteArray(": ") + strerrorname_np(error);
    return QString::fromLatin1(line);
}

UsbDevice::UsbDevice(VirtualKernel& kernel, UsbDescription description, Handler handler)
    : m_kernel(kernel)
    , m_shared(std::make_shared<Shared>())
{
    m_shared->description = std::move(description);
    m_shared->handler = std::move(handler);
}

UsbDevice::~UsbDevice()
{
    unplug();
    const std::lock_guard<std::mutex> lock(m_shared->handlerMutex);
    m_shared->handler = nullptr;
}

void UsbDevice::plug()
{
    static std::atomic<int> plugs{1}; // device number 1 of a bus is its root hub
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_connection && m_connection->isAlive())
        return;
    m_connection = std::make_shared<UsbConnection>(m_kernel, m_shared, UsbAddress::ofPlug(++plugs));
    m_connection->plug();
}

void UsbDevice::unplug()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_connection)
        m_connection->unplug();
}

bool UsbDevice::isPlugged() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_connection && m_connection->isAlive();
}

void UsbDevice::setInterfaceHeldElsewhere(bool held)
{
    const std::lock_guard<std::mutex> lock(m_shared->logMutex);
    m_shared->heldElsewhere = held;
}

void UsbDevice::retry(quint8 endpoint)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_connection)
        m_connection->retry(endpoint);
}

std::vector<UsbEvent> UsbDevice::events() const
{
    const std::lock_guard<std::mutex> lock(m_shared->logMutex);
    std::vector<UsbEvent> copy;
    copy.reserve(m_shared->events.size());
    for (const auto& event : m_shared->events)
        copy.push_back(*event);
    return copy;
}

QStringList UsbDevice::log() const
{
    QStringList lines;
    for (const UsbEvent& event : events())
        lines.append(event.text());
    return lines;
}

void UsbDevice::clearLog()
{
    const std::lock_guard<std::mutex> lock(m_shared->logMutex);
    m_shared->events.clear();
}

} // namespace virtual_desk
