// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/kernel/hidraw_node.h"

#include <umockdev-1.0/umockdev.h>

#include <algorithm>
#include <cerrno>
#include <linux/hidraw.h>
#include <mutex>
#include <sys/ioctl.h>

namespace virtual_desk {

struct HidrawNode::State
{
    HidrawDescription description;
    std::mutex mutex;
    std::deque<QByteArray> reports;
    std::deque<IoctlClient> waiting;

    bool answer(const IoctlClient& client);
    void read(const IoctlClient& client);
    void serve();
};

namespace {

bool writeArgument(const IoctlClient& client, std::size_t length, const QByteArray& bytes)
{
    const IoctlData data = resolvePointer(umockdev_ioctl_client_get_arg(client.get()), 0, length);
    if (!data)
        return false;
    QByteArray copy = bytes;
    umockdev_ioctl_data_update(data.get(), 0, reinterpret_cast<guint8*>(copy.data()),
                               static_cast<int>(copy.size()));
    return true;
}

template <typename T>
QByteArray bytesOf(const T& value)
{
    return QByteArray(reinterpret_cast<const char*>(&value), sizeof(value));
}

} // namespace

bool HidrawNode::State::answer(const IoctlClient& client)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const unsigned long request = umockdev_ioctl_client_get_request(client.get());
    const auto length = static_cast<std::size_t>(_IOC_SIZE(request));
    QByteArray bytes;
    bool fails = false;
    switch (request) {
    case HIDIOCGRAWINFO:
        bytes = bytesOf(hidraw_devinfo{3, static_cast<__s16>(description.vendor),
                                       static_cast<__s16>(description.product)});
        fails = description.infoFails;
        break;
    case HIDIOCGRDESCSIZE:
        bytes = bytesOf(static_cast<int>(description.reportDescriptor.size()));
        fails = description.sizeFails;
        break;
    case HIDIOCGRDESC:
        bytes = bytesOf(static_cast<__u32>(description.reportDescriptor.size())) +
                description.reportDescriptor;
        fails = description.descriptorFails;
        break;
    default:
        return false;
    }
    const bool written = !fails && writeArgument(client, length, bytes);
    completeIoctl(client, 0, fails ? EIO : written ? 0 : EFAULT);
    return true;
}

void HidrawNode::State::read(const IoctlClient& client)
{
    const std::lock_guard<std::mutex> lock(mutex);
    waiting.push_back(client);
    serve();
}

// Answers waiting reads with queued reports. Under the lock, on the virtual kernel's thread.
void HidrawNode::State::serve()
{
    while (!waiting.empty() && !reports.empty()) {
        const IoctlClient client = waiting.front();
        waiting.pop_front();
        if (!isConnected(client))
            continue;
        QByteArray report = reports.front();
        reports.pop_front();
        UMockdevIoctlData* buffer = umockdev_ioctl_client_get_arg(client.get());
        const int length = std::min(static_cast<int>(report.size()), buffer->data_len);
        umockdev_ioctl_data_update(buffer, 0, reinterpret_cast<guint8*>(report.data()), length);
        completeIoctl(client, length);
    }
}

HidrawNode::HidrawNode(VirtualKernel& kernel, int number, const HidrawDescription& description)
    : m_kernel(kernel)
    , m_number(number)
    , m_state(std::make_shared<State>())
{
    m_state->description = description;
    const QByteArray name = "hidraw" + QByteArray::number(number);
    kernel.attachIoctl(
        path(), [state = m_state](const IoctlClient& client) { return state->answer(client); },
        [state = m_state](const IoctlClient& client) {
            state->read(client);
            return true;
        });
    kernel.addDevices("P: /devices/hid/hidraw/" + name + "\nN: " + name +
                      "=00\nE: SUBSYSTEM=hidraw\nE: DEVNAME=/dev/" + name +
                      "\nE: MAJOR=242\nE: MINOR=" + QByteArray::number(number) +
                      "\nA: dev=242:" + QByteArray::number(number) + "\\n\n");
}

HidrawNode::~HidrawNode()
{
    m_kernel.removeDevice("/sys/devices/hid/hidraw/hidraw" + QByteArray::number(m_number), path());
}

QByteArray HidrawNode::path() const
{
    return "/dev/hidraw" + QByteArray::number(m_number);
}

void HidrawNode::queueReport(const QByteArray& bytes)
{
    const std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->reports.push_back(bytes);
    m_kernel.runLater(0, [state = m_state] {
        const std::lock_guard<std::mutex> inner(state->mutex);
        state->serve();
    });
}

} // namespace virtual_desk
