// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

class QPixmap;
struct IDINFO;

/// The pictures of an identity card's two faces, painted onto templates.
///
/// Every position is a fraction of the template's size plus a fixed number of pixels. A null
/// template is left alone. GUI thread only; the locale's text codec is GB2312 afterwards.
namespace CardFaces {

/// Paints captions, the holder's data and the photo of "./simage_file.bmp". That file is rewritten
/// with the photo as it was painted: 307 x 378 pixels, near-white cut out. Without the file, or
/// with one that is no image, the face stays without a photo.
void paintFront(QPixmap& face, const IDINFO& info);

/// Paints the heading, the issuing authority and the validity period.
void paintBack(QPixmap& face, const IDINFO& info);

} // namespace CardFaces
