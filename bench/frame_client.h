// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

/// \brief A blocking WebSocket client that adds next to nothing to what is measured.
class FrameClient
{
public:
    explicit FrameClient(std::uint16_t port);
    ~FrameClient();
    FrameClient(const FrameClient&) = delete;
    FrameClient& operator=(const FrameClient&) = delete;

    bool isOpen() const { return m_descriptor >= 0; }

    enum class Kind : unsigned char { text = 1, binary = 2 };

    /// Sends one frame and waits for one whole message.
    /// \return the payload bytes of the answer; 0 when the connection broke
    std::size_t exchange(Kind kind, const std::string& payload);

private:
    bool handshake();
    bool readExactly(char* to, std::size_t count);
    bool readFrame(bool& last, std::size_t& size);

    int m_descriptor = -1;
    std::string m_frame;
    std::string m_buffer;
};
