// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simcard/pcsc_session.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

/// \brief Runs PC/SC calls on a thread of their own, so that a caller gets its answer in bounded
/// time even when the daemon or a card never answers.
///
/// There is one worker, one thread and one session in a process, and there never are more:
/// pcsc-lite's client side holds a lock across its calls, so that a second thread would hang in the
/// same place. A call that runs out of time is left to the thread, which closes the session as soon
/// as the call comes back; until then nothing new is started.
class PcscWorker
{
public:
    /// What a call does to the session, seen from outside.
    enum class Access { open, use, close };

    /// A call. It may outlive its caller, so it owns what it reads and writes.
    using Job = std::function<LONG(PcscSession&)>;

    /// The bound on the calls of one session together, from its opening on: what callers wait, for
    /// other callers too.
    static constexpr std::chrono::milliseconds sessionBound{5000};

    /// How long an opening waits for an earlier call that ran out of time.
    static constexpr std::chrono::milliseconds recoveryBound{500};

    /// The process's worker. It is never destroyed: its thread may hang beyond the end of main.
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
