// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/termination_signals.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace virtual_desk {
namespace {

std::array<int, 2> pipeEnds{-1, -1};

// In a handler little is allowed; writing to a pipe is.
void wakeUp(int)
{
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = ::write(pipeEnds[1], &byte, 1);
}

int openPipe()
{
    if (::pipe2(pipeEnds.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        qFatal("no pipe for signals");
    return pipeEnds[0];
}

} // namespace

TerminationSignals::TerminationSignals()
    : m_notifier(openPipe(), QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::arrived);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, wakeUp);
}

} // namespace virtual_desk
