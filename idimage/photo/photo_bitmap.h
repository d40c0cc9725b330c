// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/photo_tables.h"

namespace photo {

constexpr int BytesPerPixel = 3;

/// Rows of red, green, blue triples, top row first.
using Image = std::vector<std::uint8_t>;

/// One pixel of the JFIF conversion: computed in double precision, truncated toward zero, then
/// clamped.
std::array<std::uint8_t, BytesPerPixel> toRgb(int luma, int cb, int cr);

/// The photo's 102 x 126 pixels from three component planes of values 0 to 255.
Image convertColours(const std::array<Plane, Components>& planes);

/// Gives every pixel outside the mask `n` the background colour, the first three bytes of `FixNum`.
void fillBackground(Image& image);

/// Replaces every inner pixel outside the mask that has a neighbour inside the mask by the mean of
/// its neighbourhood, in place (our choice): the neighbourhood may contain pixels that are already
/// smoothed.
void smoothEdges(Image& image);

/// Writes the BMP file of the photo, `libwlt::BitmapBytes` bytes.
void writeBitmap(const Image& image, unsigned char* bitmap);

} // namespace photo
