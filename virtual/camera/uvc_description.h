// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/camera/camera_description.h"
#include "virtual/kernel/usb_description.h"

namespace virtual_desk {

/// The bulk endpoint that pictures come from, and the interface that it belongs to.
constexpr quint8 uvcPictureEndpoint = 0x81;
constexpr quint8 uvcPictureInterface = 1;

/// Bytes of one transfer of a picture, with its header: what the kernel asks for at once.
constexpr int uvcPayloadBytes = 16384;

/// The descriptors of a camera of the USB video class 1.0 without any controls: one uncompressed
/// format (YUY2) in the camera's sizes, on a bulk endpoint (UVC 1.0, 3).
UsbDescription uvcDescription(const CameraDescription& camera);

} // namespace virtual_desk
