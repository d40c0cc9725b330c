// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/photo_tables.h"

namespace virtual_desk {

/// Forward 5/3 lifting of one segment of a line, in place, and the scaling that
/// `photo::inverseLifting` undoes.
/// \param start position of the first sample in its line; only its parity counts.
void forwardLifting(std::int32_t* samples, int start, int length);

/// Transforms one component, level by level, rows then columns: samples in, coefficients out.
/// Samples outside the object mask \p mask (entries other than 1) are not used.
void forwardTransform(photo::Plane& plane, const photo::Plane& mask, int levels);

} // namespace virtual_desk
