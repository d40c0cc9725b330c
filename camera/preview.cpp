// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// From the capture library's frame to the picture in the window.

#include "camera/preview.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

/// Positions in a frame are counted in parts of this size, like in QImage's fast transformation:
/// it looks at the middle of each target place, less one part, so that a tie falls to the left.
constexpr double parts = 65536;

std::int64_t middle(double step, int place)
{
    return static_cast<std::int64_t>((step * (place + 0.5) - 1 / parts) * parts);
}

int insideFrame(std::int64_t position, int size)
{
    return static_cast<int>(std::clamp<std::int64_t>(position >> 16, 0, size - 1));
}

/// For each place of a target line the nearest of the source's. Steps are cut to whole parts.
std::vector<int> nearestColumns(int source, int target)
{
    const double step = 1 / (static_cast<double>(target) / source);
    const auto wholeStep = static_cast<std::int64_t>(step * parts);
    std::vector<int> columns(static_cast<std::size_t>(target));
    std::int64_t position = middle(step, 0);
    for (int& column : columns) {
        column = insideFrame(position, source);
        position += wholeStep;
    }
    return columns;
}

int nearestRow(int source, int target, int place)
{
    const double step = 1 / (static_cast<double>(target) / source);
    return insideFrame(middle(step, place), source);
}

} // namespace

QImage previewImage(const cv::Mat& frame, QSize size)
{
    if (frame.data == nullptr || frame.total() == 0 || frame.type() != CV_8UC3 || size.isEmpty()) {
        return {};
    }
    QImage shown(size, QImage::Format_RGB32);
    std::vector<int> columns = nearestColumns(frame.cols, size.width());
    for (int& column : columns) {
        column *= 3;
    }
    for (int y = 0; y < size.height(); ++y) {
        const uchar* row = frame.ptr(nearestRow(frame.rows, size.height(), y));
        auto* out = reinterpret_cast<QRgb*>(shown.scanLine(y));
        for (const int column : columns) {
            const uchar* pixel = row + column;
            *out++ = qRgb(pixel[2], pixel[1], pixel[0]);
        }
    }
    return shown;
}
