// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "toolkit/qt_versions.h"

#include <QString>
#include <QTemporaryDir>

namespace virtual_desk {

/// \brief The real PC/SC daemon with a virtual reader of two slots, as a child process.
///
/// The daemon's socket has a fixed path, /run/pcscd/pcscd.comm: use this in a separate mount
/// namespace (see tests/sandbox). A card connects to its slot over TCP. Functions that wait block
/// the calling thread. The daemon ends with this object, and with the thread that started it.
class PcscDaemon
{
public:
    /// The name that the virtual reader is configured with; PC/SC appends " 00 00" and " 00 01" for
    /// its slots.
    static const char ReaderName[];
    /// The TCP port on which the first slot waits for its card. The second slot has the next one.
    static constexpr quint16 SlotPort = 0x8C7B;

    enum class Reader { none, twoSlots };

    ~PcscDaemon();

    /// Starts the daemon and waits until it lists its readers.
    /// \return false when it did not within five seconds; see log()
    bool start(Reader reader = Reader::twoSlots);

    /// Whether a daemon runs on this machine, or starts when it is called, and has readers.
    static bool hasReaders();

    /// Ends the daemon with SIGTERM or with SIGKILL, and removes its socket.
    void stop();
    void kill();

    /// Suspends the daemon: its connections stay open and nothing is answered.
    void freeze();
    void thaw();

    /// The daemon's log.
    QString log() const;

private:
    bool writeConfiguration(Reader reader) const;
    void awaitEnd();

    QTemporaryDir m_directory;
    qt_versions::DependentProcess m_process;
};

} // namespace virtual_desk
