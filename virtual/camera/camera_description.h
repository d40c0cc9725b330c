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

/// \brief The properties of a virtual camera.
struct CameraDescription
{
    QByteArray vendor = "0c45";  ///< ID_VENDOR_ID as udev shows it
    QByteArray product = "6366"; ///< ID_MODEL_ID as udev shows it
    int number = 0;              ///< N of /dev/videoN; two cameras never share one
    Scene scene = Scene::Document;
    int framesPerSecond = 30; ///< 1 to 1000
    bool compressed = false;  ///< sends JPEG pictures (MJPG) instead of packed YUYV
    bool captures =
        true; ///< false: a node without pictures, like the metadata nodes of many cameras
    QVector<QSize> sizes =
        deskCameraSizes(); ///< even widths; the nearest is set when a program requests another
};

/// The desk's portrait camera, /dev/video1; the default description is its document camera.
CameraDescription portraitCamera();

} // namespace virtual_desk
