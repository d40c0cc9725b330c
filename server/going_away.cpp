// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/going_away.h"

#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>

namespace {

// FIN and opcode 8 (close), two bytes of payload: code 1001, going away.
constexpr std::array<unsigned char, 4> closeFrame{0x88, 0x02, 0x03, 0xE9};

// \return the local TCP port of a socket; 0 when the descriptor is none
std::uint16_t localPort(int descriptor)
{
    sockaddr_in6 address{};
    socklen_t length = sizeof address;
    if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return 0;
    const bool isInternet = address.sin6_family == AF_INET || address.sin6_family == AF_INET6;
    // The port has the same offset in sockaddr_in and sockaddr_in6.
    return isInternet ? ntohs(address.sin6_port) : 0;
}

} // namespace

void sendGoingAway(std::uint16_t port)
{
    for (int descriptor = 0; descriptor < FD_SETSIZE; ++descriptor)
        if (localPort(descriptor) == port)
            ::send(descriptor, closeFrame.data(), closeFrame.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}
