// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/kernel/usb_device.h"

#include "virtual/kernel/standard_requests.h"
#include "virtual/kernel/usb_connection.h"
#include "virtual/kernel/vhci_port.h"

#include <atomic>
#include <cerrno>
#include <chrono>
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

qint64 steadyMilliseconds()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
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

UsbAnswer UsbDevice::Shared::ask(const UsbRequest& request)
{
    if (const std::optional<UsbAnswer> answer = standardAnswer(description, request))
        return *answer;
    const std::lock_guard<std::mutex> lock(handlerMutex);
    return handler ? handler(request) : UsbAnswer::never();
}

std::shared_ptr<UsbEvent> UsbDevice::Shared::record(UsbEvent event)
{
    event.milliseconds = steadyMilliseconds();
    auto shared = std::make_shared<UsbEvent>(std::move(event));
    const std::lock_guard<std::mutex> lock(logMutex);
    events.push_back(shared);
    if (events.size() > MostEvents)
        events.pop_front();
    return shared;
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

QString UsbDevice::plug()
{
    static std::atomic<int> plugs{1}; // device number 1 of a bus is its root hub
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_port && m_port->isAlive())
        return {};
    if (m_kernel.hostController().isEmpty())
        m_port = std::make_shared<UsbConnection>(m_kernel, m_shared, UsbAddress::ofPlug(++plugs));
    else
        m_port = std::make_shared<VhciPort>(m_kernel.hostController(), m_shared);
    return m_port->plug();
}

void UsbDevice::unplug()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_port)
        m_port->unplug();
}

bool UsbDevice::isPlugged() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_port && m_port->isAlive();
}

void UsbDevice::setInterfaceHeldElsewhere(bool held)
{
    const std::lock_guard<std::mutex> lock(m_shared->logMutex);
    m_shared->heldElsewhere = held;
}

void UsbDevice::retry(quint8 endpoint)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_port)
        m_port->retry(endpoint);
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
