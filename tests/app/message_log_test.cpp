// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/message_log.h"
#include "tests/support/table.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>
#include <QTextCodec>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr char log[] = "log.txt";

QStringList logLines()
{
    QFile file(log);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

class MessageLogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QFile::remove(log); }

    void writesTimeLevelAndMessage_data()
    {
        addRows<int, QString>({{"debug", QtDebugMsg, "Debug:"},
                               {"warning", QtWarningMsg, "Warning:"},
                               {"critical", QtCriticalMsg, "Critical:"},
                               {"informational", QtInfoMsg, ""}});
    }
    void writesTimeLevelAndMessage()
    {
        const auto [type, level] = row<int, QString>();
        const QString message = "启动签字板 %1 %2";
        const QDateTime before = QDateTime::currentDateTime();
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("GB18030")); // as a card face does
        outputMessage(QtDebugMsg, {}, "first");
        outputMessage(static_cast<QtMsgType>(type), {}, message);
        QTextCodec::setCodecForLocale(nullptr);

        QCOMPARE(logLines().size(), 2);
        const QString line = logLines().last();
        const QString second = line.mid(1, 19);
        const QDateTime time = QDateTime::fromString(second, "yyyy-MM-dd hh:mm:ss");
        QVERIFY2(time > before.addSecs(-1) && time <= QDateTime::currentDateTime(),
                 qPrintable(line));
        QCOMPARE(line, "[" + second + time.toString(" ddd] ") + level + " " + message);
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
        QVERIFY(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
        QVERIFY(!QFile::exists(log));
    }

    void losesLinesSilentlyWhereItCannotWrite()
    {
        QVERIFY(QDir().mkdir(log));
        outputMessage(QtWarningMsg, {}, "lost");
        QVERIFY(QDir().rmdir(log));
        outputMessage(QtWarningMsg, {}, "kept");
        QCOMPARE(logLines().size(), 1);
    }

    // A pipe holds less than these lines: who writes has to wait in the middle of one.
    void keepsLinesOfSeveralThreadsWhole()
    {
        QCOMPARE(mkfifo(log, 0600), 0);
        const int reader = ::open(log, O_RDWR);
        std::array<std::thread, 4> threads;
        for (std::thread& thread : threads)
            thread = std::thread([] { outputMessage(QtDebugMsg, {}, QString(200000, 'x')); });
        QByteArray written;
        std::array<char, 4096> piece{};
        while (written.count('\n') < 4)
            written.append(piece.data(), static_cast<int>(::read(reader, piece.data(), 4096)));
        ::close(reader);
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(written.count("] Debug: " + QByteArray(200000, 'x') + '\n'), 4);
    }

    void theLogOfARepetitiveProgramIsLimited_data()
    {
        addRows<QString, QString, QStringList>(
            {{"within the time",
              "3600",
              "for i in 1 2 3 14; do echo x = $i, y = -$i >&2; done; echo other >&2",
              {"x = 1, y = -1", "x = 2, y = -2", "other", "left out 2 more like: x = #, y = -#"}},
             {"after it",
              "1",
              "for i in 1 2 3; do"
              "    echo $i >&2; until grep -q $i log.txt; do sleep 0.1; done; sleep 1.1;"
              "done",
              {"1", "2", "3"}}});
    }
    void theLogOfARepetitiveProgramIsLimited()
    {
        const auto [seconds, work, lines] = row<QString, QString, QStringList>();
        QProcess limited;
        limited.setStandardErrorFile(log);
        limited.start(DESK_BIN_DIR "/limit-log",
                      {"2", seconds, "sh", "-c", "echo $$;" + work + "; kill -KILL $$"});
        const QByteArray number = QByteArray::number(limited.processId());
        QVERIFY(limited.waitForFinished(60000));
        QCOMPARE(limited.readAllStandardOutput(), number + '\n');
        QTRY_COMPARE_WITH_TIMEOUT(logLines(), lines, 60000); // the filter ends after the program
    }
};

QTEST_GUILESS_MAIN(MessageLogTest)
#include "message_log_test.moc"
