// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/photo_stream.h"

#include "idimage/photo/photo_mask.h"
#include "idimage/photo/photo_transform.h"

#include <algorithm>

namespace photo {

namespace {

constexpr int LowestSample = 0;
constexpr int HighestSample = 255;

// Known coefficients are in 256ths of a step while the unknown rest is added.
constexpr int FractionBits = 8;

std::int32_t dequantised(std::int32_t magnitude, int unknownBits, std::uint32_t step)
{
    if (magnitude == 0)
        return 0;
    const std::int64_t known = static_cast<std::int64_t>(magnitude) << FractionBits;
    const std::int64_t rest = static_cast<std::int64_t>(FixNum[3]) << unknownBits;
    return static_cast<std::int32_t>((known + rest) * step >> (StepBits + FractionBits));
}

Plane dequantisedPlane(const Coefficients& coefficients, size_t component, int fineScale)
{
    std::array<std::uint32_t, Bands> steps{};
    for (size_t band = 0; band < Bands; ++band)
        steps[band] = quantisationStep(component, band, fineScale);
    Plane plane(PlaneSize);
    for (size_t i = 0; i < PlaneSize; ++i) {
        const std::int32_t value =
            dequantised(coefficients.magnitude[i], coefficients.unknownBits[i], steps[r[i]]);
        plane[i] = coefficients.negative[i] != 0 ? -value : value;
    }
    return plane;
}

} // namespace

Result decodeHeaderFields(ArithmeticDecoder& decoder, State& model)
{
    if (decoder.value(model, 1) != 0)
        return BadFlag;
    for (size_t channel = 0; channel < BytesPerPixel; ++channel)
        FixNum[channel] = static_cast<std::uint8_t>(decoder.value(model, 8));
    return decoder.value(model, 8) == FormatValue ? Success : BadFormat;
}

Result decodeSetup(ArithmeticDecoder& decoder, State& model, StreamSetup& setup)
{
    if (decoder.value(model, StreamSetup::MarkBits) != StreamSetup::Mark)
        return UnknownStream;
    setup.fineScale = static_cast<int>(decoder.value(model, StreamSetup::FineScaleBits));
    for (int& mean : setup.mean)
        mean = static_cast<int>(decoder.value(model, StreamSetup::MeanBits));
    for (int& bitPlanes : setup.bitPlanes)
        bitPlanes = static_cast<int>(decoder.value(model, StreamSetup::BitPlanesBits));
    const bool inRange = *std::max_element(setup.bitPlanes.begin(), setup.bitPlanes.end()) <=
                         StreamSetup::MaximumBitPlanes;
    return inRange ? Success : BadSetup;
}

std::array<Plane, Components> reconstruct(const PlaneCoefficients& coefficients,
                                          const StreamSetup& setup, const Plane& decomposedMask)
{
    std::array<Plane, Components> planes;
    for (size_t c = 0; c < Components; ++c) {
        planes[c] = dequantisedPlane(coefficients[c], c, setup.fineScale);
        inverseTransform(planes[c], decomposedMask, Levels);
        for (std::int32_t& sample : planes[c])
            sample = std::clamp(sample + setup.mean[c], LowestSample, HighestSample);
    }
    return planes;
}

Result decodeStream(const NR& payload, std::uint16_t checkSum, const Plane& decomposedMask,
                    StreamSetup& setup, PlaneCoefficients& coefficients)
{
    ArithmeticDecoder decoder(payload);
    State headerModel;
    InitState(headerModel, 2);
    Result result = decodeHeaderFields(decoder, headerModel);
    if (result != Success)
        return result;
    result = decodeSetup(decoder, headerModel, setup);
    if (result != Success)
        return result;
    if (checkSum != payloadCheckSum(payload))
        return InconsistentStream;
    coefficients = decodeCoefficients(decoder, decomposedMask, setup);
    return decoder.hasSurplus() ? InconsistentStream : Success;
}

Result decodePayload(const NR& payload, std::uint16_t checkSum, Image& image)
{
    const Plane coded = decomposeMask(objectMask(), Levels);
    StreamSetup setup;
    PlaneCoefficients coefficients;
    const Result result = decodeStream(payload, checkSum, coded, setup, coefficients);
    if (result != Success)
        return result;
    image = convertColours(reconstruct(coefficients, setup, coded));
    fillBackground(image);
    smoothEdges(image);
    return Success;
}

std::uint16_t payloadCheckSum(const NR& payload)
{
    constexpr unsigned polynomial = 0x1021;
    constexpr unsigned topBit = 0x8000;
    unsigned sum = 0xFFFF;
    for (size_t i = 0; i < static_cast<size_t>(payload.length); ++i) {
        sum ^= static_cast<unsigned>(payload.bytes[i]) << 8;
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum & topBit) != 0 ? sum << 1 ^ polynomial : sum << 1;
        sum &= 0xFFFF;
    }
    return static_cast<std::uint16_t>(sum);
}

} // namespace photo
