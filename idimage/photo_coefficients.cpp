// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo_coefficients.h"

namespace photo {

namespace {

constexpr int ParentActivity = 2;

// The last context whose least activity is reached.
std::uint8_t contextFor(const State& model, int activity)
{
    std::uint8_t context = State::Contexts - 1;
    while (context > 0 && static_cast<int>(model.parameters[context]) > activity) {
        --context;
    }
    return context;
}

} // namespace

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
    for (int cell = 0; cell <= ContextBits; ++cell) {
        const int parent = (cell & SignificantParent) != 0 ? ParentActivity : 0;
        significanceContexts[static_cast<size_t>(cell)] =
            contextFor(significance[0], (cell & ActivityBits) + parent);
    }
}

} // namespace photo
