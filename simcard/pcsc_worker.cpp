// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "simcard/pcsc_worker.h"

#include <algorithm>
#include <csignal>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace {

LONG runJob(const PcscWorker::Job& job, PcscSession& session)
{
    try {
        return job(session);
    } catch (const std::bad_alloc&) {
        return SCARD_E_NO_MEMORY;
    }
}

} // namespace

PcscWorker& PcscWorker::instance()
{
    static auto* const worker = new PcscWorker;
    return *worker;
}

LONG PcscWorker::call(Access access, Job job)
{
    const Clock::time_point now = Clock::now();
    Lock lock(m_mutex);
    const Clock::time_point deadline = now + (access == Access::open ? SessionBound : m_left);
    const bool recovering = m_state == State::givenUp;
    if (access == Access::open || !recovering) {
        if (!waitForTurn(lock, recovering ? now + RecoveryBound : deadline))
            return SCARD_E_TIMEOUT;
    }
    if (access != Access::open && !m_open)
        return access == Access::close ? SCARD_S_SUCCESS : SCARD_E_INVALID_HANDLE;
    if (m_state == State::noThread && !startThread())
        return SCARD_E_NO_MEMORY;
    m_job = std::move(job);
    setState(State::busy);
    const LONG code = await(lock, deadline);
    m_left = std::max(deadline - Clock::now(), Clock::duration::zero());
    if (access == Access::open)
        m_open = code == SCARD_S_SUCCESS;
    else if (access == Access::close)
        m_open = false;
    return code;
}

bool PcscWorker::waitForTurn(Lock& lock, Clock::time_point deadline)
{
    return m_changed.wait_until(
        lock, deadline, [this] { return m_state == State::idle || m_state == State::noThread; });
}

LONG PcscWorker::await(Lock& lock, Clock::time_point deadline)
{
    if (!m_changed.wait_until(lock, deadline, [this] { return m_state == State::finished; })) {
        m_open = false;
        setState(State::givenUp);
        return SCARD_E_TIMEOUT;
    }
    setState(State::idle);
    return m_code;
}

bool PcscWorker::startThread()
{
    // Signals are blocked here, so that handlers run on the program's own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread(&PcscWorker::work, this).detach();
        setState(State::idle);
    } catch (const std::system_error&) {
        setState(State::noThread); // could not be created; the next call tries again
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return m_state == State::idle;
}

void PcscWorker::work()
{
    PcscSession session;
    Lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_job != nullptr; });
        const Job job = std::exchange(m_job, nullptr);
        lock.unlock();
        const LONG code = runJob(job, session);
        lock.lock();
        if (m_state == State::givenUp) {
            lock.unlock();
            session.close();
            lock.lock();
            setState(State::idle);
        } else {
            m_code = code;
            setState(State::finished);
        }
    }
}

void PcscWorker::setState(State state)
{
    m_state = state;
    m_changed.notify_all();
}
