// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT
//
// Photo blocks of every length. The first byte chooses whether the input is a block as it stands,
// or the payload of a block whose frame is right, which is where a fuzzer on its own hardly gets.

#include "idimage/photo/libwlt.h"
#include "idimage/photo/photo_frame.h"
#include "idimage/photo/photo_stream.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

void unpack(std::vector<unsigned char> block)
{
    std::vector<unsigned char> bitmap(libwlt::BitmapBytes);
    int length = -1;
    const int result =
        libwlt().Unpack_Data(block.data(), static_cast<int>(block.size()), bitmap.data(), &length);
    if ((result == 1) != (length == libwlt::BitmapBytes))
        std::abort();
}

// Past the check sum too, which stops every mutation of a coded picture.
void decode(const std::uint8_t* data, std::size_t size)
{
    photo::InitData();
    photo::NR payload;
    payload.length =
        static_cast<std::int32_t>(std::clamp<std::size_t>(size, 1, photo::NR::MaximumLength));
    std::copy_n(data, std::min<std::size_t>(size, photo::NR::MaximumLength), payload.bytes.begin());
    photo::Image image;
    photo::decodePayload(payload, photo::payloadCheckSum(payload), image);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    if (data[0] % 2 == 0)
        unpack({data + 1, data + size});
    else
        decode(data + 1, size - 1);
    return 0;
}
