// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

//
// The virtual terminal: the service on emulated devices, and a port to operate them.

#include "app/termination_signals.h"
#include "virtual/kernel/vhci_port.h"
#include "virtual/terminal/control_commands.h"
#include "virtual/terminal/control_server.h"
#include "virtual/terminal/desk.h"
#include "virtual/terminal/service_runner.h"
#include "virtual/terminal/service_windows.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <QTemporaryDir>

#include <cstdio>
#include <optional>
#include <unistd.h>

using namespace virtual_desk;

namespace {

struct Options
{
    quint16 controlPort = 12345;
    QString service;
    QString templates;
    QString directory;
    bool bare = false;
    bool verbose = false;
    bool kernel = false;
    bool endWithInput = false;
};

const char hostController[] = "/sys/devices/platform/vhci_hcd.0";

int fail(const QString& what)
{
    std::fprintf(stderr, "virtual-terminal: %s\n", qPrintable(what));
    return 1;
}

// For --help or a wrong option this prints a text and ends the program. It uses a QCoreApplication,
// because that needs no display.
Options readOptions(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QString beside = QCoreApplication::applicationDirPath();
    const QCommandLineOption controlPort(
        QStringLiteral("control-port"),
        QStringLiteral("TCP port for playing the desk; 0 takes a free one."),
        QStringLiteral("port"), QStringLiteral("12345"));
    const QCommandLineOption service(
        QStringLiteral("service"), QStringLiteral("The service's program."), QStringLiteral("file"),
        beside + QStringLiteral("/desk-terminal-service"));
    const QCommandLineOption templates(
        QStringLiteral("templates"), QStringLiteral("Where front.jpg and back.jpg lie."),
        QStringLiteral("folder"),
        beside + QStringLiteral("/../../share/desk-terminal-service/templates"));
    const QCommandLineOption directory(
        QStringLiteral("directory"),
        QStringLiteral("Where the service runs and leaves its files; a temporary one otherwise."),
        QStringLiteral("folder"));
    const QCommandLineOption bare(QStringLiteral("bare"),
                                  QStringLiteral("Begin with nothing plugged in and no cards."));
    const QCommandLineOption verbose(QStringLiteral("verbose"),
                                     QStringLiteral("Print what the service writes."));
    const QCommandLineOption kernel(
        QStringLiteral("kernel"),
        QStringLiteral("Plug the USB devices in to the running kernel (module vhci-hcd), for the "
                       "service that is installed here; starts none itself."));
    const QCommandLineOption endWithInput(
        QStringLiteral("end-with-input"),
        QStringLiteral(
            "End when standard input is closed, as by the end of the test that holds it."));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Runs the desk-terminal service on a desk of emulated devices."));
    parser.addHelpOption();
    parser.addOptions(
        {controlPort, service, templates, directory, bare, verbose, kernel, endWithInput});
    parser.process(application);
    bool isNumber = false;
    const uint port = parser.value(controlPort).toUInt(&isNumber);
    if (!isNumber || port > 65535 || !parser.positionalArguments().isEmpty())
        parser.showHelp(1);
    return {static_cast<quint16>(port), parser.value(service),     parser.value(templates),
            parser.value(directory),    parser.isSet(bare),        parser.isSet(verbose),
            parser.isSet(kernel),       parser.isSet(endWithInput)};
}

void endAtEndOfInput()
{
    char ignored[256];
    if (read(STDIN_FILENO, ignored, sizeof(ignored)) <= 0)
        QCoreApplication::quit();
}

bool copyTemplates(const QString& from, const QString& directory)
{
    for (const QString& face : {QStringLiteral("front.jpg"), QStringLiteral("back.jpg")}) {
        const QString target = QDir(directory).filePath(face);
        if (!QFile::exists(target) && !QFile::copy(QDir(from).filePath(face), target))
            return false;
    }
    return true;
}

void printLine(const QString& line, const QString& stream)
{
    std::fprintf(stderr, "service %s: %s\n", qPrintable(stream), line.toUtf8().constData());
}

int run(const Options& options, const QString& directory)
{
    Desk desk(options.kernel ? QString::fromLatin1(hostController) : QString());
    const ServiceWindows windows(QCoreApplication::applicationDirPath() +
                                 QStringLiteral("/plugins"));
    ServiceRunner service(options.service, directory, windows.environment());
    ControlCommands commands(desk, service, windows);
    ControlServer control(commands);
    QObject::connect(&service, &ServiceRunner::lineWritten, &control, &ControlServer::reportLine);
    QObject::connect(&service, &ServiceRunner::stateChanged, &control, &ControlServer::reportState);
    QObject::connect(&windows, &ServiceWindows::changed, &control, &ControlServer::reportState);
    if (options.verbose)
        QObject::connect(&service, &ServiceRunner::lineWritten, &printLine);

    QString fault = control.listen(options.controlPort);
    if (!fault.isEmpty())
        return fail(QStringLiteral("port %1, for playing the desk, cannot be had: %2.\n"
                                   "  `ss -ltnp sport = :%1` names the program that has it; "
                                   "--control-port takes another.")
                        .arg(options.controlPort)
                        .arg(fault));
    fault = options.bare ? QString() : desk.furnish();
    if (fault.isEmpty() && !options.kernel)
        fault = service.start();
    if (!fault.isEmpty())
        return fail(fault);

    const TerminationSignals signalsOfTheSystem;
    QObject::connect(&signalsOfTheSystem, &TerminationSignals::arrived, qApp,
                     &QCoreApplication::quit);
    std::optional<QSocketNotifier> input;
    if (options.endWithInput)
        QObject::connect(&input.emplace(STDIN_FILENO, QSocketNotifier::Read),
                         &QSocketNotifier::activated, qApp, &endAtEndOfInput);
    if (options.kernel)
        std::printf("virtual-terminal: devices on this kernel, control on ws://localhost:%d\n",
                    control.port());
    else
        std::printf(
            "virtual-terminal: service on ws://localhost:%d, control on ws://localhost:%d\n",
            servicePort, control.port());
    std::fflush(stdout);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char* argv[])
{
    const Options options = readOptions(argc, argv);
    if (options.kernel)
        qputenv("QT_QPA_PLATFORM", "offscreen"); // it draws what cameras show, and no window
    else
        VirtualKernel::restartUnderPreload(argv);
    const QGuiApplication application(argc, argv);
    if (options.controlPort == servicePort)
        return fail(QStringLiteral("the service has port %1 itself; take another for playing the "
                                   "desk.")
                        .arg(servicePort));
    const QString fault = options.kernel ? VhciPort::fault(QString::fromLatin1(hostController))
                                         : ServiceRunner::portFault();
    if (!fault.isEmpty())
        return fail(fault);
    const QTemporaryDir temporary;
    const QString directory = options.directory.isEmpty() ? temporary.path() : options.directory;
    if (!QDir().mkpath(directory) || !QFileInfo(directory).isWritable())
        return fail(QStringLiteral("cannot write in ") + directory);
    if (!options.kernel && !copyTemplates(options.templates, directory))
        std::fprintf(stderr, "virtual-terminal: no card templates in %s: no faces are painted\n",
                     qPrintable(options.templates));
    return run(options, directory);
}
