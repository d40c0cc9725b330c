// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT
#pragma once

#include "virtual/camera/camera_picture.h"

#include <QByteArray>
#include <QSize>
#include <QVector>

namespace virtual_desk {

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

} // namespace virtual_desk
