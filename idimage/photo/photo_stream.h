// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/arithmetic_decoder.h"
#include "idimage/photo/photo_bitmap.h"
#include "idimage/photo/photo_coefficients.h"

namespace photo {

/// Results of a decode, as `libwlt::Unpack_Data` reports them.
enum Result {
    Success = 1,
    HeaderMismatch = 3,
    PayloadDoesNotFit = 4,
    BadPayload = 5,
    BadFlag = 6,
    BadFormat = 7,
    UnknownStream = 8,
    BadSetup = 9,
    InconsistentStream = 10
};

/// The format value of every photo.
constexpr std::uint32_t FormatValue = 1;

/// Decodes the fields in front of the coefficients' set-up, all with one binary model: the flag,
/// the background colour (stored in `FixNum`) and the format value.
/// \return `Success`, `BadFlag` or `BadFormat`.
Result decodeHeaderFields(ArithmeticDecoder& decoder, State& model);

/// Decodes the set-up values, in the same model.
/// \return `Success`, `UnknownStream` or `BadSetup`.
Result decodeSetup(ArithmeticDecoder& decoder, State& model, StreamSetup& setup);

/// The first stage of `decodePayload`: a payload to the coefficients that it codes.
///
/// \param checkSum as of `decodePayload`.
/// \param decomposedMask 1 where a coefficient stands (`decomposeMask`).
/// \param setup filled.
/// \param coefficients filled; must be empty before.
/// \return `Success`, or one of the codes from `BadFlag` on.
Result decodeCoefficients(const NR& payload, std::uint16_t checkSum, const Plane& decomposedMask,
                          StreamSetup& setup, Coefficients& coefficients);

/// The first stage of `decodePayload`: a payload to the coefficients that it codes.
///
/// \param checkSum as of `decodePayload`.
/// \param decomposedMask 1 where a coefficient stands (`decomposeMask`).
/// \return `Success`, or one of the codes from `BadFlag` on.
Result decodeStream(const NR& payload, std::uint16_t checkSum, const Plane& decomposedMask,
                    StreamSetup& setup, PlaneCoefficients& coefficients);

/// Component planes of values 0 to 255 from quantised coefficients.
std::array<Plane, Components> reconstruct(const PlaneCoefficients& coefficients,
                                          const StreamSetup& setup, const Plane& decomposedMask);

/// Decodes a payload to an image. `InitData` must have been called.
///
/// \param checkSum the value behind the payload; `payloadCheckSum` in an undamaged stream of this
/// project.
Result decodePayload(const NR& payload, std::uint16_t checkSum, Image& image);

/// The check sum of our streams: CRC-16 with the polynomial 0x1021 and the start value 0xFFFF.
std::uint16_t payloadCheckSum(const NR& payload);

} // namespace photo
