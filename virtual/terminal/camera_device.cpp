// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/camera_device.h"

#include "virtual/camera/camera.h"
#include "virtual/camera/uvc_camera.h"

#include <utility>

namespace virtual_desk {
namespace {

// In the order of Scene.
const QStringList& sceneNames()
{
    static const QStringList names = {QStringLiteral("testCard"), QStringLiteral("document"),
                                      QStringLiteral("portrait")};
    return names;
}

} // namespace

CameraDevice::CameraDevice(VirtualKernel& kernel, const CameraDescription& description)
    : m_scene(sceneNames().at(static_cast<int>(description.scene)))
{
    if (kernel.hostController().isEmpty()) {
        auto camera = std::make_unique<Camera>(kernel, description);
        m_emulated = camera.get();
        m_camera = std::move(camera);
    } else {
        m_camera = std::make_unique<UvcCamera>(kernel, description);
    }
}

CameraDevice::~CameraDevice() = default;

QString CameraDevice::plug()
{
    QString fault = m_camera->plugIn();
    m_plugged = fault.isEmpty();
    return fault;
}

void CameraDevice::unplug()
{
    m_camera->unplug();
    m_plugged = false;
}

void CameraDevice::show(CheckedObject& request)
{
    const QString scene = QStringLiteral("scene");
    const QString image = QStringLiteral("image");
    if (request.has(scene) == request.has(image))
        request.complain(QStringLiteral("Either \"scene\" or \"image\" must be given."));
    const bool isScene = request.has(scene);
    const QString name = isScene ? request.choice(scene, sceneNames()) : image;
    const QImage picture = isScene ? QImage() : request.picture(image);
    if (!request.error().isEmpty())
        return;
    if (isScene)
        m_camera->show(static_cast<Scene>(sceneNames().indexOf(name)));
    else
        m_camera->show(picture);
    m_scene = name;
}

std::optional<std::function<void()>> CameraDevice::faultAction(const QString& fault,
                                                               CheckedObject& /*keys*/)
{
    if (fault == QLatin1String("held") && m_emulated)
        return [this] { m_emulated->setBusy(true); };
    if (fault == QLatin1String("stalled"))
        return [this] { m_camera->setStalled(true); };
    if (fault == QLatin1String("garbage"))
        return [this] { m_camera->setGarbage(true); };
    return std::nullopt;
}

void CameraDevice::endFault()
{
    if (m_emulated)
        m_emulated->setBusy(false);
    m_camera->setStalled(false);
    m_camera->setGarbage(false);
}

QJsonObject CameraDevice::ownState() const
{
    return {{QStringLiteral("scene"), m_scene}};
}

} // namespace virtual_desk
