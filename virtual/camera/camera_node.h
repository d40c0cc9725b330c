// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/camera/camera_description.h"
#include "virtual/camera/camera_stream.h"
#include "virtual/kernel/virtual_kernel.h"

#include <functional>
#include <linux/videodev2.h>
#include <memory>
#include <mutex>
#include <vector>

namespace virtual_desk {

/// \brief The faults that are set, and how long the emulated driver waits for a frame.
struct CameraFaults
{
    bool busy = false;
    bool stalled = false;
    bool garbage = false;
    int dequeueTimeout = 1000; // ms
};

/// \brief The emulated /dev/videoN: answers its ioctls (Video4Linux 2, capture, memory-mapped
/// streaming) and adds the camera to udev.
class CameraNode : public std::enable_shared_from_this<CameraNode>
{
public:
    CameraNode(VirtualKernel& kernel, CameraDescription description);

    /// Starts to answer requests. To be called once, before plugIn().
    void attach();
    void plugIn();
    void unplug();
    void change(const std::function<void(CameraFaults&)>& edit);
    void show(CameraStream::Subject subject);

    struct Report
    {
        bool streaming = false;
        QSize size;
        int framesSent = 0;
        int streamsStarted = 0;
        int timesOpened = 0;
    };
    Report report() const;

private:
    using Clock = CameraStream::Clock;
    static constexpr int BusyAttempts = 3;

    /// The result of a request: 0 or an errno.
    using Answer = int;

    QByteArray sysPath() const;
    QByteArray devicesText() const;
    bool handle(const IoctlClient& client);
    bool isCutOff(const IoctlClient& client);
    bool isOwnedByAnother(const IoctlClient& client);
    void forget(const IoctlClient& client);

    template <typename Argument>
    bool answer(const IoctlClient& client,
                Answer (CameraNode::*request)(const IoctlClient&, Argument&),
                int attempts = BusyAttempts);

    Answer queryCapabilities(const IoctlClient& client, v4l2_capability& argument);
    Answer describeFormat(const IoctlClient& client, v4l2_fmtdesc& argument);
    Answer describeSize(const IoctlClient& client, v4l2_frmsizeenum& argument);
    Answer getFormat(const IoctlClient& client, v4l2_format& argument);
    Answer setFormat(const IoctlClient& client, v4l2_format& argument);
    Answer getRate(const IoctlClient& client, v4l2_streamparm& argument);
    Answer requestBuffers(const IoctlClient& client, v4l2_requestbuffers& argument);
    Answer queryBuffer(const IoctlClient& client, v4l2_buffer& argument);
    Answer queueBuffer(const IoctlClient& client, v4l2_buffer& argument);
    Answer startStream(const IoctlClient& client, int& argument);
    Answer stopStream(const IoctlClient& client, int& argument);
    void dequeueBuffer(const IoctlClient& client, Clock::time_point asked);

    VirtualKernel& m_kernel;
    const CameraDescription m_description;
    mutable std::mutex m_mutex;
    CameraStream m_stream;
    CameraFaults m_faults;
    bool m_plugged = false;
    std::vector<IoctlClient> m_clients; // have the node open since it was plugged in
    std::vector<IoctlClient> m_cutOff;  // had it open when it was unplugged
    IoctlClient m_owner;                // has the buffers
    int m_framesSent = 0;
    int m_streamsStarted = 0;
    int m_timesOpened = 0;
};

} // namespace virtual_desk
