// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QImage>

namespace virtual_desk {

/// Bytes of the coded picture inside a photo block: what the header, the length and the check sum
/// leave.
constexpr int PhotoPayloadBytes = 1007;

/// Compresses a picture into the photo block of a virtual card, the mirror of
/// `libwlt::Unpack_Data`.
///
/// \param picture      scaled to 102 x 126 pixels when it has another size.
/// \param payloadBytes most bytes that the coded picture may take, 64 to `PhotoPayloadBytes`.
/// \return the block, 1024 bytes; it always decodes with result 1.
QByteArray encodePhoto(const QImage& picture, int payloadBytes = PhotoPayloadBytes);

/// Decodes a photo block with the service's decoder. \return a null image when the result is not 1.
QImage decodePhoto(const QByteArray& block);

/// Peak signal to noise ratio of the luma of two pictures of the same size, in decibels.
double lumaPsnr(const QImage& picture, const QImage& original);

} // namespace virtual_desk
