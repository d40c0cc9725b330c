// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/camera/uvc_description.h"

#include <initializer_list>

namespace virtual_desk {
namespace {

const quint8 videoClass = 0x0E;
const quint8 controlInterface = 0;
const quint8 controlSubclass = 1;
const quint8 streamingSubclass = 2;
const quint8 classSpecific = 0x24;

// The units of the camera: a lens, and the way out to USB.
const int lensUnit = 1;
const int outputUnit = 2;

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray result;
    for (const int value : values)
        result.append(static_cast<char>(value));
    return result;
}

QByteArray word(int value)
{
    return bytes({value & 0xFF, value >> 8 & 0xFF});
}

QByteArray longWord(qint64 value)
{
    return word(static_cast<int>(value & 0xFFFF)) + word(static_cast<int>(value >> 16 & 0xFFFF));
}

// With the length in front.
QByteArray classDescriptor(const QByteArray& content)
{
    return bytes({static_cast<int>(content.size()) + 2, classSpecific}) + content;
}

QByteArray controlDescriptors()
{
    const QByteArray lens =
        classDescriptor(bytes({2, lensUnit, 0x01, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0}));
    const QByteArray output = classDescriptor(bytes({3, outputUnit, 0x01, 0x01, 0, lensUnit, 0}));
    constexpr int headerBytes = 13;
    const int total = headerBytes + static_cast<int>(lens.size() + output.size());
    const QByteArray header = classDescriptor(bytes({1, 0x00, 0x01}) + word(total) +
                                              longWord(48000000) + // clock of the time stamps, Hz
                                              bytes({1, uvcPictureInterface}));
    return header + lens + output;
}

QByteArray formatDescriptor(int frames)
{
    static const QByteArray yuy2 = QByteArray::fromHex("5955593200001000800000aa00389b71");
    constexpr int bitsPerPixel = 16;
    return classDescriptor(bytes({4, 1, frames}) + yuy2 + bytes({bitsPerPixel, 1, 0, 0, 0, 0}));
}

QByteArray frameDescriptor(int index, QSize size, int framesPerSecond)
{
    const qint64 pictureBytes = qint64(size.width()) * size.height() * 2;
    const qint64 bitRate = pictureBytes * 8 * framesPerSecond;
    const QByteArray interval = longWord(10000000 / framesPerSecond); // 100 ns
    return classDescriptor(bytes({5, index, 0}) + word(size.width()) + word(size.height()) +
                           longWord(bitRate) + longWord(bitRate) + longWord(pictureBytes) +
                           interval + bytes({1}) + interval);
}

QByteArray streamingDescriptors(const CameraDescription& camera)
{
    const int frames = static_cast<int>(camera.sizes.size());
    QByteArray formats = formatDescriptor(frames);
    for (int index = 0; index < frames; ++index)
        formats += frameDescriptor(index + 1, camera.sizes.at(index), camera.framesPerSecond);
    formats += classDescriptor(bytes({0x0D, 1, 1, 4})); // colours as of BT.601
    constexpr int headerBytes = 14;
    const int total = headerBytes + static_cast<int>(formats.size());
    const QByteArray header = classDescriptor(
        bytes({1, 1}) + word(total) + bytes({uvcPictureEndpoint, 0, outputUnit, 0, 0, 0, 1, 0}));
    return header + formats;
}

} // namespace

UsbDescription uvcDescription(const CameraDescription& camera)
{
    UsbInterface control;
    control.number = controlInterface;
    control.classCode = videoClass;
    control.subclass = controlSubclass;
    control.classDescriptors = controlDescriptors();
    UsbInterface streaming;
    streaming.number = uvcPictureInterface;
    streaming.classCode = videoClass;
    streaming.subclass = streamingSubclass;
    streaming.classDescriptors = streamingDescriptors(camera);
    streaming.endpoints = {{uvcPictureEndpoint, UsbEndpoint::Bulk, 512, 0}};
    UsbDescription description;
    description.vendor = static_cast<quint16>(camera.vendor.toInt(nullptr, 16));
    description.product = static_cast<quint16>(camera.product.toInt(nullptr, 16));
    description.interfaces = {control, streaming};
    description.name = camera.scene == Scene::Portrait ? "Portrait camera" : "Document camera";
    description.highSpeed = true;
    description.deviceClass = {0xEF, 2, 1}; // whose interfaces are associated
    description.association = bytes({8, 0x0B, controlInterface, 2, videoClass, 3, 0, 0});
    return description;
}

} // namespace virtual_desk
