// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/libwlt.h"

#include "idimage/photo/photo_frame.h"

int libwlt::Unpack_Data(unsigned char* src, int srcLen, unsigned char* dst, int* dstLen)
{
    if (!src || !dst || !dstLen)
        return photo::HeaderMismatch;
    photo::FramedPayload framed;
    photo::Result result = photo::takePayload(src, srcLen, framed);
    if (result != photo::Success)
        return result;
    photo::InitData();
    photo::Image image;
    result = photo::decodePayload(framed.payload, framed.checkSum, image);
    if (result == photo::Success) {
        photo::writeBitmap(image, dst);
        *dstLen = BitmapBytes;
    }
    return result;
}
