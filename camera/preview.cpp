// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// From the capture library's frame to the picture in the window.

#include "camera/preview.h"

QImage previewImage(const cv::Mat& frame, QSize size)
{
    if (frame.data == nullptr || frame.total() == 0 || frame.type() != CV_8UC3 || size.isEmpty()) {
        return {};
    }
    const QImage wrapped(frame.data, frame.cols, frame.rows, static_cast<int>(frame.step),
                         QImage::Format_BGR888);
    const QImage shown = wrapped.scaled(size, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    return shown.convertToFormat(QImage::Format_RGB888);
}
