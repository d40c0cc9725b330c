// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// \brief One resolution that the operator can choose.
struct CaptureResolution
{
    const char* text; ///< of the window's hidden text field
    int width;        ///< pixels
    int height;       ///< pixels
};

/// The resolutions in the order of the window's selector.
constexpr CaptureResolution captureResolutions[] = {
    {"640*480", 640, 480},     {"800*600", 800, 600},     {"1024*768", 1024, 768},
    {"1280*720", 1280, 720},   {"1280*960", 1280, 960},   {"1600*1200", 1600, 1200},
    {"1920*1080", 1920, 1080}, {"2048*1536", 2048, 1536}, {"2592*1944", 2592, 1944},
};
