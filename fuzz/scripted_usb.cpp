// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "fuzz/scripted_usb.h"

#include <libusb.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <thread>

namespace {

constexpr std::uint8_t wholeRead = 255;
constexpr std::uint8_t failed = 254;

// The pen reader's thread asks too.
std::mutex guard;
const std::uint8_t* position = nullptr;
const std::uint8_t* end = nullptr;

// Nothing looks behind these pointers.
libusb_device_handle* const anyHandle = reinterpret_cast<libusb_device_handle*>(0x1000);
libusb_context* const anyContext = reinterpret_cast<libusb_context*>(0x2000);

int readInto(unsigned char* data, int length)
{
    const int most = ScriptedUsb::next();
    if (most == failed)
        return LIBUSB_ERROR_PIPE;
    const int asked = most == wholeRead ? length : std::min(most, length);
    return static_cast<int>(ScriptedUsb::take(data, static_cast<std::size_t>(asked)));
}

int successOr(int error)
{
    return ScriptedUsb::next() == 0 ? error : LIBUSB_SUCCESS;
}

} // namespace

namespace ScriptedUsb {

void play(const std::uint8_t* script, std::size_t size)
{
    const std::lock_guard lock(guard);
    position = script;
    end = script + size;
}

std::uint8_t next()
{
    const std::lock_guard lock(guard);
    return position == end ? std::uint8_t{0} : *position++;
}

std::size_t take(std::uint8_t* target, std::size_t count)
{
    const std::lock_guard lock(guard);
    const std::size_t taken = std::min(count, static_cast<std::size_t>(end - position));
    std::copy_n(position, taken, target);
    position += taken;
    return taken;
}

} // namespace ScriptedUsb

// The functions of libusb that the service calls. Their parameters' names are libusb's.
extern "C" {

int LIBUSB_CALL libusb_init(libusb_context** context)
{
    if (context)
        *context = anyContext;
    return LIBUSB_SUCCESS;
}

void LIBUSB_CALL libusb_exit(libusb_context* /*context*/) {}

int LIBUSB_CALL libusb_set_option(libusb_context* /*context*/, libusb_option /*option*/, ...)
{
    return LIBUSB_SUCCESS;
}

ssize_t LIBUSB_CALL libusb_get_device_list(libusb_context* /*context*/, libusb_device*** list)
{
    *list = nullptr;
    return 0;
}

void LIBUSB_CALL libusb_free_device_list(libusb_device** /*list*/, int /*unreference*/) {}

libusb_device_handle* LIBUSB_CALL libusb_open_device_with_vid_pid(libusb_context* /*context*/,
                                                                  uint16_t /*vendor*/,
                                                                  uint16_t /*product*/)
{
    return ScriptedUsb::next() == 0 ? nullptr : anyHandle;
}

void LIBUSB_CALL libusb_close(libusb_device_handle* /*handle*/) {}

int LIBUSB_CALL libusb_kernel_driver_active(libusb_device_handle* /*handle*/, int /*number*/)
{
    return ScriptedUsb::next() == 0 ? 0 : 1;
}

int LIBUSB_CALL libusb_detach_kernel_driver(libusb_device_handle* /*handle*/, int /*number*/)
{
    return successOr(LIBUSB_ERROR_NOT_FOUND);
}

int LIBUSB_CALL libusb_attach_kernel_driver(libusb_device_handle* /*handle*/, int /*number*/)
{
    return LIBUSB_SUCCESS;
}

int LIBUSB_CALL libusb_claim_interface(libusb_device_handle* /*handle*/, int /*number*/)
{
    return successOr(LIBUSB_ERROR_BUSY);
}

int LIBUSB_CALL libusb_release_interface(libusb_device_handle* /*handle*/, int /*number*/)
{
    return LIBUSB_SUCCESS;
}

int LIBUSB_CALL libusb_control_transfer(libusb_device_handle* /*handle*/, uint8_t requestType,
                                        uint8_t /*request*/, uint16_t /*value*/, uint16_t /*index*/,
                                        unsigned char* data, uint16_t length, unsigned /*timeout*/)
{
    if ((requestType & LIBUSB_ENDPOINT_IN) != 0)
        return readInto(data, length);
    const std::uint8_t answer = ScriptedUsb::next();
    if (answer == failed)
        return LIBUSB_ERROR_PIPE;
    return answer == 0 ? 0 : length;
}

int LIBUSB_CALL libusb_bulk_transfer(libusb_device_handle* /*handle*/, unsigned char endpoint,
                                     unsigned char* data, int length, int* transferred,
                                     unsigned /*timeout*/)
{
    if ((endpoint & LIBUSB_ENDPOINT_IN) == 0)
        return successOr(LIBUSB_ERROR_TIMEOUT);
    const int moved = readInto(data, length);
    *transferred = std::max(moved, 0);
    return moved > 0 ? LIBUSB_SUCCESS : LIBUSB_ERROR_TIMEOUT;
}

int LIBUSB_CALL libusb_interrupt_transfer(libusb_device_handle* /*handle*/,
                                          unsigned char /*endpoint*/, unsigned char* data,
                                          int length, int* transferred, unsigned /*timeout*/)
{
    static std::uint8_t sample = 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    for (int i = 0; i < length; ++i)
        data[i] = sample = static_cast<std::uint8_t>(sample * 5 + 1);
    *transferred = length;
    return LIBUSB_SUCCESS;
}

} // extern "C"
