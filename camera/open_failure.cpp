// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "camera/open_failure.h"

#include "diagnosis/categories.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

void logUnopenedCamera(int index)
{
    if (!cameraLog().isWarningEnabled())
        return;
    const QByteArray node = "/dev/video" + QByteArray::number(index);
    const int descriptor = ::open(node.constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor == -1) {
        qCWarning(cameraLog, "open %s: %s", node.constData(), std::strerror(errno));
        return;
    }
    v4l2_requestbuffers none{};
    none.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    none.memory = V4L2_MEMORY_MMAP;
    const bool isFree = ::ioctl(descriptor, VIDIOC_REQBUFS, &none) == 0;
    qCWarning(cameraLog, "buffers of %s: %s", node.constData(),
              isFree ? "free; the capture library does not take the camera" : std::strerror(errno));
    ::close(descriptor);
}
