// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/usb_device.h"

#include <optional>

namespace virtual_desk {

/// The answer to a control transfer that every device answers from its description, which a kernel
/// sends when it finds the device: standard requests (USB 2.0, 9.4), and those that the HID driver
/// makes of an interface before it knows its reports (HID 1.11, 7). std::nullopt for all others.
std::optional<UsbAnswer> standardAnswer(const UsbDescription& description,
                                        const UsbRequest& request);

} // namespace virtual_desk
