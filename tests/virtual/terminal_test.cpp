// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The virtual terminal's program and its control port. What the commands do to the devices is
// tested through the console, which sends them (web/tests/console_desk.test.js).

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

// False for a zombie too: a container without an init keeps those whose parent has died.
bool runs(int process)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray stat = file.readAll();
    return stat[stat.lastIndexOf(") ") + 2] != 'Z';
}

QByteArray outputOf(const QString& name, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(name, arguments);
    process.waitForFinished(60000);
    return process.readAll();
}

/// \brief A client of the control port, which tells replies from events.
class Player : public DeskClient
{
public:
    Player() { open(60000, controlPort); }

    QJsonObject answer(const QString& request)
    {
        send(request);
        return next([](const QJsonObject& message) { return message.contains("ok"); });
    }
    /// The result, or what the command complains of as a text.
    QJsonValue ask(const QString& command, QJsonObject keys = {})
    {
        keys["command"] = command;
        const QJsonObject reply = answer(QJsonDocument(keys).toJson());
        return reply["ok"].toBool() ? reply["result"] : reply["error"];
    }
    QJsonValue service() { return ask("state")["service"]; }
    QJsonValue device(const char* name) { return ask("state")["devices"][name]; }

    /// The next message of a kind; empty when none comes.
    QJsonObject next(const std::function<bool(const QJsonObject&)>& isIt)
    {
        QJsonObject message = reply();
        while (!message.isEmpty() && !isIt(message))
            message = reply();
        return message;
    }
    /// Waits for an event with a state of the desk that is looked for.
    void waitForState(const std::function<bool(const QJsonValue&)>& isIt)
    {
        QVERIFY(
            !next([&](const QJsonObject& message) { return isIt(message["state"]); }).isEmpty());
    }
};

} // namespace

class TerminalTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_terminal.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_terminal.start(program, {"--templates", DESK_SOURCE_DIR "/packaging/templates"});
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

    void commandsChangeWhatTheServiceMeets()
    {
        const auto change = [this](const char* command, const char* key, const QJsonValue& value) {
            return m_player->ask(command, {{"device", "usbReader"}, {key, value}}).toString();
        };
        QCOMPARE(change("putCard", "card", QJsonObject{{"typeLetter", "A"}}), "");
        QCOMPARE(change("changeCard", "card", QJsonObject{{"name", "欧阳修"}}), "");
        const QJsonValue data = m_page->ask("ZCReadIDCard").value("data");
        QCOMPARE(data["CardType"], "A");
        QCOMPARE(data["name"], "欧阳修");
        QCOMPARE(change("break", "fault", "held"), "");
        QVERIFY(m_page->asked("ZCReadIDCard").startsWith("ZCReadIDCard 431003 "));
        QCOMPARE(m_player->device("usbReader")["fault"]["fault"], "held");
        QCOMPARE(m_player->ask("unplug", {{"device", "pad"}}), QJsonObject());
        QCOMPARE(m_player->ask("pen", {{"points", QJsonArray()}}), "\"pad\" is not plugged in.");
        QCOMPARE(m_page->asked("ZCDeviceExist"), "ZCDeviceExist 0 ");
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
        m_player->waitForState([&window = window](const QJsonValue& state) {
            return state["windows"][0]["window"] == window;
        });
        QCOMPARE(m_player->ask("press", {{"window", window}, {"button", "x"}}),
                 "The window has no button \"x\".");
        const QJsonValue shown = m_player->ask("screenshot", {{"window", window}});
        const QByteArray png = QByteArray::fromBase64(shown["png"].toString().toLatin1());
        QCOMPARE(QImage::fromData(png).size(), size);
        QCOMPARE(m_player->ask("press", button), QJsonObject());
        // Nobody took a picture; the signature may be empty.
        QVERIFY(m_page->reply()["success"] == 1 || window == "capture");
        m_player->waitForState(
            [](const QJsonValue& state) { return state["windows"] == QJsonArray(); });
        QCOMPARE(m_player->ask("press", button), "No window \"" + window + "\" is open.");
    }

    void nonsenseIsRefusedAndChangesNothing_data()
    {
        addRows<QString, QString>(
            {{"no JSON", "{", "Not JSON"},
             {"no such command", R"({"command": "fly"})", "no command \"fly\""},
             {"a key too many", R"({"command": "state", "x": 1})", "\"x\" is not known"},
             {"plugged in", R"({"command": "plug", "device": "pad"})", "plugged in already"},
             {"no photo",
              R"({"command": "putCard", "device": "usbReader", "card": {"photo": "AAAA"}})",
              "Base64 text of a PNG"},
             {"half a SIM", R"({"command": "insertSim", "iccid": "12"})", "19 or 20 digits"},
             {"beside the pad", R"({"command": "pen", "points": [[1280, 0, 1]]})", "1280 x 800"}});
    }
    void nonsenseIsRefusedAndChangesNothing()
    {
        const auto [request, complaint] = row<QString, QString>();
        const QJsonValue before = m_player->ask("state");
        const QJsonObject reply = m_player->answer(request);
        QCOMPARE(reply["ok"], QJsonValue(false));
        QVERIFY2(reply["error"].toString().contains(complaint),
                 qPrintable(reply["error"].toString()));
        QCOMPARE(m_player->ask("state"), before);
    }

    void anotherPlayerSeesTheChangesAndTheServicesLines()
    {
        Player other;
        m_player->ask("unplug", {{"device", "pad"}});
        other.waitForState([](const QJsonValue& state) {
            return state["devices"]["pad"]["plugged"] == QJsonValue(false);
        });
        m_page->send("{}");
        const QJsonObject line{{"event", "service"}, {"line", "pClient"}, {"stream", "error"}};
        QCOMPARE(other.next([&](const QJsonObject& message) { return message == line; }), line);
        other.sendBinary("x"); // is not listened to any longer
        QVERIFY(other.waitForClosed());
        QVERIFY(m_player->isOpen());
    }

    void aKilledServiceIsShownAndLeavesItsDevices()
    {
        QCOMPARE(m_page->asked("ZCStartDeviceAB"), "ZCStartDeviceAB 1 ");
        m_page->command("ZCBeginSignAB");
        m_page->ask("ZCDeviceExist"); // the pad is read now
        QCOMPARE(::kill(m_player->service()["processId"].toInt(), SIGKILL), 0);
        const QJsonObject killed{{"signal", SIGKILL}};
        m_player->waitForState(
            [&](const QJsonValue& state) { return state["service"]["lastExit"] == killed; });
        QCOMPARE(m_player->ask("stopService"), "The service is not running.");
        {
            QTcpServer other;
            QVERIFY(other.listen(QHostAddress::Any, servicePort));
            QVERIFY(m_player->ask("startService").toString().contains("ss -ltnp"));
        }
        QCOMPARE(m_player->ask("startService"), QJsonObject());
        QVERIFY(m_page.emplace().open());
        QCOMPARE(m_page->asked("ZCStartDeviceAB"), "ZCStartDeviceAB 1 ");
        QCOMPARE(m_player->ask("stopService"), QJsonObject());
        QCOMPARE(m_player->service()["lastExit"]["asked"], QJsonValue(true));
    }

    void pagesOfOtherSitesAreRefused_data()
    {
        addRows<QString, bool>(
            {{"page from disk", "null", true},
             {"page of this machine", "http://localhost:8080", true},
             {"site", "https://example.org", false},
             {"named like this machine", "http://localhost.example.org", false}});
    }
    void pagesOfOtherSitesAreRefused()
    {
        const auto [origin, welcome] = row<QString, bool>();
        QWebSocket page(origin);
        page.open(QUrl(QStringLiteral("ws://127.0.0.1:%1").arg(controlPort)));
        AWAIT(page.state() == QAbstractSocket::ConnectedState ||
              page.state() == QAbstractSocket::UnconnectedState);
        QCOMPARE(page.isValid(), welcome);
    }

    void startsWithFreePortsOfThisMachineOnlyAndTellsItsOptions()
    {
        const QByteArray listening = outputOf("ss", {"-ltnH", "sport = :12345"});
        QVERIFY(listening.contains("127.0.0.1:12345"));
        QVERIFY(!listening.contains("0.0.0.0:12345") && !listening.contains("*:12345"));
        QVERIFY(outputOf(program, {"--control-port", "0"}).contains("ss -ltnp"));
        QVERIFY(outputOf(program, {"--control-port", "12343"}).contains("take another"));
        const QByteArray display = qgetenv("DISPLAY");
        qunsetenv("DISPLAY");
        QVERIFY(outputOf(program, {"--help"}).contains("--control-port"));
        qputenv("DISPLAY", display);
    }

    void leavesNothingRunning_data()
    {
        // Killed at the very end: its PC/SC daemon leaves a number beside which none starts.
        addRows<bool>({{"ended", false}, {"killed", true}});
    }
    void leavesNothingRunning()
    {
        const auto [isKilled] = row<bool>();
        const int service = m_player->service()["processId"].toInt();
        isKilled ? m_terminal.kill() : m_terminal.terminate();
        AWAIT_EQUAL(m_terminal.state(), QProcess::NotRunning);
        AWAIT(!runs(service) && !servicePortOpen());
        if (isKilled)
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
