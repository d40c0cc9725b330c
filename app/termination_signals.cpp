// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/termination_signals.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::array<int, 3> terminationSignals{SIGINT, SIGTERM, SIGHUP};
std::array<int, 2> pipeEnds{-1, -1};

// Only async-signal-safe functions may be called here; signal and write are.
void wakeUp(int)
{
    for (const int number : terminationSignals)
        std::signal(number, SIG_DFL);
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
    : m_notifier(openPipe(), QSocketNotifier::Read, this)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, [this] {
        m_notifier.setEnabled(false);
        Q_EMIT arrived();
    });
    for (const int number : terminationSignals)
        if (std::signal(number, wakeUp) == SIG_IGN)
            std::signal(number, SIG_IGN);
}
