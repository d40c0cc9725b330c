// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The ioctls of a camera's node.

#include "virtual/camera/camera_node.h"

#include <umockdev-1.0/umockdev.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace virtual_desk {
namespace {

// A close is noticed late: a request that fails because another program holds the camera is
// repeated after this time.
constexpr int closeDelay = 20; // ms
constexpr unsigned maximumBuffers = 32;

QSize nearestSize(const QVector<QSize>& sizes, unsigned width, unsigned height)
{
    const auto distance = [width, height](QSize size) {
        return std::abs(size.width() - static_cast<int>(width)) +
               std::abs(size.height() - static_cast<int>(height));
    };
    return *std::min_element(sizes.begin(), sizes.end(),
                             [&](QSize a, QSize b) { return distance(a) < distance(b); });
}

template <std::size_t Size>
void copyText(__u8 (&target)[Size], const char* text)
{
    std::strncpy(reinterpret_cast<char*>(target), text, Size - 1);
}

void forgetClosed(std::vector<IoctlClient>& clients)
{
    clients.erase(std::remove_if(clients.begin(), clients.end(),
                                 [](const IoctlClient& client) { return !isConnected(client); }),
                  clients.end());
}

bool contains(const std::vector<IoctlClient>& clients, const IoctlClient& client)
{
    return std::find(clients.begin(), clients.end(), client) != clients.end();
}

} // namespace

CameraNode::CameraNode(VirtualKernel& kernel, CameraDescription description)
    : m_kernel(kernel)
    , m_description(std::move(description))
    , m_stream(kernel.rootDirectory() + QStringLiteral("/dev/video%1").arg(m_description.number),
               m_description)
{
}

QByteArray CameraNode::sysPath() const
{
    const QByteArray number = QByteArray::number(m_description.number);
    return "/devices/usb2/2-" + number + "/2-" + number + ":1.0/video4linux/video" + number;
}

// The USB device, its interface and the video device, with the properties that udev's rules add.
QByteArray CameraNode::devicesText() const
{
    const QByteArray number = QByteArray::number(m_description.number);
    const QByteArray usb = "/devices/usb2/2-" + number;
    const QByteArray identifiers = "E: ID_VENDOR_ID=" + m_description.vendor +
                                   "\nE: ID_MODEL_ID=" + m_description.product + "\n";
    return "P: " + usb + "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\n" + identifiers +
           "A: idVendor=" + m_description.vendor + "\\n\nA: idProduct=" + m_description.product +
           "\\n\n\nP: " + usb + "/2-" + number +
           ":1.0\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\n" +
           "E: DRIVER=uvcvideo\n\nP: " + sysPath() + "\nN: video" + number +
           "=00\nE: SUBSYSTEM=video4linux\nE: DEVNAME=/dev/video" + number +
           "\nE: MAJOR=81\nE: MINOR=" + number + "\nE: ID_BUS=usb\n" + identifiers + "\n";
}

void CameraNode::attach()
{
    m_kernel.attachIoctl(
        "/dev/video" + QByteArray::number(m_description.number),
        [self = shared_from_this()](const IoctlClient& client) { return self->handle(client); });
}

void CameraNode::plugIn()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (std::exchange(m_plugged, true))
            return;
    }
    m_kernel.addDevices(devicesText());
}

void CameraNode::unplug()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!std::exchange(m_plugged, false))
            return;
        m_stream.allocate(0);
        m_owner.reset();
        m_cutOff.insert(m_cutOff.end(), m_clients.begin(), m_clients.end());
        m_clients.clear();
    }
    const QByteArray path = "/sys" + sysPath();
    m_kernel.removeDevice(path, "/dev/video" + QByteArray::number(m_description.number));
    m_kernel.removeDevice(path.left(path.indexOf(":1.0") + 4), QByteArray());
    m_kernel.removeDevice("/sys/devices/usb2/2-" + QByteArray::number(m_description.number),
                          QByteArray());
}

void CameraNode::change(const std::function<void(CameraFaults&)>& edit)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    edit(m_faults);
    m_stream.setStalled(m_faults.stalled, Clock::now());
}

void CameraNode::show(CameraStream::Subject subject)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stream.show(std::move(subject));
}

CameraNode::Report CameraNode::report() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return {m_stream.isRunning(), m_stream.size(), m_framesSent, m_streamsStarted, m_timesOpened};
}

template <typename Argument>
bool CameraNode::answer(const IoctlClient& client,
                        Answer (CameraNode::*request)(const IoctlClient&, Argument&), int attempts)
{
    const IoctlData data =
        resolvePointer(umockdev_ioctl_client_get_arg(client.get()), 0, sizeof(Argument));
    Argument argument;
    if (!data || static_cast<std::size_t>(data->data_len) < sizeof(argument)) {
        completeIoctl(client, -1, EFAULT);
        return true;
    }
    std::memcpy(&argument, data->data, sizeof(argument));
    const int error = (this->*request)(client, argument);
    if (error == EBUSY && attempts > 1) {
        m_kernel.runLater(closeDelay, [self = shared_from_this(), client, request, attempts] {
            const std::lock_guard<std::mutex> lock(self->m_mutex);
            if (isConnected(client))
                self->answer(client, request, attempts - 1);
        });
        return true;
    }
    if (error == 0) {
        umockdev_ioctl_data_update(data.get(), 0, reinterpret_cast<guint8*>(&argument),
                                   sizeof(argument));
    }
    completeIoctl(client, 0, error);
    return true;
}

bool CameraNode::handle(const IoctlClient& client)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (isCutOff(client)) {
        completeIoctl(client, -1, ENODEV);
        return true;
    }
    switch (umockdev_ioctl_client_get_request(client.get())) {
    case VIDIOC_QUERYCAP:
        return answer(client, &CameraNode::queryCapabilities);
    case VIDIOC_ENUM_FMT:
        return answer(client, &CameraNode::describeFormat);
    case VIDIOC_ENUM_FRAMESIZES:
        return answer(client, &CameraNode::describeSize);
    case VIDIOC_G_FMT:
        return answer(client, &CameraNode::getFormat);
    case VIDIOC_S_FMT:
        return answer(client, &CameraNode::setFormat);
    case VIDIOC_G_PARM:
    case VIDIOC_S_PARM:
        return answer(client, &CameraNode::getRate);
    case VIDIOC_REQBUFS:
        return answer(client, &CameraNode::requestBuffers);
    case VIDIOC_QUERYBUF:
        return answer(client, &CameraNode::queryBuffer);
    case VIDIOC_QBUF:
        return answer(client, &CameraNode::queueBuffer);
    case VIDIOC_STREAMON:
        return answer(client, &CameraNode::startStream);
    case VIDIOC_STREAMOFF:
        return answer(client, &CameraNode::stopStream);
    case VIDIOC_DQBUF:
        dequeueBuffer(client, Clock::now());
        return true;
    default:
        return false;
    }
}

// True for a program that had the node open when the camera was unplugged, also after a new plug.
bool CameraNode::isCutOff(const IoctlClient& client)
{
    forgetClosed(m_clients);
    forgetClosed(m_cutOff);
    if (contains(m_cutOff, client) || !m_plugged)
        return true;
    if (!contains(m_clients, client)) {
        m_clients.push_back(client);
        ++m_timesOpened;
    }
    return false;
}

bool CameraNode::isOwnedByAnother(const IoctlClient& client)
{
    if (m_owner && !isConnected(m_owner)) { // closed the node without releasing the buffers
        m_owner.reset();
        m_stream.allocate(0);
    }
    return m_faults.busy || (m_owner && m_owner != client);
}

void CameraNode::forget(const IoctlClient& client)
{
    m_clients.erase(std::remove(m_clients.begin(), m_clients.end(), client), m_clients.end());
    m_cutOff.erase(std::remove(m_cutOff.begin(), m_cutOff.end(), client), m_cutOff.end());
    if (m_owner == client) {
        m_owner.reset();
        m_stream.allocate(0);
    }
}

CameraNode::Answer CameraNode::queryCapabilities(const IoctlClient&, v4l2_capability& argument)
{
    argument = {};
    copyText(argument.driver, "uvcvideo");
    copyText(argument.card, "Virtual desk camera");
    copyText(argument.bus_info,
             ("usb-virtual-" + QByteArray::number(m_description.number)).constData());
    argument.version = 0x060100;
    const __u32 kind = m_description.captures ? V4L2_CAP_VIDEO_CAPTURE : V4L2_CAP_META_CAPTURE;
    argument.device_caps = kind | V4L2_CAP_STREAMING | V4L2_CAP_EXT_PIX_FORMAT;
    argument.capabilities = argument.device_caps | V4L2_CAP_DEVICE_CAPS;
    return 0;
}

CameraNode::Answer CameraNode::describeFormat(const IoctlClient&, v4l2_fmtdesc& argument)
{
    if (argument.index != 0 || argument.type != V4L2_BUF_TYPE_VIDEO_CAPTURE ||
        !m_description.captures) {
        return EINVAL;
    }
    argument.flags = m_description.compressed ? V4L2_FMT_FLAG_COMPRESSED : 0;
    argument.pixelformat = m_description.compressed ? V4L2_PIX_FMT_MJPEG : V4L2_PIX_FMT_YUYV;
    copyText(argument.description, m_description.compressed ? "Motion-JPEG" : "YUYV 4:2:2");
    return 0;
}

CameraNode::Answer CameraNode::describeSize(const IoctlClient&, v4l2_frmsizeenum& argument)
{
    if (argument.index >= static_cast<__u32>(m_description.sizes.size()))
        return EINVAL;
    const QSize size = m_description.sizes[static_cast<int>(argument.index)];
    argument.type = V4L2_FRMSIZE_TYPE_DISCRETE;
    argument.discrete.width = static_cast<__u32>(size.width());
    argument.discrete.height = static_cast<__u32>(size.height());
    return 0;
}

CameraNode::Answer CameraNode::getFormat(const IoctlClient&, v4l2_format& argument)
{
    if (argument.type != V4L2_BUF_TYPE_VIDEO_CAPTURE || !m_description.captures)
        return EINVAL;
    argument.fmt.pix = {};
    argument.fmt.pix.width = static_cast<__u32>(m_stream.size().width());
    argument.fmt.pix.height = static_cast<__u32>(m_stream.size().height());
    argument.fmt.pix.pixelformat =
        m_description.compressed ? V4L2_PIX_FMT_MJPEG : V4L2_PIX_FMT_YUYV;
    argument.fmt.pix.field = V4L2_FIELD_NONE;
    argument.fmt.pix.bytesperline = static_cast<__u32>(m_stream.bytesPerLine());
    argument.fmt.pix.sizeimage = static_cast<__u32>(m_stream.pictureBytes());
    argument.fmt.pix.colorspace = V4L2_COLORSPACE_SRGB;
    return 0;
}

// Sets the camera's own pixel format and the size nearest to the requested one.
CameraNode::Answer CameraNode::setFormat(const IoctlClient& client, v4l2_format& argument)
{
    if (argument.type != V4L2_BUF_TYPE_VIDEO_CAPTURE || !m_description.captures)
        return EINVAL;
    if (isOwnedByAnother(client) || m_stream.bufferCount() > 0)
        return EBUSY;
    m_stream.setSize(
        nearestSize(m_description.sizes, argument.fmt.pix.width, argument.fmt.pix.height));
    return getFormat(client, argument);
}

CameraNode::Answer CameraNode::getRate(const IoctlClient&, v4l2_streamparm& argument)
{
    if (argument.type != V4L2_BUF_TYPE_VIDEO_CAPTURE)
        return EINVAL;
    argument.parm.capture = {};
    argument.parm.capture.capability = V4L2_CAP_TIMEPERFRAME;
    argument.parm.capture.timeperframe.numerator = 1;
    argument.parm.capture.timeperframe.denominator =
        static_cast<__u32>(m_description.framesPerSecond);
    return 0;
}

CameraNode::Answer CameraNode::requestBuffers(const IoctlClient& client,
                                              v4l2_requestbuffers& argument)
{
    if (argument.type != V4L2_BUF_TYPE_VIDEO_CAPTURE || argument.memory != V4L2_MEMORY_MMAP)
        return EINVAL;
    if (isOwnedByAnother(client) || m_stream.isRunning())
        return EBUSY;
    argument.count = std::min(argument.count, maximumBuffers);
    if (!m_stream.allocate(static_cast<int>(argument.count)))
        return ENOMEM;
    m_owner = argument.count == 0 ? nullptr : client;
    return 0;
}

CameraNode::Answer CameraNode::queryBuffer(const IoctlClient&, v4l2_buffer& argument)
{
    if (argument.index >= static_cast<__u32>(m_stream.bufferCount()))
        return EINVAL;
    argument.memory = V4L2_MEMORY_MMAP;
    argument.length = static_cast<__u32>(m_stream.pictureBytes());
    argument.m.offset = argument.index * static_cast<__u32>(m_stream.bufferBytes());
    argument.flags = 0;
    return 0;
}

CameraNode::Answer CameraNode::queueBuffer(const IoctlClient& client, v4l2_buffer& argument)
{
    if (m_owner != client || !m_stream.queue(static_cast<int>(argument.index), Clock::now()))
        return EINVAL;
    argument.flags = V4L2_BUF_FLAG_QUEUED;
    return 0;
}

CameraNode::Answer CameraNode::startStream(const IoctlClient& client, int&)
{
    if (m_owner != client)
        return EINVAL;
    if (!m_stream.isRunning()) {
        m_stream.start(Clock::now());
        ++m_streamsStarted;
    }
    return 0;
}

CameraNode::Answer CameraNode::stopStream(const IoctlClient& client, int&)
{
    if (m_owner && m_owner != client)
        return EBUSY;
    m_stream.stop();
    return 0;
}

// Completes a request for a frame when one has arrived, when the dequeueTimeout has passed, or
// when the camera was unplugged.
void CameraNode::dequeueBuffer(const IoctlClient& client, Clock::time_point asked)
{
    const IoctlData data =
        resolvePointer(umockdev_ioctl_client_get_arg(client.get()), 0, sizeof(v4l2_buffer));
    if (data && !isProgramAlive(client, data.get())) {
        forget(client);
        return;
    }
    if (!data || m_owner != client || !m_stream.isRunning()) {
        completeIoctl(client, -1, isCutOff(client) ? ENODEV : EINVAL);
        return;
    }
    const Clock::time_point now = Clock::now();
    CameraStream::Frame frame;
    if (m_stream.takeFrame(now, m_faults.garbage, frame)) {
        v4l2_buffer buffer = {};
        std::memcpy(&buffer, data->data, sizeof(buffer));
        buffer.index = static_cast<__u32>(frame.buffer);
        buffer.bytesused = static_cast<__u32>(frame.bytes);
        buffer.flags = V4L2_BUF_FLAG_DONE | V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
        buffer.field = V4L2_FIELD_NONE;
        buffer.sequence = static_cast<__u32>(frame.number);
        buffer.timestamp = {now.time_since_epoch() / std::chrono::seconds(1), 0};
        buffer.length = static_cast<__u32>(m_stream.pictureBytes());
        ++m_framesSent;
        umockdev_ioctl_data_update(data.get(), 0, reinterpret_cast<guint8*>(&buffer),
                                   sizeof(buffer));
        completeIoctl(client, 0);
        return;
    }
    const Clock::time_point end = asked + std::chrono::milliseconds(m_faults.dequeueTimeout);
    if (now >= end || m_faults.stalled) {
        completeIoctl(client, -1, EAGAIN);
        return;
    }
    // Short waits, so that an unplug is noticed soon.
    const auto wait = std::min(
        {std::chrono::duration_cast<std::chrono::milliseconds>(m_stream.nextFrameTime() - now),
         std::chrono::duration_cast<std::chrono::milliseconds>(end - now),
         std::chrono::milliseconds(closeDelay)});
    m_kernel.runLater(static_cast<int>(wait.count()) + 1,
                      [self = shared_from_this(), client, asked] {
                          const std::lock_guard<std::mutex> lock(self->m_mutex);
                          if (isConnected(client))
                              self->dequeueBuffer(client, asked);
                      });
}

} // namespace virtual_desk
