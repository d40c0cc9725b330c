// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/camera/camera_picture.h"

#include <QString>

namespace virtual_desk {

/// \brief What a desk does with a camera, whichever kernel it is plugged in to.
class DeskCamera
{
public:
    DeskCamera() = default;
    virtual ~DeskCamera() = default;
    DeskCamera(const DeskCamera&) = delete;
    DeskCamera& operator=(const DeskCamera&) = delete;

    /// \return an empty text, or why not
    virtual QString plugIn() = 0;
    /// Also while a program streams: everything it asks from then on fails with ENODEV.
    virtual void unplug() = 0;

    /// What the camera looks at from now on, also in the middle of a stream.
    virtual void show(Scene scene) = 0;
    /// The same with a picture of one's own, cut and scaled to fill the camera's size. Not null.
    virtual void show(const QImage& picture) = 0;

    /// The stream stops without an error.
    virtual void setStalled(bool stalled) = 0;
    /// The frames hold noise; with compressed pictures, nothing that can be decoded.
    virtual void setGarbage(bool garbage) = 0;
};

} // namespace virtual_desk
