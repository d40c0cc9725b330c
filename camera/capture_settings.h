// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// \brief Sets up the capture library for a program whose one thread also serves clients. To be
/// called before the first camera is opened; further calls change nothing.
///
/// - A read returns the frame that is available and never waits for one. By default the library
///   waits up to ten seconds for a camera that has stopped sending; its setting knows whole seconds
///   only.
/// - The kernel's own capture interface is tried before the other back-ends of the automatic
///   selection, whose reads may wait.
/// - The back-end for photo cameras and telephones (gPhoto2) is excluded: its search takes a tenth
///   of a second and leaks memory each time that no camera can be opened.
/// - GStreamer is excluded: it is tried for a camera that is in use, after the kernel's interface
///   has refused it, and then leaks a thread and, where its plug-ins are installed, descriptors.
/// - The back-end for depth cameras (obsensor, since OpenCV 4.6) is excluded: it prints an error
/// for
///   each camera that cannot be opened.
/// - The library's warnings are switched off (its errors are not), because "no frame yet" is one of
///   them.
///
/// A setting that is already in the environment (OPENCV_VIDEOIO_V4L_SELECT_TIMEOUT,
/// OPENCV_VIDEOIO_PRIORITY_V4L2, OPENCV_VIDEOIO_PRIORITY_GPHOTO2,
/// OPENCV_VIDEOIO_PRIORITY_GSTREAMER, OPENCV_VIDEOIO_PRIORITY_OBSENSOR, OPENCV_LOG_LEVEL) wins.
void applyCaptureSettings();
