// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/camera/camera_description.h"

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
class Camera
{
public:
    /// The virtual kernel must outlive the camera. The camera is not plugged in yet.
    Camera(VirtualKernel& kernel, CameraDescription description);
    /// Unplugs.
    ~Camera();
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    void plugIn();
    /// Also while a program streams: its further requests fail with ENODEV.
    void unplug();

    /// Sets the picture that the camera sends from now on, also during a stream.
    void show(Scene scene);
    /// The same with any picture, scaled and cut to fill the camera's size. Not null.
    void show(const QImage& picture);

    /// As if another program used the camera: it can be opened but not configured.
    void setBusy(bool busy);
    /// The stream stops without an error.
    void setStalled(bool stalled);
    /// The frames contain noise; compressed ones cannot be decoded.
    void setGarbage(bool garbage);
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
