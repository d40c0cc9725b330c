// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo_stream.h"

#include "idimage/photo_mask.h"
#include "idimage/photo_transform.h"

#include <algorithm>

namespace photo {

namespace {

constexpr int LowestSample = 0;
constexpr int HighestSample = 255;

// Known coefficients are in 256ths of a step while the unknown rest is added.
constexpr int FractionBits = 8;

struct DecodingCoder
{
    ArithmeticDecoder& decoder;

    bool exhausted() const { return decoder.exhausted(); }
    int decision(State& model, int context, int /*truth*/)
    {
        return decoder.decision(model, context);
    }
};

// What each value of the check sum's upper byte does to it.
constexpr std::array<std::uint16_t, 256> findCheckSums()
{
    constexpr unsigned Polynomial = 0x1021;
    constexpr unsigned TopBit = 0x8000;
    std::array<std::uint16_t, 256> sums{};
    for (unsigned byte = 0; byte < sums.size(); ++byte) {
        unsigned sum = byte << 8;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum & TopBit) != 0 ? sum << 1 ^ Polynomial : sum << 1;
        }
        sums[byte] = static_cast<std::uint16_t>(sum & 0xFFFF);
    }
    return sums;
}
constexpr auto CheckSums = findCheckSums();

// The set-up values as the format holds them: its size in bytes, then one word for each value.
constexpr size_t SetupTableWords = 520;
constexpr std::uint32_t SetupTableSize = 2000;
enum SetupWord : size_t {
    SizeWord,
    MarkWord,
    FineScaleWord,
    MeanWord,
    BitPlanesWord = MeanWord + Components
};

std::int32_t dequantised(std::int32_t magnitude, int unknownBits, std::uint32_t step)
{
    const std::int64_t known = static_cast<std::int64_t>(magnitude) << FractionBits;
    const std::int64_t rest = static_cast<std::int64_t>(FixNum[3]) << unknownBits;
    return static_cast<std::int32_t>((known + rest) * step >> (StepBits + FractionBits));
}

Plane dequantisedPlane(const Coefficients& coefficients, size_t c, int fineScale)
{
    std::array<std::uint32_t, Bands> steps{};
    for (int band = 0; band < Bands; ++band) {
        steps[static_cast<size_t>(band)] = quantisationStep(static_cast<int>(c), band, fineScale);
    }
    Plane plane(PlaneSize);
    for (const size_t i : coefficients.significant[c]) {
        const std::int32_t value =
            dequantised(coefficients.magnitude[c][i], coefficients.unknownBits[c][i], steps[r[i]]);
        plane[i] = coefficients.negative[c][i] != 0 ? -value : value;
    }
    return plane;
}

} // namespace

Result decodeHeaderFields(ArithmeticDecoder& decoder, State& model)
{
    if (decoder.value(model, 1) != 0) {
        return BadFlag;
    }
    for (size_t channel = 0; channel < BytesPerPixel; ++channel) {
        FixNum[channel] = static_cast<std::uint8_t>(decoder.value(model, 8));
    }
    return decoder.value(model, 8) == FormatValue ? Success : BadFormat;
}

Result decodeSetup(ArithmeticDecoder& decoder, State& model, StreamSetup& setup)
{
    std::array<std::uint32_t, SetupTableWords> table{};
    table[SizeWord] = SetupTableSize;
    table[MarkWord] = decoder.value(model, StreamSetup::MarkBits);
    if (table[MarkWord] != StreamSetup::Mark) {
        return UnknownStream;
    }
    table[FineScaleWord] = decoder.value(model, StreamSetup::FineScaleBits);
    for (size_t c = 0; c < Components; ++c) {
        table[MeanWord + c] = decoder.value(model, StreamSetup::MeanBits);
    }
    for (size_t c = 0; c < Components; ++c) {
        table[BitPlanesWord + c] = decoder.value(model, StreamSetup::BitPlanesBits);
    }

    setup.fineScale = static_cast<int>(table[FineScaleWord]);
    for (size_t c = 0; c < Components; ++c) {
        setup.mean[c] = static_cast<int>(table[MeanWord + c]);
        setup.bitPlanes[c] = static_cast<int>(table[BitPlanesWord + c]);
    }
    const bool inRange = *std::max_element(setup.bitPlanes.begin(), setup.bitPlanes.end()) <=
                         StreamSetup::MaximumBitPlanes;
    return inRange ? Success : BadSetup;
}

std::array<Plane, Components> reconstruct(const Coefficients& coefficients,
                                          const StreamSetup& setup, const Plane& decomposedMask)
{
    std::array<Plane, Components> planes;
    for (size_t c = 0; c < Components; ++c) {
        planes[c] = dequantisedPlane(coefficients, c, setup.fineScale);
    }
    inverseTransform(planes, decomposedMask, Levels);
    for (size_t c = 0; c < Components; ++c) {
        for (std::int32_t& sample : planes[c]) {
            sample = std::clamp(sample + setup.mean[c], LowestSample, HighestSample);
        }
    }
    return planes;
}

Result decodePayload(const NR& payload, std::uint16_t checkSum, Image& image)
{
    ArithmeticDecoder decoder(payload);
    State headerModel;
    InitState(headerModel, 2);
    Result result = decodeHeaderFields(decoder, headerModel);
    if (result != Success) {
        return result;
    }
    StreamSetup setup;
    result = decodeSetup(decoder, headerModel, setup);
    if (result != Success) {
        return result;
    }
    if (checkSum != payloadCheckSum(payload)) {
        return InconsistentStream;
    }

    const Plane coded = decomposeMask(objectMask(), Levels);
    Coefficients coefficients;
    DecodingCoder coder{decoder};
    CoefficientWalk<DecodingCoder>(coder, coded, setup, coefficients, nullptr).run();
    if (decoder.hasSurplus()) {
        return InconsistentStream;
    }

    image = convertColours(reconstruct(coefficients, setup, coded));
    fillBackground(image);
    smoothEdges(image);
    return Success;
}

std::uint16_t payloadCheckSum(const NR& payload)
{
    unsigned sum = 0xFFFF;
    for (size_t i = 0; i < static_cast<size_t>(payload.length); ++i) {
        const unsigned high = sum >> 8 ^ payload.bytes[i];
        sum = (sum << 8 & 0xFFFF) ^ CheckSums[high];
    }
    return static_cast<std::uint16_t>(sum);
}

} // namespace photo
