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

/// The texts that every card has: the front's captions, the back's heading and captions.
void paintFrontCaptions(QPixmap& face);
void paintBackCaptions(QPixmap& face);

/// Paints, onto a face with its captions, the holder's data and the photo of "./simage_file.bmp".
/// That file is rewritten with the photo as it was painted: 307 x 378 pixels, near-white cut out.
/// Without the file, or with one that is no image, the face stays without a photo.
void paintFrontValues(QPixmap& face, const IDINFO& info);

/// Paints, onto a face with its captions, the issuing authority and the validity period.
void paintBackValues(QPixmap& face, const IDINFO& info);

} // namespace CardFaces
