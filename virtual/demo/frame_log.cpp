// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/demo/frame_log.h"

#include <QRegularExpression>

#include <cstdio>

FrameLog::FrameLog(const QString& path)
    : m_file(path)
{
    m_clock.start();
    m_file.open(QIODevice::WriteOnly | QIODevice::Truncate);
}

QString FrameLog::shortened(const QString& frame)
{
    static const QRegularExpression longValue(QStringLiteral("\"([^\"]{40})[^\"]{40,}\""));
    QString text = frame;
    return text.replace(longValue, QStringLiteral("\"\\1…\""));
}

void FrameLog::add(const char* direction, const QString& frame)
{
    const double seconds = static_cast<double>(m_clock.elapsed()) / 1000;
    const QString start = QString::asprintf("%8.3f %s ", seconds, direction);
    m_file.write((start + frame + QLatin1Char('\n')).toUtf8());
    m_file.flush();
    std::printf("%s%s\n", qPrintable(start), qPrintable(shortened(frame)));
    std::fflush(stdout);
}
