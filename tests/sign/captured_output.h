// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QFile>
#include <QStringList>
#include <QTemporaryFile>

#include <unistd.h>

#include <cstdio>
#include <mutex>

/// \brief Collects the diagnostics of all threads while it lives, as "d: text" and "w: text".
class CapturedDiagnostics
{
public:
    CapturedDiagnostics() { s_previous = qInstallMessageHandler(collect); }
    ~CapturedDiagnostics()
    {
        qInstallMessageHandler(s_previous);
        take();
    }

    static QStringList take()
    {
        const std::lock_guard<std::mutex> lock(s_mutex);
        QStringList lines;
        lines.swap(s_lines);
        return lines;
    }

private:
    static void collect(QtMsgType type, const QMessageLogContext&, const QString& text)
    {
        const std::lock_guard<std::mutex> lock(s_mutex);
        s_lines.append((type == QtDebugMsg ? QStringLiteral("d: ") : QStringLiteral("w: ")) + text);
    }

    inline static QtMessageHandler s_previous = nullptr;
    inline static std::mutex s_mutex;
    inline static QStringList s_lines;
};

/// \brief Collects what is printed to a standard stream while it lives.
class CapturedStream
{
public:
    explicit CapturedStream(FILE* stream)
        : m_stream(stream)
        , m_saved(::dup(::fileno(stream)))
    {
        m_file.open();
        std::fflush(m_stream);
        ::dup2(m_file.handle(), ::fileno(m_stream));
    }
    ~CapturedStream() { restore(); }
    CapturedStream(const CapturedStream&) = delete;
    CapturedStream& operator=(const CapturedStream&) = delete;

    /// Everything printed; ends the capture.
    QByteArray text()
    {
        restore();
        m_file.seek(0);
        return m_file.readAll();
    }

private:
    void restore()
    {
        if (m_saved == -1)
            return;
        std::fflush(m_stream);
        ::dup2(m_saved, ::fileno(m_stream));
        ::close(m_saved);
        m_saved = -1;
    }

    FILE* m_stream;
    int m_saved;
    QTemporaryFile m_file;
};
