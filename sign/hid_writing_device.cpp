// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/hid_writing_device.h"

#include "sign/saturated_cast.h"

int convertPhysicalTologicalValue(int value, int physicalRange, int logicalRange)
{
    const double scale = static_cast<double>(logicalRange) / static_cast<double>(physicalRange);
    return saturatedInt(scale * static_cast<double>(value));
}
