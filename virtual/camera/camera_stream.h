// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/camera/camera_description.h"

#include <QString>

#include <chrono>
#include <deque>
#include <functional>
#include <vector>

namespace virtual_desk {

/// \brief The frame buffers of one camera, which are filled at its frame rate.
///
/// The buffers are stored one after the other in the file behind the camera's node, which programs
/// map. Not thread-safe.
class CameraStream
{
public:
    using Clock = std::chrono::steady_clock;

    /// Draws the camera's picture in the given size; RGB32.
    using Subject = std::function<QImage(QSize)>;

    CameraStream(QString file, CameraDescription description);

    void show(Subject subject);

    void setSize(QSize size);
    QSize size() const { return m_size; }
    /// Bytes of a row of a picture; 0 when the pictures are compressed.
    int bytesPerLine() const;
    /// The largest number of bytes of a picture.
    int pictureBytes() const;
    /// The offset from one buffer to the next in the file: whole memory pages.
    int bufferBytes() const;

    /// Enlarges the file for \p count buffers; none is queued. False when that fails.
    bool allocate(int count);
    int bufferCount() const { return m_bufferCount; }

    void start(Clock::time_point now);
    void stop();
    bool isRunning() const { return m_running; }
    /// While stalled, no frame arrives; the frames of that time are lost.
    void setStalled(bool stalled, Clock::time_point now);

    /// Queues an empty buffer; false when there is no such buffer or it is queued already.
    bool queue(int buffer, Clock::time_point now);

    struct Frame
    {
        int buffer = 0;
        int number = 0;
        int bytes = 0;
    };
    /// The oldest frame that has arrived, drawn into its buffer; false when none has.
    bool takeFrame(Clock::time_point now, bool garbage, Frame& frame);
    /// When the next frame arrives.
    Clock::time_point nextFrameTime() const;

private:
    struct Arrived
    {
        int buffer;
        int number;
    };

    void forgetScene();
    void advance(Clock::time_point now);
    int draw(const Arrived& frame, bool garbage);
    bool write(int buffer, int offset, const QByteArray& bytes) const;
    QByteArray compressedPicture(int number) const;

    QString m_file;
    CameraDescription m_description;
    QSize m_size;
    Subject m_subject;
    QImage m_scene; ///< in the current size; null before the first frame
    QByteArray m_packedScene;
    int m_bufferCount = 0;
    std::vector<bool> m_holdsScene;
    std::deque<int> m_empty;
    std::deque<Arrived> m_arrived;
    bool m_running = false;
    bool m_stalled = false;
    Clock::time_point m_start;
    int m_nextNumber = 0;
};

} // namespace virtual_desk
