// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT
//
// Plays one session of every device on a virtual desk and leaves its pictures in a folder.

#include "tests/support/service_process.h"
#include "virtual/demo/demo_report.h"

#include <QCommandLineParser>
#include <QGuiApplication>

#include <cstdio>

namespace {

int fail(const QString& what)
{
    std::fprintf(stderr, "desk-demo: %s\n", qPrintable(what));
    return 1;
}

void printResult(const DemoSession::Result& result)
{
    std::printf("  %-6s %-28s %s\n", result.succeeded ? "ok" : "FAILED", qPrintable(result.title),
                qPrintable(result.summary));
}

// An empty folder for the pictures, and in it the service's working directory with the templates of
// the card faces.
bool prepareFolder(QDir& folder, const QDir& templates)
{
    folder.removeRecursively();
    if (!folder.mkpath(QStringLiteral("service")))
        return false;
    for (const QString& face : {QStringLiteral("front.jpg"), QStringLiteral("back.jpg")})
        QFile::copy(templates.filePath(face), folder.filePath(QStringLiteral("service/") + face));
    return QDir::setCurrent(folder.filePath(QStringLiteral("service")));
}

int play(QDir& folder)
{
    DemoDesk desk;
    const QString obstacle = desk.setUp();
    if (!obstacle.isEmpty())
        return fail(obstacle);
    ServiceProcess service;
    if (!service.start())
        return fail(QStringLiteral("the service did not open its port:\n") +
                    QString::fromUtf8(service.standardError()));

    const QVector<DemoSession::Result> results = DemoSession(desk, folder, QDir::current()).play();
    std::printf("\nWhat came of it:\n");
    bool all = true;
    for (const DemoSession::Result& result : results) {
        printResult(result);
        all = all && result.succeeded;
    }
    const QString report = folder.filePath(QStringLiteral("index.html"));
    if (!writeReport(report, results))
        return fail(QStringLiteral("cannot write ") + report);
    std::printf("\nPictures, faces and frames: %s\nAs one page: %s\n",
                qPrintable(folder.absolutePath()), qPrintable(report));
    if (!service.isRunning())
        return fail(QStringLiteral("the service ended by itself"));
    return all ? 0 : 1;
}

} // namespace

int main(int argc, char* argv[])
{
    virtual_desk::Testbed::restartUnderPreload(argv);
    QGuiApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Plays one session of every device of a virtual desk."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("folder"),
                                 QStringLiteral("Where the pictures go; emptied first."));
    parser.addPositionalArgument(QStringLiteral("templates"),
                                 QStringLiteral("Where front.jpg and back.jpg lie."));
    parser.process(application);
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 2)
        parser.showHelp(1);
    QDir folder{QDir::current().absoluteFilePath(arguments.at(0))};
    if (!prepareFolder(folder, QDir(arguments.at(1))))
        return fail(QStringLiteral("cannot make ") + folder.absolutePath());
    return play(folder);
}
