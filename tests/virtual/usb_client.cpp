// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A program that knows nothing of the virtual desk. Each line on standard input is one libusb call
// on the device 1234:5678, each line on standard output its result.

#include <libusb.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

int main()
{
    libusb_context* context = nullptr;
    if (libusb_init(&context) != 0)
        return 1;
    libusb_device_handle* handle = nullptr;
    std::string call;
    while (std::cin >> call) {
        std::vector<unsigned char> buffer(64, 0);
        int moved = 0;
        int result = 0;
        const auto start = std::chrono::steady_clock::now();
        if (call == "open") {
            handle = libusb_open_device_with_vid_pid(context, 0x1234, 0x5678);
            result = handle ? 0 : LIBUSB_ERROR_NO_DEVICE;
        } else if (call == "claim") {
            result = libusb_claim_interface(handle, 0);
        } else if (call == "detach") {
            result = libusb_detach_kernel_driver(handle, 0);
        } else if (call == "release") {
            result = libusb_release_interface(handle, 0);
        } else if (call == "close") {
            libusb_close(handle);
            handle = nullptr;
        } else if (call == "interrupt") {
            result = libusb_interrupt_transfer(handle, 0x81, buffer.data(), 16, &moved, 300);
        } else if (call == "write") {
            result = libusb_bulk_transfer(handle, 0x02, buffer.data(), 7, &moved, 1000);
        } else if (call == "read") {
            result = libusb_bulk_transfer(handle, 0x85, buffer.data(), 64, &moved, 1000);
        } else if (call == "unknown") {
            result = libusb_bulk_transfer(handle, 0x86, buffer.data(), 64, &moved, 1000);
        } else if (call == "get") {
            result = libusb_control_transfer(handle, 0xA1, 1, 0x3000, 0, buffer.data(), 32, 1000);
        } else if (call == "set") {
            buffer[0] = 2;
            result = libusb_control_transfer(handle, 0x21, 9, 0, 0, buffer.data(), 4, 1000);
        }
        const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - start);
        std::printf("%s %d %d %02X %d\n", call.c_str(), result, moved, buffer[0],
                    static_cast<int>(spent.count()));
        std::fflush(stdout);
    }
    if (handle)
        libusb_close(handle);
    libusb_exit(context);
    return 0;
}
