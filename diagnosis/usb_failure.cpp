// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "diagnosis/usb_failure.h"

#include <QLoggingCategory>

#include <libusb.h>

namespace {

bool isModel(libusb_device* device, std::uint16_t vendor, std::uint16_t product)
{
    libusb_device_descriptor descriptor{};
    return libusb_get_device_descriptor(device, &descriptor) == LIBUSB_SUCCESS &&
           descriptor.idVendor == vendor && descriptor.idProduct == product;
}

// \return LIBUSB_ERROR_NOT_FOUND when there is no such device
int tryToOpen(libusb_context* context, std::uint16_t vendor, std::uint16_t product)
{
    libusb_device** devices = nullptr;
    const auto count = libusb_get_device_list(context, &devices);
    int result = LIBUSB_ERROR_NOT_FOUND;
    for (std::ptrdiff_t i = 0; i < count && result == LIBUSB_ERROR_NOT_FOUND; ++i) {
        libusb_device_handle* handle = nullptr;
        if (!isModel(devices[i], vendor, product))
            continue;
        result = libusb_open(devices[i], &handle);
        if (handle)
            libusb_close(handle);
    }
    if (count >= 0)
        libusb_free_device_list(devices, 1);
    return result;
}

} // namespace

int logged(UsbLog category, const char* step, int result)
{
    if (result < 0)
        qCWarning(category, "%s: %s", step, libusb_error_name(result));
    return result;
}

void logUnopened(UsbLog category, libusb_context* context, std::uint16_t vendor,
                 std::uint16_t product)
{
    if (!category().isWarningEnabled())
        return;
    const int result = tryToOpen(context, vendor, product);
    if (result == LIBUSB_ERROR_NOT_FOUND)
        qCWarning(category, "open %04x:%04x: not plugged in", unsigned{vendor}, unsigned{product});
    else
        qCWarning(category, "open %04x:%04x: %s", unsigned{vendor}, unsigned{product},
                  libusb_error_name(result));
}
