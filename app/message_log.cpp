// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/message_log.h"

#include <QDateTime>
#include <QFile>
#include <QTextStream>

#include <cstdlib>
#include <mutex>

namespace {

// The informational level has no text of its own.
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
    QTextStream stream(&file);
    stream.setCodec("UTF-8"); // the locale's codec changes when a card face has been painted
    stream << line << Qt::endl;
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
