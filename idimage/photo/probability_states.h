// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <cstdint>

namespace photo {

/// One state of the QM coder's probability estimation.
struct ProbabilityState
{
    std::uint32_t qe;
    std::uint8_t afterLessProbable;
    std::uint8_t afterMoreProbable;
    std::uint8_t switches; ///< 1: the symbols change their roles after a less probable one
};

constexpr int ProbabilityStates = 113;

/// Qe values and estimation states of ITU-T T.81, Table D.3.
extern const std::array<ProbabilityState, ProbabilityStates> PublishedStates;

} // namespace photo
