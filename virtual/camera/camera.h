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
/// Frames keep real time. They are numbered from the start of the stream and show their number; one
/// that finds no free buffer is lost. Like a driver behind a non-blocking descriptor, the node has
/// "no frame yet" (EAGAIN) for an early request, but only after having waited for up to \ref
/// setDequeueTimeout; a stalled camera says so at once.
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
    /// Also while a program streams: everything it asks from then on fails with ENODEV.
    void unplug();

    /// What the camera looks at from now on, also in the middle of a stream.
    void show(Scene scene);
    /// The same with a picture of one's own, cut and scaled to fill the camera's size. Not null.
    void show(const QImage& picture);

    /// Another program uses the camera: it can be opened but not set up.
    void setBusy(bool busy);
    /// The stream stops without an error.
    void setStalled(bool stalled);
    /// The frames hold noise; with compressed pictures, nothing that can be decoded.
    void setGarbage(bool garbage);
    /// How long a request for a frame may wait inside the driver, in milliseconds. select() always
    /// finds the emulated node ready, so that a program which waits for a frame with it would spin;
    /// the default is long enough for every frame. 0 is what a program sees that asks without
    /// waiting.
    void setDequeueTimeout(int milliseconds);

    bool isStreaming() const;
    /// The size that is set, in pixels.
    QSize currentSize() const;
    /// Frames handed out since the camera was made.
    int framesSent() const;
    /// How often a stream was started since the camera was made.
    int streamsStarted() const;
    /// How often a program opened the node and asked it something, since the camera was made.
    int timesOpened() const;

private:
    std::shared_ptr<CameraNode> m_node;
};

} // namespace virtual_desk
