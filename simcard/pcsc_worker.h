// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "simcard/pcsc_session.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

/// \brief Runs PC/SC calls on a thread of their own, so that a caller waits a limited time even
/// when the daemon or a card never answers.
///
/// A process has one worker, one thread and one session: pcsc-lite's client library holds a lock
/// during a call, so a second thread would block as well. When a call runs out of time, its caller
/// stops waiting, and the thread closes the session as soon as the call returns; until then no
/// other call is started.
class PcscWorker
{
public:
    /// What a call does to the session.
    enum class Access { open, use, close };

    /// The work of a call. It may still run after its caller has returned, so it owns the data it
    /// uses.
    using Job = std::function<LONG(PcscSession&)>;

    /// Limit of the time that callers wait in all calls of one session together, from its opening
    /// on; waiting for other callers counts.
    static constexpr std::chrono::milliseconds SessionBound{5000};

    /// How long an opening waits for an earlier call that ran out of time.
    static constexpr std::chrono::milliseconds RecoveryBound{500};

    /// The process's worker. Never destroyed, because its thread may still be blocked when main
    /// returns.
    static PcscWorker& instance();

    /// Runs `job` and returns its code, or SCARD_E_TIMEOUT when the session's time is up. With no
    /// session open `use` returns SCARD_E_INVALID_HANDLE and `close` succeeds, both without running
    /// the job. Any thread.
    LONG call(Access access, Job job);

private:
    enum class State { noThread, idle, busy, finished, givenUp };
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;

    PcscWorker() = default;
    bool waitForTurn(Lock& lock, Clock::time_point deadline);
    LONG await(Lock& lock, Clock::time_point deadline);
    bool startThread();
    void work();
    void setState(State state);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    State m_state = State::noThread;
    bool m_open = false;
    Clock::duration m_left{}; ///< of the session's bound
    Job m_job;
    LONG m_code = SCARD_S_SUCCESS;
};
