// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo_mask.h"

#include <cmath>

namespace photo {

/// Scaling of the coefficients before the lifting.
constexpr double LowScale = 0.7071;
constexpr double HighScale = 1.4142;

/// The product, rounded half away from zero.
inline std::int32_t scaled(std::int32_t coefficient, double factor)
{
    const double product = coefficient * factor;
    return static_cast<std::int32_t>(product + std::copysign(0.5, product));
}

/// Lines of a plane side by side, as a split leaves them: the low-pass samples of the even
/// positions and the high-pass samples of the odd ones.
struct Halves
{
    std::int32_t* low;  ///< sample k belongs to position 2k
    std::int32_t* high; ///< sample k belongs to position 2k + 1
    size_t stride;      ///< from one sample of a line to its next
    size_t width;       ///< number of lines; they are neighbours in memory, 1 to `stride`
};

/// Inverse of the reversible 5/3 lifting of ITU-T T.800, in place, on the same segment of every
/// line.
///
/// \param start  position of the segment's first sample.
/// \param length of the segment, at least 1.
///
/// Scales the coefficients first. Ours: a neighbour beyond an end of the segment is taken from
/// inside, by reflection, and a segment without any sample of the other kind is one sample long.
void inverseLifting(const Halves& lines, int start, int length);

/// Undoes the transform of the components, level by level from the coarsest, columns then rows (our
/// order).
///
/// \param planes     coefficients in, samples out; positions outside the object come out as 0.
/// \param decomposed the mask as `decomposeMask` left it for the same number of levels.
void inverseTransform(std::array<Plane, Components>& planes, const Plane& decomposed, int levels);

} // namespace photo
