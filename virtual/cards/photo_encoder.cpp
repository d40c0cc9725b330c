// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The fine scale of the quantisation steps decides at which place in a bit plane the bytes are used
// up, so all sixteen scales are tried and the best picture is kept.

#include "virtual/cards/photo_encoder.h"

#include "idimage/photo/libwlt.h"
#include "idimage/photo/photo_frame.h"
#include "idimage/photo/photo_mask.h"
#include "virtual/cards/photo_coefficient_encoder.h"
#include "virtual/cards/photo_forward_transform.h"
#include "virtual/cards/qm_encoder.h"

#include <QColor>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>

namespace virtual_desk {

using photo::at;
using photo::Components;
using photo::PhotoHeight;
using photo::PhotoWidth;

namespace {

// A background colour that is possible with the first payload byte 0x6F; no pixel has it, because
// the mask covers the whole picture.
constexpr std::array<std::uint32_t, photo::BytesPerPixel> Background = {1, 255, 255};

// Weight of the colour differences' errors against luma's.
constexpr double ColourWeight = 0.25;

using Samples = std::array<photo::Plane, Components>;

struct Encoded
{
    photo::NR payload;
    double error = std::numeric_limits<double>::max();
};

Samples toSamples(const QImage& picture)
{
    Samples samples;
    for (photo::Plane& plane : samples)
        plane.assign(photo::PlaneSize, 0);
    for (int row = 0; row < PhotoHeight; ++row) {
        for (int column = 0; column < PhotoWidth; ++column) {
            const QRgb rgb = picture.pixel(column, row);
            const double r = qRed(rgb);
            const double g = qGreen(rgb);
            const double b = qBlue(rgb);
            const double luma = 0.299 * r + 0.587 * g + 0.114 * b;
            samples[0][at(row, column)] = qRound(luma);
            samples[1][at(row, column)] = qRound(128 + (b - luma) / 1.772);
            samples[2][at(row, column)] = qRound(128 + (r - luma) / 1.402);
        }
    }
    return samples;
}

int meanOf(const photo::Plane& samples)
{
    const long sum = std::accumulate(samples.begin(), samples.end(), 0L);
    return static_cast<int>(std::lround(static_cast<double>(sum) / (PhotoWidth * PhotoHeight)));
}

Samples transformed(const Samples& samples, const std::array<int, Components>& mean)
{
    const photo::Plane mask = photo::objectMask();
    Samples coefficients = samples;
    for (size_t c = 0; c < Components; ++c) {
        for (size_t i = 0; i < photo::PlaneSize; ++i)
            coefficients[c][i] -= mask[i] == 1 ? mean[c] : 0;
        forwardTransform(coefficients[c], mask, photo::Levels);
    }
    return coefficients;
}

photo::PlaneCoefficients quantised(const Samples& coefficients, photo::StreamSetup& setup)
{
    photo::PlaneCoefficients result;
    for (size_t c = 0; c < Components; ++c) {
        int largest = 0;
        for (size_t i = 0; i < photo::PlaneSize; ++i) {
            const auto step =
                static_cast<int>(photo::quantisationStep(c, photo::r[i], setup.fineScale));
            const int value = coefficients[c][i];
            result[c].magnitude[i] = (std::abs(value) << photo::StepBits) / step;
            result[c].negative[i] = static_cast<std::uint8_t>(value < 0);
            largest = std::max(largest, result[c].magnitude[i]);
        }
        setup.bitPlanes[c] = largest == 0 ? 0 : std::ilogb(largest) + 1;
    }
    return result;
}

void codeSetup(QmEncoder& encoder, const photo::StreamSetup& setup)
{
    photo::State model;
    photo::InitState(model, 2);
    encoder.codeValue(model, 0, 1);
    for (const std::uint32_t channel : Background)
        encoder.codeValue(model, channel, 8);
    encoder.codeValue(model, photo::FormatValue, 8);
    encoder.codeValue(model, photo::StreamSetup::Mark, photo::StreamSetup::MarkBits);
    const auto code = [&](int value, int bits) {
        encoder.codeValue(model, static_cast<std::uint32_t>(value), bits);
    };
    code(setup.fineScale, photo::StreamSetup::FineScaleBits);
    for (const int mean : setup.mean)
        code(mean, photo::StreamSetup::MeanBits);
    for (const int bitPlanes : setup.bitPlanes)
        code(bitPlanes, photo::StreamSetup::BitPlanesBits);
}

// The payload: the bytes with a zero stuffed behind every 0xFF, and one last byte that decoders do
// not read. Empty when it would be longer than `room`.
std::optional<photo::NR> stuffed(std::vector<std::uint8_t> bytes, int fetchable, int room)
{
    bytes.resize(static_cast<size_t>(fetchable) - 1);
    photo::NR payload;
    size_t length = 0;
    for (const std::uint8_t byte : bytes) {
        if (length + 3 > static_cast<size_t>(room))
            return std::nullopt;
        payload.bytes[length++] = byte;
        length += byte == 0xFF ? 1 : 0;
    }
    payload.length = static_cast<std::int32_t>(length + 1);
    return payload;
}

double errorOf(const Samples& samples, const Samples& decoded)
{
    double error = 0;
    for (size_t c = 0; c < Components; ++c) {
        double sum = 0;
        for (int row = 0; row < PhotoHeight; ++row) {
            for (int column = 0; column < PhotoWidth; ++column) {
                const int difference = samples[c][at(row, column)] - decoded[c][at(row, column)];
                sum += difference * difference;
            }
        }
        error += c == 0 ? sum : ColourWeight * sum;
    }
    return error;
}

Encoded encodeAtScale(const Samples& samples, const Samples& coefficients, photo::StreamSetup setup,
                      int payloadBytes)
{
    const photo::Plane coded = photo::decomposeMask(photo::objectMask(), photo::Levels);
    const photo::PlaneCoefficients exact = quantised(coefficients, setup);
    for (int fetchable = payloadBytes;; --fetchable) {
        QmEncoder encoder;
        codeSetup(encoder, setup);
        const photo::PlaneCoefficients known =
            encodeCoefficients(encoder, exact, coded, setup, fetchable);
        const int needed = std::min(fetchable, encoder.bytesFetched() + 1);
        const auto payload = stuffed(encoder.finish(), needed, payloadBytes);
        if (payload)
            return {*payload, errorOf(samples, photo::reconstruct(known, setup, coded))};
    }
}

QByteArray framed(const photo::NR& payload)
{
    QByteArray block(photo::BlockBytes, '\0');
    const auto put = [&block](int position, unsigned value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            block[position + i] = static_cast<char>(value >> (8 * i) & 0xFF);
    };
    put(photo::LengthAt, static_cast<unsigned>(payload.length), 4);
    std::copy_n(payload.bytes.begin(), payload.length, block.begin() + photo::PayloadAt);
    put(photo::PayloadAt + payload.length, photo::payloadCheckSum(payload), photo::CheckSumBytes);
    for (int i = photo::ScrambledFrom; i < photo::BlockBytes; ++i)
        block[i] = static_cast<char>(block.at(i) ^ photo::ScrambleMask);
    block[0] = 'W';
    block[1] = 'L';
    put(2, PhotoWidth, 2);
    put(4, PhotoHeight, 2);
    put(6, photo::HeaderMark, 1);
    return block;
}

} // namespace

QByteArray encodePhoto(const QImage& picture, int payloadBytes)
{
    photo::InitData();
    const QImage scaled =
        picture.scaled(PhotoWidth, PhotoHeight, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
            .convertToFormat(QImage::Format_RGB32);
    const Samples samples = toSamples(scaled);
    photo::StreamSetup setup;
    std::transform(samples.begin(), samples.end(), setup.mean.begin(), meanOf);
    const Samples coefficients = transformed(samples, setup.mean);

    Encoded best;
    for (int scale = 0; scale < photo::FineScales; ++scale) {
        setup.fineScale = scale;
        Encoded encoded = encodeAtScale(samples, coefficients, setup, payloadBytes);
        if (encoded.error < best.error)
            best = encoded;
    }
    return framed(best.payload);
}

QImage decodePhoto(const QByteArray& block)
{
    QByteArray source = block;
    QByteArray bitmap(libwlt::BitmapBytes, '\0');
    int length = 0;
    const int result = libwlt().Unpack_Data(
        reinterpret_cast<unsigned char*>(source.data()), static_cast<int>(source.size()),
        reinterpret_cast<unsigned char*>(bitmap.data()), &length);
    return result == photo::Success ? QImage::fromData(bitmap, "BMP") : QImage();
}

double lumaPsnr(const QImage& picture, const QImage& original)
{
    const auto luma = [](QRgb rgb) {
        return 0.299 * qRed(rgb) + 0.587 * qGreen(rgb) + 0.114 * qBlue(rgb);
    };
    double sum = 0;
    for (int row = 0; row < original.height(); ++row) {
        for (int column = 0; column < original.width(); ++column) {
            const double difference =
                luma(picture.pixel(column, row)) - luma(original.pixel(column, row));
            sum += difference * difference;
        }
    }
    const double mean = sum / (original.width() * original.height());
    return 10 * std::log10(255 * 255 / mean);
}

} // namespace virtual_desk
