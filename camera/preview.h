// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QImage>

#include <opencv2/core/mat.hpp>

/// \brief The frame as it is shown: red, green, blue, scaled to \p size without keeping its
/// proportions, each pixel taken from the nearest one of the frame.
///
/// \param frame 8 bits, three channels, blue first; anything else gives a null image.
/// \param size in pixels.
/// \return a 32-bit image that does not share memory with \p frame.
QImage previewImage(const cv::Mat& frame, QSize size);
