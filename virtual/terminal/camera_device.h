// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/camera/camera_description.h"
#include "virtual/camera/desk_camera.h"
#include "virtual/kernel/virtual_kernel.h"
#include "virtual/terminal/desk_device.h"

namespace virtual_desk {

class Camera;

/// \brief One of the desk's cameras and its picture.
class CameraDevice : public DeskDevice
{
public:
    CameraDevice(VirtualKernel& kernel, const CameraDescription& description);
    ~CameraDevice() override;

    bool isPlugged() const override { return m_plugged; }
    QString plug() override;
    void unplug() override;

    /// Sets the picture to the "scene" or the "image" of a request; an error when it does not have
    /// exactly one of them.
    void show(CheckedObject& request);

protected:
    std::optional<std::function<void()>> faultAction(const QString& fault,
                                                     CheckedObject& keys) override;
    void endFault() override;
    QJsonObject ownState() const override;

private:
    std::unique_ptr<DeskCamera> m_camera;
    Camera* m_emulated = nullptr; ///< the same, where the kernel is emulated
    bool m_plugged = false;
    QString m_scene;
};

} // namespace virtual_desk
