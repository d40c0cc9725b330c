// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QString>

/// \brief Every frame of a session, in a file and, with pictures shortened, on standard output.
class FrameLog
{
public:
    explicit FrameLog(const QString& path);

    void sent(const QString& frame) { add("->", frame); }
    void received(const QString& frame) { add("<-", frame); }

    /// The frame with every long text value cut, for people.
    static QString shortened(const QString& frame);

private:
    void add(const char* direction, const QString& frame);

    QElapsedTimer m_clock;
    QFile m_file;
};
