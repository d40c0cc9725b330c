// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QImage>

namespace virtual_desk {

/// Invented holders that `drawPortrait` knows, 0 to `Portraits` - 1.
constexpr int Portraits = 3;

/// Draws the portrait of an invented holder, 102 x 126 pixels, the same every time: shaded skin,
/// hair with strands, clothes with folds and a lit background, so that it asks of a codec what a
/// photo does.
QImage drawPortrait(int holder);

} // namespace virtual_desk
