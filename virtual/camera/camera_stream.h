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

/// \brief The frame buffers of one camera and the clock that fills them.
///
/// Buffers lie one after the other in the file behind the camera's node, which programs map. Not
/// thread-safe.
class CameraStream
{
public:
    using Clock = std::chrono::steady_clock;

    /// Draws what the camera looks at, in the given size; RGB32.
    using Subject = std::function<QImage(QSize)>;

    CameraStream(QString file, CameraDescription description);

    void show(Subject subject);

    void setSize(QSize size);
    QSize size() const { return m_size; }
    /// Bytes of a row of a picture; 0 when the pictures are compressed.
    int bytesPerLine() const;
    /// The largest number of bytes of a picture.
    int pictureBytes() const;
    /// The distance of two buffers in the file: whole memory pages.
    int bufferBytes() const;

    /// Makes the file large enough for \p count buffers; none is queued. False when it cannot.
    bool allocate(int count);
    int bufferCount() const { return m_bufferCount; }

    void start(Clock::time_point now);
    void stop();
    bool isRunning() const { return m_running; }
    /// While stalled, no frame arrives; those of the meantime are lost.
    void setStalled(bool stalled, Clock::time_point now);

    /// Hands an empty buffer to the camera; false when there is no such buffer or it is already
    /// there.
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
    QImage m_scene; ///< the subject in the present size, once a frame was drawn
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
