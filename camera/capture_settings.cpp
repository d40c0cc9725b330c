// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The capture library's settings. It reads most of them from the environment only.

#include "camera/capture_settings.h"

#include <QByteArray>

#include <opencv2/core/utils/logger.hpp>

namespace {

void setUnlessSet(const char* name, const char* value)
{
    if (!qEnvironmentVariableIsSet(name))
        qputenv(name, value);
}

} // namespace

void applyCaptureSettings()
{
    // Seconds that a read waits for a frame.
    setUnlessSet("OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT", "0");
    // The built-in back-ends have the priorities 1000, 990 and so on; 0 excludes one.
    setUnlessSet("OPENCV_VIDEOIO_PRIORITY_V4L2", "2000");
    setUnlessSet("OPENCV_VIDEOIO_PRIORITY_GPHOTO2", "0");
    setUnlessSet("OPENCV_VIDEOIO_PRIORITY_GSTREAMER", "0");
    setUnlessSet("OPENCV_VIDEOIO_PRIORITY_OBSENSOR", "0");
    if (!qEnvironmentVariableIsSet("OPENCV_LOG_LEVEL"))
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_ERROR);
}
