// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/camera/camera.h"

#include "virtual/camera/camera_node.h"
#include "virtual/kernel/virtual_kernel.h"

#include <utility>

namespace virtual_desk {

QVector<QSize> deskCameraSizes()
{
    return {{640, 480},   {800, 600},   {1024, 768},  {1280, 720}, {1280, 960},
            {1600, 1200}, {1920, 1080}, {2048, 1536}, {2592, 1944}};
}

CameraDescription portraitCamera()
{
    CameraDescription description;
    description.vendor = "1b17";
    description.product = "6685";
    description.number = 1;
    description.scene = Scene::Portrait;
    return description;
}

Camera::Camera(VirtualKernel& kernel, CameraDescription description)
    : m_node(std::make_shared<CameraNode>(kernel, std::move(description)))
{
    m_node->attach();
}

Camera::~Camera()
{
    m_node->unplug();
}

QString Camera::plugIn()
{
    m_node->plugIn();
    return {};
}

void Camera::unplug()
{
    m_node->unplug();
}

void Camera::show(Scene scene)
{
    m_node->show([scene](QSize size) { return drawScene(scene, size); });
}

void Camera::show(const QImage& picture)
{
    m_node->show([picture](QSize size) { return fillSize(picture, size); });
}

void Camera::setBusy(bool busy)
{
    m_node->change([busy](CameraFaults& faults) { faults.busy = busy; });
}

void Camera::setStalled(bool stalled)
{
    m_node->change([stalled](CameraFaults& faults) { faults.stalled = stalled; });
}

void Camera::setGarbage(bool garbage)
{
    m_node->change([garbage](CameraFaults& faults) { faults.garbage = garbage; });
}

void Camera::setDequeueTimeout(int milliseconds)
{
    m_node->change([milliseconds](CameraFaults& faults) { faults.dequeueTimeout = milliseconds; });
}

bool Camera::isStreaming() const
{
    return m_node->report().streaming;
}

QSize Camera::currentSize() const
{
    return m_node->report().size;
}

int Camera::framesSent() const
{
    return m_node->report().framesSent;
}

int Camera::timesOpened() const
{
    return m_node->report().timesOpened;
}

int Camera::streamsStarted() const
{
    return m_node->report().streamsStarted;
}

} // namespace virtual_desk
