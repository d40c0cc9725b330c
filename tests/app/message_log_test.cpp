// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/message_log.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/wait.h>

#include <array>
#include <csignal>
#include <thread>
#include <unistd.h>

namespace {

QStringList logLines()
{
    QFile file(QStringLiteral("log.txt"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

class MessageLogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_directory.isValid());
        QVERIFY(QDir::setCurrent(m_directory.path()));
        QFile::remove(QStringLiteral("log.txt"));
    }

    void writesTimeLevelAndMessage_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("level");
        QTest::newRow("debug") << int(QtDebugMsg) << "Debug:";
        QTest::newRow("warning") << int(QtWarningMsg) << "Warning:";
        QTest::newRow("critical") << int(QtCriticalMsg) << "Critical:";
        QTest::newRow("informational") << int(QtInfoMsg) << "";
    }

    void writesTimeLevelAndMessage()
    {
        QFETCH(int, type);
        QFETCH(QString, level);
        const QString message = QStringLiteral("启动签字板 %1 %2");
        outputMessage(static_cast<QtMsgType>(type), {}, message);

        const QStringList lines = logLines();
        QCOMPARE(lines.size(), 1);
        const QRegularExpression time(
            QStringLiteral("^\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d [^\\] ]+\\]"));
        const QRegularExpressionMatch match = time.match(lines.first());
        QVERIFY2(match.hasMatch(), qPrintable(lines.first()));
        QCOMPARE(lines.first().mid(match.capturedLength()),
                 QStringLiteral(" ") + level + QStringLiteral(" ") + message);
    }

    void fatalAbortsAndLeavesNoLine()
    {
        const pid_t child = fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            outputMessage(QtFatalMsg, {}, QStringLiteral("the end"));
            _exit(0);
        }
        int status = 0;
        QCOMPARE(waitpid(child, &status, 0), child);
        QVERIFY(WIFSIGNALED(status));
        QCOMPARE(WTERMSIG(status), SIGABRT);
        QVERIFY(!QFile::exists(QStringLiteral("log.txt")));
    }

    void losesLinesSilentlyWhereItCannotWrite()
    {
        QVERIFY(QDir().mkdir(QStringLiteral("log.txt")));
        outputMessage(QtWarningMsg, {}, QStringLiteral("lost"));
        QVERIFY(QDir().rmdir(QStringLiteral("log.txt")));
        outputMessage(QtWarningMsg, {}, QStringLiteral("kept"));
        QCOMPARE(logLines().size(), 1);
    }

    void keepsLinesOfSeveralThreadsWhole()
    {
        std::array<std::thread, 4> threads;
        for (std::thread& thread : threads) {
            thread = std::thread([] {
                for (int i = 0; i < 50; ++i)
                    outputMessage(QtWarningMsg, {}, QStringLiteral("pen"));
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        const QStringList lines = logLines();
        QCOMPARE(lines.size(), 200);
        for (const QString& line : lines)
            QVERIFY2(line.endsWith(QStringLiteral("] Warning: pen")), qPrintable(line));
    }

    void theLogOfARepetitiveProgramIsLimited()
    {
        const QString program = QStringLiteral(
            "echo $$; for i in 1 2 3 14; do echo x = $i, y = -$i >&2; done; echo other >&2;"
            "sleep 1.1; for i in 5 6 7; do echo x = $i, y = -$i >&2; done; kill -KILL $$");
        QProcess limited;
        limited.setStandardErrorFile(QStringLiteral("log.txt"));
        limited.start(QStringLiteral(DESK_BIN_DIR "/limit-log"), {"2", "1", "sh", "-c", program});
        const QString number = QString::number(limited.processId());
        QVERIFY(limited.waitForFinished(60000));
        QCOMPARE(QString(limited.readAllStandardOutput()), number + '\n');
        const QStringList lines{"x = 1, y = -1",
                                "x = 2, y = -2",
                                "other",
                                "left out 2 more like: x = #, y = -#",
                                "x = 5, y = -5",
                                "x = 6, y = -6",
                                "left out 1 more like: x = #, y = -#"};
        QTRY_COMPARE_WITH_TIMEOUT(logLines(), lines, 60000); // the filter ends after the program
    }

private:
    QTemporaryDir m_directory;
};

QTEST_GUILESS_MAIN(MessageLogTest)
#include "message_log_test.moc"
