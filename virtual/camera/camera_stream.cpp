// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/camera/camera_stream.h"

#include <QBuffer>
#include <QPainter>

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace virtual_desk {
namespace {

constexpr int pageBytes = 4096;

// Closes its file descriptor when it is destroyed.
class File
{
public:
    explicit File(const QString& path)
        : m_descriptor(::open(path.toLocal8Bit().constData(), O_RDWR | O_CLOEXEC))
    {
    }
    ~File()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // Only enlarges the file: a program may still have it mapped.
    bool grow(off_t size) const
    {
        const off_t present = ::lseek(m_descriptor, 0, SEEK_END);
        return present >= size || (present >= 0 && ::ftruncate(m_descriptor, size) == 0);
    }

    bool write(off_t offset, const QByteArray& bytes) const
    {
        return ::pwrite(m_descriptor, bytes.constData(), static_cast<std::size_t>(bytes.size()),
                        offset) == bytes.size();
    }

private:
    int m_descriptor;
};

} // namespace

CameraStream::CameraStream(QString file, CameraDescription description)
    : m_file(std::move(file))
    , m_description(std::move(description))
    , m_subject([scene = m_description.scene](QSize size) { return drawScene(scene, size); })
{
    setSize(m_description.sizes.value(0));
}

void CameraStream::setSize(QSize size)
{
    if (size == m_size)
        return;
    m_size = size;
    forgetScene();
}

void CameraStream::show(Subject subject)
{
    m_subject = std::move(subject);
    forgetScene();
}

void CameraStream::forgetScene()
{
    m_scene = QImage();
    m_packedScene.clear();
    m_holdsScene.assign(m_holdsScene.size(), false);
}

int CameraStream::bytesPerLine() const
{
    return m_description.compressed ? 0 : m_size.width() * 2;
}

int CameraStream::pictureBytes() const
{
    return m_size.width() * m_size.height() * 2;
}

int CameraStream::bufferBytes() const
{
    return (pictureBytes() + pageBytes - 1) / pageBytes * pageBytes;
}

bool CameraStream::allocate(int count)
{
    stop();
    m_bufferCount = count;
    m_holdsScene.assign(static_cast<std::size_t>(count), false);
    return count == 0 || File(m_file).grow(off_t(count) * bufferBytes());
}

void CameraStream::start(Clock::time_point now)
{
    m_running = true;
    m_start = now;
    m_nextNumber = 0;
}

void CameraStream::stop()
{
    m_running = false;
    m_empty.clear();
    m_arrived.clear();
}

void CameraStream::setStalled(bool stalled, Clock::time_point now)
{
    advance(now);
    m_stalled = stalled;
}

bool CameraStream::queue(int buffer, Clock::time_point now)
{
    advance(now);
    const bool there =
        std::find(m_empty.begin(), m_empty.end(), buffer) != m_empty.end() ||
        std::any_of(m_arrived.begin(), m_arrived.end(),
                    [buffer](const Arrived& frame) { return frame.buffer == buffer; });
    if (buffer < 0 || buffer >= m_bufferCount || there)
        return false;
    m_empty.push_back(buffer);
    return true;
}

CameraStream::Clock::time_point CameraStream::nextFrameTime() const
{
    // The first frame is complete one interval after the start.
    const auto microseconds = qint64(m_nextNumber + 1) * 1000000 / m_description.framesPerSecond;
    return m_start + std::chrono::microseconds(microseconds);
}

void CameraStream::advance(Clock::time_point now)
{
    while (m_running && nextFrameTime() <= now) {
        if (!m_stalled && !m_empty.empty()) {
            m_arrived.push_back({m_empty.front(), m_nextNumber});
            m_empty.pop_front();
        }
        ++m_nextNumber;
    }
}

bool CameraStream::takeFrame(Clock::time_point now, bool garbage, Frame& frame)
{
    advance(now);
    if (m_arrived.empty())
        return false;
    const Arrived arrived = m_arrived.front();
    m_arrived.pop_front();
    frame.buffer = arrived.buffer;
    frame.number = arrived.number;
    frame.bytes = draw(arrived, garbage);
    return true;
}

int CameraStream::draw(const Arrived& frame, bool garbage)
{
    if (m_scene.isNull())
        m_scene = m_subject(m_size);
    const auto index = static_cast<std::size_t>(frame.buffer);
    if (garbage || m_description.compressed) {
        const QByteArray bytes =
            garbage ? pictureNoise(pictureBytes() / 8) : compressedPicture(frame.number);
        m_holdsScene[index] = false;
        write(frame.buffer, 0, bytes);
        return garbage && !m_description.compressed ? pictureBytes()
                                                    : static_cast<int>(bytes.size());
    }
    // The scene is still in the buffer from an earlier frame; only the band is new in every frame.
    if (!m_holdsScene[index]) {
        if (m_packedScene.isEmpty())
            m_packedScene = packYuyv(m_scene);
        m_holdsScene[index] = write(frame.buffer, 0, m_packedScene);
    }
    write(frame.buffer, 0, packYuyv(drawFrameBand(m_size, frame.number & 0xffff)));
    return pictureBytes();
}

bool CameraStream::write(int buffer, int offset, const QByteArray& bytes) const
{
    return File(m_file).write(off_t(buffer) * bufferBytes() + offset, bytes);
}

QByteArray CameraStream::compressedPicture(int number) const
{
    QImage picture = m_scene;
    {
        QPainter painter(&picture);
        painter.drawImage(0, 0, drawFrameBand(m_size, number & 0xffff));
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "jpg", 90);
    return bytes;
}

} // namespace virtual_desk
