// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "camera/capture_dialog.h"

#include <memory>

/// \brief Builds the capture window, which opens the document camera.
///
/// The window lives in libdesk-camera.so, which this loads at the first call: OpenCV's capture
/// library loads some two hundred shared libraries, whose memory a terminal that takes no pictures
/// should not need. The module is looked for beside the program and in
/// ../lib/desk-terminal-service, in this order, and stays loaded.
///
/// \return the window, owned by the caller; null when the module cannot be loaded, which is then
/// logged with the reason in one warning. GUI thread only.
std::unique_ptr<CaptureDialog> createCaptureWindow();

/// The one function of the module: makes a window without a parent. The caller owns it.
using CaptureWindowFactory = CaptureDialog* (*)();
constexpr char captureWindowFactoryName[] = "desk_create_capture_window";
