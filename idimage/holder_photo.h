// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

class QImage;

/// The holder's photo, as it is painted on the front face.
namespace HolderPhoto {

/// The file of the decoded photo, from the reading of a card to the end of the command.
constexpr const char* path = "./simage_file.bmp";

/// Pixels of the photo on the front face.
constexpr int faceWidth = 307;
constexpr int faceHeight = 378;

/// Loads the photo, makes its near-white background transparent, scales it to the size above and
/// writes it back to the same file.
/// \return the photo as it is painted; a null image when the file is missing or no image.
QImage prepareForFace();

/// Makes pixels transparent whose red, green and blue are all above 240; their colour is set to 0
/// as well.
/// \param photo in premultiplied 32-bit RGBA byte order.
void clearNearWhite(QImage& photo);

} // namespace HolderPhoto
