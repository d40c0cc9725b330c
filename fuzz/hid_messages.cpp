// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Replies of the HID reader of every kind and length, and messages to it of every length. The first
// byte is the length of the message that is sent; the rest is what the reader does.

#include "fuzz/scripted_usb.h"
#include "idcard/hid_reader.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

constexpr unsigned char untouched = 0xA5;

// One byte more than is promised to the reader, which must not be written.
void receive(HidIDCard& reader, long handle)
{
    std::vector<unsigned char> out(HidIDCard::MessageBytes + 1, untouched);
    unsigned length = 0;
    const int result = reader.GetUsbMsg(handle, out.data(), &length);
    if (result != 0 && result != HidIDCard::NothingMoved && result != HidIDCard::ErrorStatus)
        std::abort();
    if (out.back() != untouched)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    ScriptedUsb::play(data + 1, size - 1);
    HidIDCard reader;
    char port[] = "USB1";
    const long handle = reader.ICC_Reader_Open(port);
    reader.PICC_Reader_ID_Request(handle);
    reader.PICC_Reader_ID_Select(handle);
    std::vector<unsigned char> message(data[0], 0x02);
    reader.SetUsbMsg(handle, message.data(), static_cast<int>(message.size()));
    receive(reader, handle);
    receive(reader, handle);
    return 0;
}
