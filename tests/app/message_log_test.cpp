// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/message_log.h"
#include "tests/support/patience.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTextCodec>

#include <csignal>
#include <fstream>
#include <future>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr char log[] = "log.txt";

QStringList logLines()
{
    QFile file(log);
    file.open(QIODevice::ReadOnly);
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
}

} // namespace

class MessageLogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QFile::remove(log); }

    void writesTimeLevelAndMessage()
    {
        const QDateTime before = QDateTime::currentDateTime();
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("GB18030")); // as a card face does
        for (const QtMsgType type : {QtDebugMsg, QtWarningMsg, QtCriticalMsg, QtInfoMsg})
            outputMessage(type, {}, "启动签字板 %1 %2");
        QTextCodec::setCodecForLocale(nullptr);
        const QStringList lines = logLines();
        QCOMPARE(lines.size(), 4);
        QStringList levels{"Debug:", "Warning:", "Critical:", ""};
        for (const QString& line : lines) {
            const QString second = line.mid(1, 19);
            const QDateTime time = QDateTime::fromString(second, "yyyy-MM-dd hh:mm:ss");
            QVERIFY(time > before.addSecs(-1) && time <= QDateTime::currentDateTime());
            QCOMPARE(line, "[" + second + time.toString(" ddd] ") + levels.takeFirst() +
                               " 启动签字板 %1 %2");
        }
    }

    void fatalAbortsAndLeavesNoLine()
    {
        const pid_t child = fork();
        if (child == 0) {
            outputMessage(QtFatalMsg, {}, "the end");
            _exit(0);
        }
        int status = 0;
        QCOMPARE(waitpid(child, &status, 0), child);
        QCOMPARE(WTERMSIG(status), SIGABRT);
        QVERIFY(!QFile::exists(log));
    }

    // A warning about the file would call the handler again while it holds its lock.
    void losesALineWhereItCannotWrite()
    {
        QVERIFY(QDir().mkdir(log));
        const QtMessageHandler previous = qInstallMessageHandler(outputMessage);
        qWarning("lost");
        qInstallMessageHandler(previous);
        QVERIFY(QDir().rmdir(log));
    }

    // The lines are longer than a pipe's buffer, so that every write is interrupted.
    void keepsLinesOfSeveralThreadsWhole()
    {
        QCOMPARE(mkfifo(log, 0600), 0);
        std::fstream pipe(log);
        std::vector<std::future<void>> threads;
        for (int i = 0; i < 4; ++i)
            threads.push_back(std::async(
                std::launch::async, [] { outputMessage(QtDebugMsg, {}, QString(200000, 'x')); }));
        QStringList lines;
        for (std::string line; lines.size() < 4 && std::getline(pipe, line);)
            lines += QString::fromStdString(line).section(']', 1);
        QCOMPARE(lines.count(" Debug: " + QString(200000, 'x')), 4);
    }

    void theLogOfARepetitiveProgramIsLimited()
    {
        limits("3600", "for i in 1 2 3 14; do echo x = $i, y = -$i >&2; done; echo other >&2",
               "x = 1, y = -1|x = 2, y = -2|other|left out 2 more like: x = #, y = -#");
        limits("1", // each line comes when the second of the one before is over
               "for i in 1 2 3; do"
               "    echo $i >&2; until grep -q $i log.txt; do sleep 0.1; done; sleep 1.1; done",
               "1|2|3");
    }

private:
    static void limits(const QString& seconds, const QString& work, const QString& lines)
    {
        QProcess limited;
        limited.setStandardErrorFile(log);
        limited.start(DESK_BIN_DIR "/limit-log",
                      {"2", seconds, "sh", "-c", "echo $$;" + work + "; kill -KILL $$"});
        const QByteArray number = QByteArray::number(limited.processId());
        QVERIFY(limited.waitForFinished(60000));
        QCOMPARE(limited.readAllStandardOutput(), number + '\n');
        AWAIT_EQUAL(logLines().join('|'), lines); // the filter ends after the program
    }
};

QTEST_GUILESS_MAIN(MessageLogTest)
#include "message_log_test.moc"
