// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/photo_bitmap.h"

#include "idimage/photo/libwlt.h"

#include <algorithm>

namespace photo {

namespace {

constexpr int PixelDataOffset = 54;
constexpr int InformationHeaderBytes = 40;
constexpr int RowBytes = PhotoWidth * BytesPerPixel;
constexpr int RowStride = 308;
constexpr int MiddleDifference = 128;
constexpr int NeighbourhoodPixels = 9;

static_assert(PixelDataOffset + RowStride * PhotoHeight == libwlt::BitmapBytes);

std::uint8_t truncated(double value)
{
    return static_cast<std::uint8_t>(std::clamp(static_cast<int>(value), 0, 255));
}

size_t pixelAt(int row, int column)
{
    return (static_cast<size_t>(row) * PhotoWidth + static_cast<size_t>(column)) * BytesPerPixel;
}

bool touchesObject(int row, int column)
{
    for (int i = row - 1; i <= row + 1; ++i) {
        for (int j = column - 1; j <= column + 1; ++j)
            if (n[at(i, j)] > 0)
                return true;
    }
    return false;
}

void smoothPixel(Image& image, int row, int column)
{
    for (size_t channel = 0; channel < BytesPerPixel; ++channel) {
        int sum = 0;
        for (int i = row - 1; i <= row + 1; ++i)
            for (int j = column - 1; j <= column + 1; ++j)
                sum += image[pixelAt(i, j) + channel];
        image[pixelAt(row, column) + channel] =
            static_cast<std::uint8_t>(sum / NeighbourhoodPixels);
    }
}

void putLittleEndian(unsigned char* out, unsigned value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out[i] = static_cast<unsigned char>(value >> (8 * i));
}

void writeHeader(unsigned char* header)
{
    std::fill_n(header, PixelDataOffset, static_cast<unsigned char>(0));
    header[0] = 'B';
    header[1] = 'M';
    putLittleEndian(header + 2, libwlt::BitmapBytes, 4);
    putLittleEndian(header + 10, PixelDataOffset, 4);
    putLittleEndian(header + 14, InformationHeaderBytes, 4);
    putLittleEndian(header + 18, PhotoWidth, 4);
    putLittleEndian(header + 22, PhotoHeight, 4);
    putLittleEndian(header + 26, 1, 2);
    putLittleEndian(header + 28, 8 * BytesPerPixel, 2);
}

} // namespace

std::array<std::uint8_t, BytesPerPixel> toRgb(int luma, int cb, int cr)
{
    const int blue = cb - MiddleDifference;
    const int red = cr - MiddleDifference;
    return {truncated(luma + 1.402 * red), truncated(luma - 0.34414 * blue - 0.71414 * red),
            truncated(luma + 1.772 * blue)};
}

Image convertColours(const std::array<Plane, Components>& planes)
{
    Image image(static_cast<size_t>(PhotoWidth) * PhotoHeight * BytesPerPixel);
    for (int row = 0; row < PhotoHeight; ++row) {
        for (int column = 0; column < PhotoWidth; ++column) {
            const size_t i = at(row, column);
            const auto rgb = toRgb(planes[0][i], planes[1][i], planes[2][i]);
            std::copy(rgb.begin(), rgb.end(), &image[pixelAt(row, column)]);
        }
    }
    return image;
}

void fillBackground(Image& image)
{
    for (int row = 0; row < PhotoHeight; ++row) {
        for (int column = 0; column < PhotoWidth; ++column)
            if (n[at(row, column)] == 0)
                std::copy_n(FixNum.begin(), BytesPerPixel, &image[pixelAt(row, column)]);
    }
}

void smoothEdges(Image& image)
{
    for (int row = 1; row < PhotoHeight - 1; ++row) {
        for (int column = 1; column < PhotoWidth - 1; ++column)
            if (n[at(row, column)] == 0 && touchesObject(row, column))
                smoothPixel(image, row, column);
    }
}

void writeBitmap(const Image& image, unsigned char* bitmap)
{
    writeHeader(bitmap);
    unsigned char* out = bitmap + PixelDataOffset;
    for (int row = PhotoHeight - 1; row >= 0; --row) {
        const std::uint8_t* in = &image[pixelAt(row, 0)];
        for (int i = 0; i < RowBytes; i += BytesPerPixel) {
            out[i] = in[i + 2];
            out[i + 1] = in[i + 1];
            out[i + 2] = in[i];
        }
        std::fill(out + RowBytes, out + RowStride, static_cast<unsigned char>(0));
        out += RowStride;
    }
}

} // namespace photo
