// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QImage>

namespace virtual_desk {

/// Most bytes of the coded picture in a photo block; the others are the header, the length and the
/// check sum.
constexpr int PhotoPayloadBytes = 1007;

/// Compresses a picture into the photo block of a virtual card, which `libwlt::Unpack_Data`
/// decodes.
///
/// \param picture scaled to 102 x 126 pixels when it has another size.
/// \param payloadBytes most bytes that the coded picture may take, 64 to `PhotoPayloadBytes`.
/// \return the block, 1024 bytes; it always decodes with result 1.
QByteArray encodePhoto(const QImage& picture, int payloadBytes = PhotoPayloadBytes);

/// Decodes a photo block with the service's decoder.
/// \return a null image when the result is not 1.
QImage decodePhoto(const QByteArray& block);

/// Peak signal to noise ratio of the luma of two pictures of the same size, in decibels.
double lumaPsnr(const QImage& picture, const QImage& original);

} // namespace virtual_desk
