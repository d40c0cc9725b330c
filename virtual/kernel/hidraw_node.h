// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/virtual_kernel.h"

#include <deque>
#include <map>

namespace virtual_desk {

/// \brief The device data that a hidraw node returns, and which of its requests fail.
struct HidrawDescription
{
    quint16 vendor = 0;
    quint16 product = 0;
    QByteArray reportDescriptor;
    bool infoFails = false;       ///< HIDIOCGRAWINFO
    bool sizeFails = false;       ///< HIDIOCGRDESCSIZE
    bool descriptorFails = false; ///< HIDIOCGRDESC
};

/// \brief A node /dev/hidrawN. Reads block until a report is queued. Any thread.
class HidrawNode
{
public:
    HidrawNode(VirtualKernel& kernel, int number, const HidrawDescription& description);
    ~HidrawNode();
    HidrawNode(const HidrawNode&) = delete;
    HidrawNode& operator=(const HidrawNode&) = delete;

    QByteArray path() const;

    /// Queues the bytes that one read returns, of any length.
    void queueReport(const QByteArray& bytes);

private:
    struct State;

    VirtualKernel& m_kernel;
    int m_number;
    std::shared_ptr<State> m_state;
};

} // namespace virtual_desk
