// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The function that the service calls in the module.

#include "camera/camera_module.h"
#include "camera/capture_window.h"

extern "C" Q_DECL_EXPORT CaptureDialog* desk_create_capture_window()
{
    return new CameraUser(nullptr);
}
