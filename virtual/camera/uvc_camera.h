// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/camera/camera_stream.h"
#include "virtual/camera/desk_camera.h"
#include "virtual/kernel/usb_device.h"

#include <chrono>
#include <mutex>

namespace virtual_desk {

/// \brief A camera of the USB video class below a real kernel, whose driver makes the video node.
///
/// Shows the same pictures as \ref Camera, at its rate where the reader keeps up. All functions may
/// be called from any thread.
class UvcCamera : public DeskCamera
{
public:
    UvcCamera(VirtualKernel& kernel, CameraDescription description);

    QString plugIn() override;
    void unplug() override;
    void show(Scene scene) override;
    void show(const QImage& picture) override;
    void setStalled(bool stalled) override;
    void setGarbage(bool garbage) override;

private:
    using Clock = std::chrono::steady_clock;

    UsbAnswer answer(const UsbRequest& request);
    UsbAnswer control(const UsbRequest& request);
    UsbAnswer nextPayload(int length);
    QByteArray takePayload(int room);
    QByteArray streamParameters() const;
    void negotiate(const QByteArray& parameters);
    void startStream();
    void beginPicture();
    QSize size() const;

    const CameraDescription m_description;
    std::mutex m_mutex; ///< guards everything below but the device
    CameraStream::Subject m_subject;
    bool m_stalled = false;
    bool m_garbage = false;
    int m_sizeIndex = 0;
    QByteArray m_scene;   ///< packed in the present size; empty before it is drawn
    QByteArray m_picture; ///< what is being sent
    int m_sent = 0;       ///< bytes of it
    int m_number = 0;     ///< of the picture in the stream
    Clock::time_point m_due;
    UsbDevice m_device; ///< last: its handler uses the rest
};

} // namespace virtual_desk
