// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

class QImage;

/// The holder's photo on its way from the card to the front face.
namespace HolderPhoto {

/// Where the decoded photo lies between reading a card and the end of the command.
constexpr const char* path = "./simage_file.bmp";

/// Loads the photo, cuts out its near-white background, scales it to the 307 x 378 pixels of the
/// front face and writes it back in the same place.
/// \return the photo as it is painted; a null image when the file is missing or no image.
QImage prepareForFace();

/// Makes pixels transparent whose red, green and blue are all above 240; their colour goes too.
/// \param photo in premultiplied 32-bit RGBA byte order.
void clearNearWhite(QImage& photo);

} // namespace HolderPhoto
