// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/camera/camera_description.h"
#include "virtual/camera/desk_camera.h"

#include <QSize>

#include <memory>

namespace virtual_desk {

class CameraNode;
class VirtualKernel;

/// \brief A USB camera on the virtual desk: its devices in udev and a V4L2 node that unmodified
/// programs open, stream from and close.
///
/// Frames are produced at the camera's rate in real time. They are numbered from the start of the
/// stream and show their number; a frame is lost when no buffer is free. A request for a frame
/// (VIDIOC_DQBUF) waits for up to \ref setDequeueTimeout and then fails with EAGAIN, as with a
/// non-blocking descriptor; a stalled camera fails at once.
///
/// All functions may be called from any thread.
class Camera : public DeskCamera
{
public:
    /// The virtual kernel must outlive the camera. The camera is not plugged in yet.
    Camera(VirtualKernel& kernel, CameraDescription description);
    /// Unplugs.
    ~Camera() override;

    QString plugIn() override;
    void unplug() override;

    void show(Scene scene) override;
    void show(const QImage& picture) override;

    /// As if another program used the camera: it can be opened but not configured.
    void setBusy(bool busy);
    void setStalled(bool stalled) override;
    void setGarbage(bool garbage) override;
    /// How long a request for a frame may wait in the emulated driver, in milliseconds. select()
    /// always reports the emulated node ready, so a program that waits with it would busy-loop
    /// without this wait; the default is longer than the interval of the frames. 0: a request never
    /// waits, as with a non-blocking descriptor.
    void setDequeueTimeout(int milliseconds);

    bool isStreaming() const;
    /// The size that is set, in pixels.
    QSize currentSize() const;
    /// Frames handed out since the camera was made.
    int framesSent() const;
    /// How often a stream was started since the camera was made.
    int streamsStarted() const;
    /// How many programs have opened the node and sent a request, since the camera was made.
    int timesOpened() const;

private:
    std::shared_ptr<CameraNode> m_node;
};

} // namespace virtual_desk
