// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QImage>

namespace virtual_desk {

/// The number of portraits that `drawPortrait` can draw.
constexpr int Portraits = 3;

/// Draws the portrait of an invented holder, 102 x 126 pixels, the same in every call: shaded skin,
/// hair with strands, clothes with folds and a lit background, so that it is about as hard to
/// compress as a photo.
QImage drawPortrait(int holder);

} // namespace virtual_desk
