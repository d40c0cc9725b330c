// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The virtual terminal's program and its control port. What the commands do to the devices, and
// what players are told, is tested through the console (web/tests/console_desk.test.js).

#include "tests/support/patience.h"
#include "tests/support/table.h"
#include "virtual/support/desk_client.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTcpServer>
#include <QtTest>

#include <optional>
#include <signal.h>

using namespace virtual_desk;

namespace {

constexpr quint16 controlPort = 12345;
constexpr char program[] = DESK_BIN_DIR "/virtual-terminal";

QByteArray outputOf(const QString& name, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(name, arguments);
    process.waitForFinished(60000);
    return process.readAll();
}

/// \brief A client of the control port.
struct Player : DeskClient
{
    Player() { open(60000, controlPort); }

    /// The reply, without the events before it.
    QJsonObject answer(const QString& request)
    {
        send(request);
        QJsonObject message = reply();
        while (!message.isEmpty() && !message.contains("ok"))
            message = reply();
        return message;
    }
    /// The result, or what the command complains of as a text.
    QJsonValue ask(const QString& command, QJsonObject keys = {})
    {
        keys["command"] = command;
        const QJsonObject reply = answer(QJsonDocument(keys).toJson());
        return reply["ok"].toBool() ? reply["result"] : reply["error"];
    }
    QJsonValue service() { return ask("state")["service"]; }
};

} // namespace

class TerminalTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_terminal.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_terminal.start(
            program, {"--end-with-input", "--templates", DESK_SOURCE_DIR "/packaging/templates"});
        QVERIFY(m_terminal.waitForReadyRead(60000));
        QVERIFY(m_terminal.readLine().contains("control on ws://localhost:12345"));
        m_player.emplace();
        m_page.emplace();
        QVERIFY(m_player->isOpen() && m_page->open());
    }

    void cleanup()
    {
        m_page.reset();
        m_player.reset();
        m_terminal.terminate();
        AWAIT_EQUAL(m_terminal.state(), QProcess::NotRunning);
    }

    void buttonsOfTheServicesWindowsArePressed_data()
    {
        addRows<QString, QString, QString, QSize>(
            {{"with the pen", "ZCBeginSignAB", "signing", "确定", {800, 500}},
             {"with the pointer", "ZCCameraPic", "capture", "关闭退出", {1033, 481}}});
    }
    void buttonsOfTheServicesWindowsArePressed()
    {
        const auto [command, window, name, size] = row<QString, QString, QString, QSize>();
        const QJsonObject button{{"window", window}, {"button", name}};
        QCOMPARE(m_page->asked("ZCStartDeviceAB"), "ZCStartDeviceAB 1 ");
        m_page->command(command, {{"x", 240}, {"y", 150}, {"width", 800}, {"height", 500}});
        AWAIT_EQUAL(m_player->ask("state")["windows"][0]["window"], QJsonValue(window));
        QCOMPARE(m_player->ask("press", {{"window", window}, {"button", "x"}}),
                 "The window has no button \"x\".");
        const QJsonValue shown = m_player->ask("screenshot", {{"window", window}});
        const QByteArray png = QByteArray::fromBase64(shown["png"].toString().toLatin1());
        QCOMPARE(QImage::fromData(png).size(), size);
        QCOMPARE(m_player->ask("press", button), QJsonObject());
        // Nobody took a picture; the signature may be empty.
        QVERIFY(m_page->reply()["success"] == 1 || window == "capture");
        AWAIT_EQUAL(m_player->ask("state")["windows"], QJsonValue(QJsonArray()));
        QCOMPARE(m_player->ask("press", button), "No window \"" + window + "\" is open.");
    }

    void nonsenseIsRefusedAndChangesNothing()
    {
        const std::pair<const char*, const char*> requests[] = {
            {"{", "Not JSON"},
            {R"({"command": "fly"})", "no command \"fly\""},
            {R"({"command": "state", "x": 1})", "\"x\" is not known"},
            {R"({"command": "plug", "device": "pad"})", "plugged in already"},
            {R"({"command": "insertSim", "iccid": "12"})", "19 or 20 digits"},
            {R"({"command": "pen", "points": [[1280, 0, 1]]})", "1280 x 800"}};
        const QJsonValue before = m_player->ask("state");
        for (const auto& [request, complaint] : requests) {
            const QJsonObject reply = m_player->answer(request);
            QCOMPARE(reply["ok"], QJsonValue(false));
            QVERIFY2(reply["error"].toString().contains(complaint), complaint);
        }
        QCOMPARE(m_player->ask("state"), before);
    }

    void aServiceThatCrashesIsShownAndLeavesItsDevices()
    {
        QCOMPARE(m_page->asked("ZCStartDeviceAB"), "ZCStartDeviceAB 1 ");
        QCOMPARE(::kill(m_player->service()["processId"].toInt(), SIGKILL), 0);
        AWAIT_EQUAL(m_player->service()["lastExit"], QJsonObject({{"signal", SIGKILL}}));
        QCOMPARE(m_player->ask("stopService"), "The service is not running.");
        QTcpServer other;
        QVERIFY(other.listen(QHostAddress::Any, servicePort));
        QVERIFY(m_player->ask("startService").toString().contains("ss -ltnp"));
        other.close();
        QCOMPARE(m_player->ask("startService"), QJsonObject());
        QVERIFY(m_page.emplace().open());
        QCOMPARE(m_page->asked("ZCStartDeviceAB"), "ZCStartDeviceAB 1 ");
    }

    void pagesOfOtherSitesAreRefused()
    {
        const std::pair<const char*, bool> origins[] = {{"null", true}, // a page from disk
                                                        {"http://localhost:8080", true},
                                                        {"https://example.org", false},
                                                        {"http://localhost.example.org", false}};
        for (const auto& [origin, isWelcome] : origins) {
            DeskClient page(origin);
            QCOMPARE(page.open(isWelcome ? 60000 : 0, controlPort), isWelcome);
            QVERIFY(isWelcome || page.waitForClosed());
        }
    }

    void startsWithFreePortsOfThisMachineOnlyAndTellsItsOptions()
    {
        const QByteArray listening = outputOf("ss", {"-ltnH", "sport = :12345"});
        QVERIFY(listening.contains("127.0.0.1:12345"));
        QVERIFY(!listening.contains("0.0.0.0:12345") && !listening.contains("*:12345"));
        QVERIFY(outputOf(program, {"--control-port", "0"}).contains("ss -ltnp"));
        QVERIFY(outputOf(program, {"--control-port", "12343"}).contains("take another"));
        QVERIFY(outputOf("env", {"-u", "DISPLAY", program, "--help"}).contains("--control-port"));
    }

    void leavesNothingRunning_data()
    {
        // The kill comes last: the PC/SC daemon that it leaves keeps another from starting.
        addRows<QString>({{"ended", "end"}, {"without input", "close"}, {"killed", "kill"}});
    }
    void leavesNothingRunning()
    {
        const auto [way] = row<QString>();
        if (way == "close")
            m_terminal.closeWriteChannel();
        else
            way == "kill" ? m_terminal.kill() : m_terminal.terminate();
        AWAIT_EQUAL(m_terminal.state(), QProcess::NotRunning);
        AWAIT(!servicePortOpen()); // the service has ended, too
        if (way == "kill")
            return;
        QCOMPARE(m_terminal.exitCode(), 0);
        const QString own = QString::number(QCoreApplication::applicationPid());
        QCOMPARE(outputOf("pgrep", {"-x", "pcscd", "--ns", own, "--nslist", "net"}), QByteArray());
    }

private:
    QProcess m_terminal;
    std::optional<Player> m_player;
    std::optional<DeskClient> m_page;
};

QTEST_GUILESS_MAIN(TerminalTest)
#include "terminal_test.moc"
