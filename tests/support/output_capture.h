// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QFile>
#include <QStringList>
#include <QTemporaryFile>

#include <cstdio>
#include <mutex>
#include <unistd.h>
#include <utility>

/// \brief Takes what this process prints to a stream, from construction to `take`.
class OutputCapture
{
public:
    explicit OutputCapture(std::FILE* stream = stdout)
        : m_stream(stream)
    {
        m_file.open();
        std::fflush(m_stream);
        m_terminal = ::dup(::fileno(m_stream));
        ::dup2(m_file.handle(), ::fileno(m_stream));
    }
    ~OutputCapture() { restore(); }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    QByteArray take()
    {
        restore();
        return written();
    }

    /// What has left the stream's buffer so far.
    QByteArray written()
    {
        m_file.seek(0);
        return m_file.readAll();
    }

private:
    void restore()
    {
        if (m_terminal < 0)
            return;
        std::fflush(m_stream);
        ::dup2(m_terminal, ::fileno(m_stream));
        ::close(m_terminal);
        m_terminal = -1;
    }

    std::FILE* m_stream;
    QTemporaryFile m_file;
    int m_terminal = -1;
};

/// \brief Keeps the diagnostics of this program, from all threads, in place of writing them: while
/// it lives, Qt Test does not print them between what an OutputCapture takes.
class LogCapture
{
public:
    LogCapture()
    {
        take();
        m_previous = qInstallMessageHandler(keep);
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// For tests whose other threads write nothing.
    static QStringList& lines()
    {
        static QStringList kept;
        return kept;
    }

    /// The lines since the last call. From any thread.
    static QStringList take()
    {
        const std::lock_guard<std::mutex> lock(s_mutex);
        return std::exchange(lines(), {});
    }

private:
    static void keep(QtMsgType, const QMessageLogContext&, const QString& message)
    {
        const std::lock_guard<std::mutex> lock(s_mutex);
        lines() += message;
    }

    inline static std::mutex s_mutex;
    QtMessageHandler m_previous;
};
