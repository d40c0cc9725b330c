// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QFile>
#include <QStringList>
#include <QTemporaryFile>

#include <cstdio>
#include <mutex>

#include <unistd.h>

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

/// \brief Keeps the diagnostics of this program, from all threads, in place of writing them.
class LogCapture
{
public:
    LogCapture()
    {
        lines().clear();
        m_previous = qInstallMessageHandler(keep);
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    static QStringList& lines()
    {
        static QStringList kept;
        return kept;
    }

private:
    static void keep(QtMsgType, const QMessageLogContext&, const QString& message)
    {
        static std::mutex mutex;
        const std::lock_guard<std::mutex> lock(mutex);
        lines() += message;
    }

    QtMessageHandler m_previous;
};
