// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/accept_gate.h"

#include <QTcpServer>
#include <QWebSocketServer>

#include <algorithm>
#include <array>
#include <poll.h>
#include <sys/resource.h>
#include <sys/select.h>

namespace {

constexpr int reservedDescriptors = 64; // a camera window and its libraries open about thirty
constexpr int retryMs = 100;

// How many descriptors the process can still open below FD_SETSIZE, the limit of `select`, with
// which OpenCV waits for cameras. `poll` marks unused numbers POLLNVAL, so nothing has to be
// opened to count them.
int freeDescriptors()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    std::array<pollfd, FD_SETSIZE> all{};
    const auto count = static_cast<std::size_t>(std::min<rlim_t>(limit.rlim_cur, all.size()));
    for (std::size_t i = 0; i < count; ++i)
        all[i].fd = static_cast<int>(i);
    if (::poll(all.data(), count, 0) < 0)
        return 0;
    return static_cast<int>(std::count_if(all.begin(), all.begin() + count, [](const pollfd& one) {
        return (one.revents & POLLNVAL) != 0;
    }));
}

} // namespace

AcceptGate::AcceptGate(QWebSocketServer* server)
    : QObject(server)
    , m_server(server)
    , m_acceptor(server->findChild<QTcpServer*>())
{
    m_retry.setInterval(retryMs);
    connect(&m_retry, &QTimer::timeout, this, &AcceptGate::openWhenEnough);
    connect(server, &QWebSocketServer::acceptError, this, &AcceptGate::close);
    if (!m_acceptor)
        return;
    m_pendingLimit = m_acceptor->maxPendingConnections();
    connect(m_acceptor, &QTcpServer::newConnection, this, &AcceptGate::closeWhenFew);
}

void AcceptGate::closeWhenFew()
{
    if (freeDescriptors() <= reservedDescriptors)
        close();
}

void AcceptGate::close()
{
    // pauseAccepting() takes effect in the next iteration of the event loop only, and until then
    // QTcpServer would accept the whole queue; with no pending connections allowed it stops at
    // once.
    if (m_acceptor)
        m_acceptor->setMaxPendingConnections(0);
    m_server->pauseAccepting();
    m_retry.start();
}

void AcceptGate::openWhenEnough()
{
    if (freeDescriptors() <= reservedDescriptors)
        return;
    m_retry.stop();
    if (m_acceptor)
        m_acceptor->setMaxPendingConnections(m_pendingLimit);
    m_server->resumeAccepting();
}
