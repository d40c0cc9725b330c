// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo_coefficients.h"

namespace photo {

Coefficients::Coefficients()
{
    for (size_t c = 0; c < Components; ++c) {
        magnitude[c].resize(PlaneSize);
        negative[c].resize(PlaneSize);
        unknownBits[c].resize(PlaneSize);
    }
}

CoefficientModels::CoefficientModels()
{
    for (State* model : {significance.data(), &significance[1], &sign, &refinement, &block}) {
        InitState(*model, State::Contexts);
    }
}

} // namespace photo
