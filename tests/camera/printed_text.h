// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QTemporaryFile>

#include <unistd.h>

#include <cstdio>

/// \brief Collects what the program prints to standard output while the object lives. Diagnostics
/// go to standard error meanwhile, as in the service; Qt Test would print them.
class PrintedText
{
public:
    PrintedText()
    {
        m_handler = qInstallMessageHandler(nullptr);
        std::fflush(stdout);
        m_file.open();
        m_previous = ::dup(STDOUT_FILENO);
        ::dup2(m_file.handle(), STDOUT_FILENO);
    }
    ~PrintedText() { take(); }
    PrintedText(const PrintedText&) = delete;
    PrintedText& operator=(const PrintedText&) = delete;

    /// Ends the collecting.
    QByteArray take()
    {
        if (m_previous >= 0) {
            std::fflush(stdout);
            ::dup2(m_previous, STDOUT_FILENO);
            ::close(m_previous);
            m_previous = -1;
            qInstallMessageHandler(m_handler);
            m_file.seek(0);
            m_text = m_file.readAll();
        }
        return m_text;
    }

private:
    QTemporaryFile m_file;
    QByteArray m_text;
    int m_previous = -1;
    QtMessageHandler m_handler = nullptr;
};
