// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Photo blocks of every length. The first byte chooses whether the input is a block as it stands,
// or the payload of a block whose frame is right, which is where a fuzzer on its own hardly gets.

#include "idimage/photo/libwlt.h"
#include "idimage/photo/photo_frame.h"
#include "idimage/photo/photo_mask.h"
#include "idimage/photo/photo_stream.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

// A payload's coefficients hold every decision of its stream. Drawing them takes nine times as long
// and the same way whatever they are, so that one payload in so many is enough.
constexpr unsigned payloadsForOnePicture = 16;

void unpack(std::vector<unsigned char> block)
{
    std::vector<unsigned char> bitmap(libwlt::BitmapBytes);
    int length = -1;
    const int result =
        libwlt().Unpack_Data(block.data(), static_cast<int>(block.size()), bitmap.data(), &length);
    if ((result == 1) != (length == libwlt::BitmapBytes))
        std::abort();
}

photo::NR payloadOf(const std::uint8_t* data, std::size_t size)
{
    photo::NR payload;
    payload.length =
        static_cast<std::int32_t>(std::clamp<std::size_t>(size, 1, photo::NR::MaximumLength));
    std::copy_n(data, std::min<std::size_t>(size, photo::NR::MaximumLength), payload.bytes.begin());
    return payload;
}

void decode(const photo::NR& payload)
{
    // The tables are the same every time, but for the background colour, which a decode writes.
    static const photo::Plane mask = [] {
        photo::InitData();
        return photo::decomposeMask(photo::objectMask(), photo::Levels);
    }();
    // Past the check sum too, which stops every mutation of a coded picture.
    const std::uint16_t checkSum = photo::payloadCheckSum(payload);
    if (checkSum % payloadsForOnePicture == 0) {
        photo::Image image;
        photo::decodePayload(payload, checkSum, image);
    } else {
        photo::StreamSetup setup;
        photo::PlaneCoefficients coefficients;
        photo::decodeStream(payload, checkSum, mask, setup, coefficients);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    if (data[0] % 2 == 0)
        unpack({data + 1, data + size});
    else
        decode(payloadOf(data + 1, size - 1));
    return 0;
}
