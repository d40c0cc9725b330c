// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/usb_device.h"

#include <map>
#include <optional>

namespace virtual_desk {

/// \brief Answers that replace a device's own for chosen transfers.
///
/// Not synchronised: the device that owns a script guards it.
class TransferScript
{
public:
    /// The transfer with this number, counted from 0 since the last `restart`, gets \p answer
    /// instead of the device's own; the device does not see it.
    void replace(int transfer, const UsbAnswer& answer)
    {
        m_replaced.insert_or_assign(transfer, answer);
    }

    /// Every transfer from this number on gets \p answer.
    void replaceFrom(int transfer, const UsbAnswer& answer)
    {
        m_from = transfer;
        m_answer = answer;
    }

    /// To be called once for each transfer.
    /// \return the replacing answer, if there is one.
    std::optional<UsbAnswer> next()
    {
        const int transfer = m_count++;
        const auto replaced = m_replaced.find(transfer);
        if (replaced != m_replaced.end())
            return replaced->second;
        return transfer >= m_from ? m_answer : std::nullopt;
    }

private:
    int m_count = 0;
    int m_from = 0;
    std::optional<UsbAnswer> m_answer;
    std::map<int, UsbAnswer> m_replaced;
};

} // namespace virtual_desk
