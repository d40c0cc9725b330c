// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "sign/libusb_writing_device.h"
#include "sign/session_state.h"
#include "virtual/kernel/virtual_kernel.h"

#include <memory>

/// \brief A virtual desk for product code in the test's own process.
///
/// The process-wide driver has set up libusb before `main`, when there was no desk yet: it is
/// replaced.
class ProcessOnDesk
{
public:
    ProcessOnDesk()
    {
        delete static_cast<QHandWritingDevForLibUsb*>(g_globalObj->handWritingDev);
        kernel = std::make_unique<virtual_desk::VirtualKernel>();
        g_globalObj->handWritingDev = new QHandWritingDevForLibUsb;
    }

    std::unique_ptr<virtual_desk::VirtualKernel> kernel;
};
