// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The installed packages as an ordinary account meets them: the launcher starts the service on the
// virtual desk, pages talk to it, and the doctor looks at the desk. Run by check_packages.

#include "virtual/support/desk_client.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QtTest>

using namespace virtual_desk;

namespace {

constexpr quint16 controlPort = 12345;
const QString launcher = QStringLiteral("/usr/bin/desk-terminal-service");
const QString library = QStringLiteral("/usr/lib/desk-terminal-service/");

struct Ended
{
    int code = -1;
    QString words;
};

Ended run(const QString& program, const QStringList& arguments,
          const QProcessEnvironment& environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    process.waitForFinished(20000);
    return {process.exitCode(), QString::fromUtf8(process.readAll())};
}

QProcessEnvironment withVariable(const QString& name, const QString& value)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(name, value);
    return environment;
}

QByteArray content(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class InstalledTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_terminal.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_terminal.start("virtual-terminal", {"--service", launcher});
        while (!m_terminal.canReadLine())
            QVERIFY(m_terminal.waitForReadyRead(20000));
        QVERIFY(m_page.open());
        QVERIFY(m_player.open(5000, controlPort));
        const QJsonObject state = m_player.reply()["state"].toObject();
        m_launcher = state["service"].toObject()["processId"].toInt();
        m_service = run("pidof", {library + "desk-terminal-service"},
                        QProcessEnvironment::systemEnvironment())
                        .words.toInt();
    }

    void cleanupTestCase()
    {
        m_terminal.terminate();
        QVERIFY(m_terminal.waitForFinished(10000));
        QCOMPARE(m_terminal.exitCode(), 0);
    }

    void theCommandsAnswer()
    {
        QCOMPARE(m_page.ask("ZCDeviceExist")["success"].toInt(), 1);
        QCOMPARE(m_page.ask("ZCSIMCard")["data"].toString(),
                 QStringLiteral("89860113456789012340"));
        m_page.reply(); // the same once more
        QCOMPARE(m_page.ask("ZCReadIDCard")["err_code"].toInt(9), 0);
        QCOMPARE(m_page.ask("ZCReadHIDIDCard")["err_code"].toInt(9), 0);
    }

    void theCameraModuleIsFound()
    {
        play(R"({"command": "unplug", "device": "documentCamera"})");
        QCOMPARE(m_page.ask("ZCCameraPic", {}, 15000)["success"].toInt(9), 0);
        const QByteArray maps = content(QStringLiteral("/proc/%1/maps").arg(m_service));
        QVERIFY(maps.contains((library + "libdesk-camera.so").toUtf8()));
        QVERIFY(maps.contains((library + "libcardreader.so").toUtf8()));
        play(R"({"command": "plug", "device": "documentCamera"})");
    }

    void itsFilesArePrivate()
    {
        const QFile::Permissions others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                                          QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
        QVERIFY(QFileInfo(m_folder).isDir());
        QCOMPARE(QFileInfo(m_folder).permissions() & others, QFile::Permissions());
        for (const char* name : {"front.jpg", "back.jpg", "frontNew.jpg", "backNew.jpg"}) {
            const QFileInfo file(m_folder + QLatin1Char('/') + name);
            QVERIFY2(file.size() > 10000, name);
            QCOMPARE(file.permissions() & others, QFile::Permissions());
        }
        QVERIFY(!QFile::exists(m_folder + "/simage_file.bmp"));
    }

    void aSecondStartSaysSoAndEnds()
    {
        const Ended second = run(launcher, {}, QProcessEnvironment::systemEnvironment());
        QCOMPARE(second.code, 3);
        QVERIFY2(second.words.contains(QString::number(m_launcher)), qPrintable(second.words));
    }

    void aTakenPortIsNamedWithItsOwner()
    {
        const Ended second = run(launcher, {}, withVariable("XDG_STATE_HOME", "/tmp/other-state"));
        QCOMPARE(second.code, 4);
        QVERIFY2(second.words.contains("12343") && second.words.contains("desk-terminal-s"),
                 qPrintable(second.words));
    }

    void theDoctorFindsACompleteDesk()
    {
        runOnDesk({"xrandr", "--setmonitor", "main", "1920/508x1080/286+0+0", "screen"});
        runOnDesk({"xrandr", "--setmonitor", "pad", "1280/217x800/136+1920+0", "none"});
        const Ended look = runDoctor();
        for (const char* line :
             {"ok       signature pad", "ok       identity-card reader, USB",
              "ok       identity-card reader, HID", "ok       document camera",
              "ok       portrait camera",
              "ok       smart-card reader: Generic EMV Smartcard Reader",
              "ok       the pad's display", "ok       a font with Chinese characters",
              "ok       the service listens on port 12343", "desk-terminal-service 0.1.0"})
            QVERIFY2(look.words.contains(QString::fromUtf8(line)),
                     qPrintable(line + QStringLiteral(" in\n") + look.words.right(900)));
        QVERIFY2(look.code == 0, qPrintable(look.words.right(900)));
    }

    void theDoctorMissesWhatIsPulled()
    {
        play(R"({"command": "unplug", "device": "pad"})");
        const Ended look = runDoctor();
        QCOMPARE(look.code, 1);
        QVERIFY2(look.words.contains("MISSING  signature pad"), qPrintable(look.words));
        play(R"({"command": "plug", "device": "pad"})");
    }

    void theDoctorTellsARefusalBySmartCardsApart()
    {
        // What a client sees of a daemon whose polkit refuses it: the connection ends at once.
        QLocalServer daemon;
        QVERIFY(daemon.listen("/tmp/refusing.comm"));
        connect(&daemon, &QLocalServer::newConnection, this,
                [&daemon] { delete daemon.nextPendingConnection(); });
        QProcess doctor;
        doctor.setProcessEnvironment(withVariable("PCSCLITE_CSOCK_NAME", daemon.fullServerName()));
        doctor.start("desk-terminal-doctor", QStringList());
        QTRY_COMPARE_WITH_TIMEOUT(doctor.state(), QProcess::NotRunning, 60000);
        const QByteArray words = doctor.readAllStandardOutput();
        QVERIFY2(words.contains("MISSING  access denied by the PC/SC daemon"), words.constData());
    }

private:
    // With what the service sees: the emulated devices, the PC/SC daemon and the X display.
    Ended runOnDesk(const QStringList& command) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        const QByteArray variables = content(QStringLiteral("/proc/%1/environ").arg(m_service));
        for (const QByteArray& variable : variables.split('\0')) {
            const auto equals = variable.indexOf('=');
            if (equals > 0)
                environment.insert(QString::fromUtf8(variable.left(equals)),
                                   QString::fromUtf8(variable.mid(equals + 1)));
        }
        return run("nsenter",
                   QStringList{"--target", QString::number(m_service), "--user", "--mount",
                               "--preserve-credentials"} +
                       command,
                   environment);
    }

    Ended runDoctor() const { return runOnDesk({"desk-terminal-doctor"}); }

    void play(const char* request)
    {
        m_player.send(QString::fromUtf8(request));
        QJsonObject message;
        do
            message = m_player.reply(10000);
        while (!message.isEmpty() && !message.contains("ok"));
        QVERIFY(message["ok"].toBool());
    }

    const QString m_folder = QDir::homePath() + "/.local/state/desk-terminal-service";
    QProcess m_terminal;
    DeskClient m_page;
    DeskClient m_player;
    int m_launcher = 0;
    int m_service = 0;
};

QTEST_GUILESS_MAIN(InstalledTest)
#include "installed_test.moc"
