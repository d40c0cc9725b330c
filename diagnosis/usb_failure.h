// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

class QLoggingCategory;
struct libusb_context;

/// The category's function, as Q_DECLARE_LOGGING_CATEGORY declares it.
using UsbLog = const QLoggingCategory& (&)();

/// Logs a negative result of libusb with its name.
/// \param step the operation, for the line in the log
/// \return \p result
int logged(UsbLog category, const char* step, int result);

/// Logs why libusb_open_device_with_vid_pid returned no handle, for which it gives no reason: the
/// device is not plugged in, or the error of another attempt to open it. Does nothing and makes no
/// transfers while the category is off.
/// \param context null for libusb's default context
void logUnopened(UsbLog category, libusb_context* context, std::uint16_t vendor,
                 std::uint16_t product);
