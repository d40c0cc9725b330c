// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "camera/preview.h"

QImage previewImage(const cv::Mat& frame, QSize size)
{
    if (!frame.data || frame.total() == 0 || frame.type() != CV_8UC3 || size.isEmpty())
        return {};
    const QImage whole(frame.data, frame.cols, frame.rows, static_cast<int>(frame.step),
                       QImage::Format_BGR888);
    // Scaled before the conversion, so that only the pixels that are shown are converted.
    return whole.scaled(size, Qt::IgnoreAspectRatio, Qt::FastTransformation)
        .convertToFormat(QImage::Format_RGB32);
}
