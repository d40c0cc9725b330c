// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT
#pragma once

#include "virtual/camera_picture.h"

#include <QByteArray>
#include <QSize>
#include <QVector>

#include <memory>

namespace virtual_desk {

class CameraNode;
class Testbed;

/// \brief The nine sizes that the desk's cameras offer, from 640 x 480 to 2592 x 1944 pixels.
QVector<QSize> deskCameraSizes();

/// \brief What a virtual camera is like.
struct CameraDescription
{
    QByteArray vendor = "0c45";  ///< ID_VENDOR_ID as udev shows it
    QByteArray product = "6366"; ///< ID_MODEL_ID as udev shows it
    int number = 0;              ///< N of /dev/videoN; two cameras never share one
    Scene scene = Scene::Document;
    int framesPerSecond = 30; ///< 1 to 1000
    bool compressed = false;  ///< sends JPEG pictures (MJPG) instead of packed YUYV
    bool captures =
        true; ///< false: a node without pictures, as many cameras have for their metadata
    QVector<QSize> sizes =
        deskCameraSizes(); ///< even widths; another size is answered with the nearest
};

/// The desk's portrait camera, /dev/video1; the default description is its document camera.
CameraDescription portraitCamera();

/// \brief A USB camera on the virtual desk: its devices in udev and a V4L2 node that unmodified
/// programs open, stream from and close.
///
/// Frames keep real time. They are numbered from the start of the stream and show their number; one
/// that finds no free buffer is lost. Like a driver behind a non-blocking descriptor, the node has
/// "no frame yet" (EAGAIN) for an early request, but only after having waited for up to \ref
/// setPatience; a stalled camera says so at once.
///
/// All functions may be called from any thread.
class Camera
{
public:
    /// The testbed must outlive the camera. The camera is not plugged in yet.
    Camera(Testbed& testbed, CameraDescription description);
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
    void setPatience(int milliseconds);

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
