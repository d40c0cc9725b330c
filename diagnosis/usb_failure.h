// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

class QLoggingCategory;
struct libusb_context;

/// The category's function, as Q_DECLARE_LOGGING_CATEGORY declares it.
using UsbLog = const QLoggingCategory& (&)();

/// Passes libusb's result of a step on; one below zero is logged with its name.
/// \param step what was tried, for the line in the log
int logged(UsbLog category, const char* step, int result);

/// Logs why libusb_open_device_with_vid_pid gave no handle, which it does not say itself: the
/// device is not plugged in, or the error of another attempt to open it. Does nothing, on the wire
/// too, while the category is off. \param context null is libusb's default one
void logUnopened(UsbLog category, libusb_context* context, std::uint16_t vendor,
                 std::uint16_t product);
