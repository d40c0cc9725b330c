// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/message_log.h"

#include <QDateTime>
#include <QFile>

#include <cstdlib>
#include <mutex>

namespace {

// Informational messages get no level text.
QString levelText(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return QStringLiteral("Debug:");
    case QtWarningMsg:
        return QStringLiteral("Warning:");
    case QtCriticalMsg:
        return QStringLiteral("Critical:");
    case QtFatalMsg:
        std::abort();
    default:
        return {};
    }
}

void appendLine(const QString& line)
{
    QFile file(QStringLiteral("log.txt"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;
    // UTF-8 and not the locale's codec, which painting a card face changes to GB2312.
    file.write(line.toUtf8() + '\n');
}

} // namespace

void outputMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& msg)
{
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    const QString level = levelText(type);
    const QString time =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss ddd"));
    appendLine(QStringLiteral("[%1] %2 %3").arg(time, level, msg));
}
