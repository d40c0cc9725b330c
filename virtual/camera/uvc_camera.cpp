// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/camera/uvc_camera.h"

#include "virtual/camera/uvc_description.h"

#include <QtEndian>

#include <algorithm>
#include <utility>

namespace virtual_desk {
namespace {

// Requests and controls of the streaming interface (UVC 1.0, 4.3).
enum Request : quint8 {
    SetCurrent = 0x01,
    GetCurrent = 0x81,
    GetMinimum = 0x82,
    GetMaximum = 0x83,
    GetResolution = 0x84,
    GetLength = 0x85,
    GetInfo = 0x86,
    GetDefault = 0x87
};
const int probe = 1;
const int commit = 2;

// The stream parameters of both controls, and where the chosen size is in them.
const int parameterBytes = 26;
const int frameAt = 3;

// The header of each transfer: its own length, and bits.
const int headerBytes = 2;
const int oddPicture = 0x01;
const int endOfPicture = 0x02;
const int endOfHeader = 0x80;

QByteArray littleEndian(int value)
{
    const quint32 bytes = qToLittleEndian(static_cast<quint32>(value));
    return {reinterpret_cast<const char*>(&bytes), sizeof(bytes)};
}

} // namespace

UvcCamera::UvcCamera(VirtualKernel& kernel, CameraDescription description)
    : m_description(std::move(description))
    , m_subject([scene = m_description.scene](QSize size) { return drawScene(scene, size); })
    , m_device(kernel, uvcDescription(m_description),
               [this](const UsbRequest& request) { return answer(request); })
{
}

QString UvcCamera::plugIn()
{
    return m_device.plug();
}

void UvcCamera::unplug()
{
    m_device.unplug();
}

void UvcCamera::show(Scene scene)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_subject = [scene](QSize size) { return drawScene(scene, size); };
    m_scene.clear();
}

void UvcCamera::show(const QImage& picture)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_subject = [picture](QSize size) { return fillSize(picture, size); };
    m_scene.clear();
}

void UvcCamera::setStalled(bool stalled)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stalled = stalled;
    }
    m_device.retry(uvcPictureEndpoint);
}

void UvcCamera::setGarbage(bool garbage)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_garbage = garbage;
}

// On the device's thread, like everything below.
UsbAnswer UvcCamera::answer(const UsbRequest& request)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return request.kind == UsbRequest::Bulk ? nextPayload(request.length) : control(request);
}

UsbAnswer UvcCamera::control(const UsbRequest& request)
{
    const UsbSetup& setup = request.setup;
    const int control = setup.value >> 8;
    if ((setup.index & 0xFF) != uvcPictureInterface || (control != probe && control != commit))
        return UsbAnswer::stall();
    switch (setup.request) {
    case SetCurrent:
        negotiate(request.data);
        if (control == commit)
            startStream();
        return UsbAnswer::accept();
    case GetCurrent:
    case GetMinimum:
    case GetMaximum:
    case GetDefault:
        return UsbAnswer::data(streamParameters().left(request.length));
    case GetLength:
        return UsbAnswer::data(QByteArray(1, parameterBytes) + '\0');
    case GetInfo:
        return UsbAnswer::data(QByteArray(1, '\3')); // it can be read and set
    default:
        return UsbAnswer::stall();
    }
}

// Of the parameters, only the size can be chosen.
void UvcCamera::negotiate(const QByteArray& parameters)
{
    const int frame = parameters.size() > frameAt ? static_cast<quint8>(parameters.at(frameAt)) : 0;
    if (frame < 1 || frame > m_description.sizes.size() || frame - 1 == m_sizeIndex)
        return;
    m_sizeIndex = frame - 1;
    m_scene.clear();
}

QByteArray UvcCamera::streamParameters() const
{
    constexpr int hundredNanoseconds = 10000000; // a second
    const QByteArray fixedInterval = QByteArray::fromHex("0100");
    const QByteArray compression(10, '\0');
    return fixedInterval + '\1' + static_cast<char>(m_sizeIndex + 1) +
           littleEndian(hundredNanoseconds / m_description.framesPerSecond) + compression +
           littleEndian(size().width() * size().height() * 2) + littleEndian(uvcPayloadBytes);
}

void UvcCamera::startStream()
{
    m_picture.clear();
    m_sent = 0;
    m_number = -1;
    m_due = Clock::now() + std::chrono::microseconds(1000000 / m_description.framesPerSecond);
}

QSize UvcCamera::size() const
{
    return m_description.sizes.at(m_sizeIndex);
}

UsbAnswer UvcCamera::nextPayload(int length)
{
    if (m_stalled || length <= headerBytes)
        return UsbAnswer::never();
    const int room = std::min(length, uvcPayloadBytes) - headerBytes;
    if (m_sent < m_picture.size())
        return UsbAnswer::data(takePayload(room));
    beginPicture();
    const auto now = Clock::now();
    m_due = std::max(m_due, now); // a slow reader loses no picture, it gets them later
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(m_due - now);
    m_due += std::chrono::microseconds(1000000 / m_description.framesPerSecond);
    return UsbAnswer::data(takePayload(room)).after(static_cast<int>(wait.count()));
}

QByteArray UvcCamera::takePayload(int room)
{
    const QByteArray part = m_picture.mid(m_sent, room);
    m_sent += static_cast<int>(part.size());
    const bool ends = m_sent == m_picture.size();
    const int bits = endOfHeader | (ends ? endOfPicture : 0) | (m_number % 2 != 0 ? oddPicture : 0);
    return QByteArray(1, headerBytes) + static_cast<char>(bits) + part;
}

void UvcCamera::beginPicture()
{
    ++m_number;
    m_sent = 0;
    if (m_scene.isEmpty())
        m_scene = packYuyv(m_subject(size()));
    m_picture = m_garbage ? pictureNoise(static_cast<int>(m_scene.size())) : m_scene;
    if (m_garbage)
        return;
    const QByteArray band = packYuyv(drawFrameBand(size(), m_number & 0xffff));
    m_picture.replace(0, band.size(), band);
}

} // namespace virtual_desk
