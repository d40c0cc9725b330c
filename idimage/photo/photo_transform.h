// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/photo_mask.h"

namespace photo {

/// Scaling of the coefficients before the lifting.
constexpr double LowScale = 0.7071;
constexpr double HighScale = 1.4142;

/// The product, rounded half away from zero.
inline std::int32_t scaled(std::int32_t coefficient, double factor)
{
    const double product = coefficient * factor;
    return static_cast<std::int32_t>(product < 0 ? product - 0.5 : product + 0.5);
}

/// Inverse of the reversible 5/3 lifting of ITU-T T.800, in place, on one segment of an interleaved
/// line: low-pass samples at the line's even positions, high-pass ones at the odd positions.
///
/// \param samples the segment's \p length samples.
/// \param start position of the first of them in its line; only its parity counts.
///
/// Scales the coefficients first. Ours: a neighbour beyond an end of the segment is the sample
/// mirrored at that end, and a segment without any sample of the other kind is one sample long.
void inverseLifting(std::int32_t* samples, int start, int length);

/// Undoes the transform of one component, level by level from the coarsest, columns then rows (our
/// order).
///
/// \param plane coefficients in, samples out; positions outside the object come out as 0.
/// \param decomposed the mask as `decomposeMask` left it for the same number of levels.
void inverseTransform(Plane& plane, const Plane& decomposed, int levels);

} // namespace photo
