// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "bench/frame_client.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr char upgrade[] = "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\n"
                           "Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";

void appendBigEndian(std::string& to, std::uint64_t value, int bytes)
{
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8)
        to.push_back(static_cast<char>(value >> shift));
}

} // namespace

FrameClient::FrameClient(std::uint16_t port)
    : m_descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    ::setsockopt(m_descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (::connect(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        !handshake()) {
        ::close(m_descriptor);
        m_descriptor = -1;
    }
}

FrameClient::~FrameClient()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool FrameClient::handshake()
{
    if (::send(m_descriptor, upgrade, sizeof upgrade - 1, MSG_NOSIGNAL) < 0)
        return false;
    std::string answer;
    char byte = 0;
    while (answer.size() < 4 || answer.compare(answer.size() - 4, 4, "\r\n\r\n") != 0) {
        if (!readExactly(&byte, 1))
            return false;
        answer.push_back(byte);
    }
    return answer.find(" 101 ") != std::string::npos;
}

bool FrameClient::readExactly(char* to, std::size_t count)
{
    while (count > 0) {
        const ssize_t got = ::recv(m_descriptor, to, count, 0);
        if (got <= 0)
            return false;
        to += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

bool FrameClient::readFrame(bool& last, std::size_t& size)
{
    unsigned char head[10] = {};
    if (!readExactly(reinterpret_cast<char*>(head), 2))
        return false;
    last = (head[0] & 0x80U) != 0;
    size = head[1] & 0x7FU;
    const std::size_t extra = size == 126 ? 2 : size == 127 ? 8 : 0;
    if (extra > 0) {
        if (!readExactly(reinterpret_cast<char*>(head) + 2, extra))
            return false;
        size = 0;
        for (std::size_t i = 0; i < extra; ++i)
            size = size << 8U | head[2 + i];
    }
    m_buffer.resize(size);
    return readExactly(m_buffer.data(), size);
}

std::size_t FrameClient::exchange(Kind kind, const std::string& payload)
{
    m_frame.clear();
    m_frame.push_back(static_cast<char>(0x80U | static_cast<unsigned>(kind)));
    if (payload.size() < 126) {
        appendBigEndian(m_frame, 0x80U | payload.size(), 1);
    } else if (payload.size() < 65536) {
        appendBigEndian(m_frame, 0x80U | 126U, 1);
        appendBigEndian(m_frame, payload.size(), 2);
    } else {
        appendBigEndian(m_frame, 0x80U | 127U, 1);
        appendBigEndian(m_frame, payload.size(), 8);
    }
    appendBigEndian(m_frame, 0, 4); // a mask of zeros
    m_frame += payload;
    if (::send(m_descriptor, m_frame.data(), m_frame.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(m_frame.size()))
        return 0;
    std::size_t total = 0;
    for (bool last = false; !last;) {
        std::size_t size = 0;
        if (!readFrame(last, size))
            return 0;
        total += size;
    }
    return total;
}
