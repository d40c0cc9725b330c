// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/photo_coefficients.h"
#include "virtual/cards/qm_encoder.h"

namespace virtual_desk {

/// Codes quantised coefficients in the order in which `photo::decodeCoefficients` decodes them,
/// until a decoder would have fetched \p fetchable bytes (counted without stuffing) or every bit
/// plane is done.
///
/// \param coded 1 where a coefficient stands (`photo::decomposeMask`)
/// \return the coefficients as a decoder estimates them at that point
photo::PlaneCoefficients encodeCoefficients(QmEncoder& encoder,
                                            const photo::PlaneCoefficients& coefficients,
                                            const photo::Plane& coded,
                                            const photo::StreamSetup& setup, int fetchable);

} // namespace virtual_desk
