// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The virtual terminal as a page and its developer use it: the program itself, its control port,
// and what the service then answers.

#include "virtual/camera/camera_picture.h"
#include "virtual/cards/identity_card.h"
#include "virtual/cards/portrait.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/window_operator.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QHostAddress>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkInterface>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

#include <signal.h>

using namespace virtual_desk;

namespace {

constexpr quint16 controlPort = 12345;
constexpr char program[] = DESK_BIN_DIR "/virtual-terminal";
constexpr char templates[] = DESK_SOURCE_DIR "/packaging/templates";

QString base64Png(const QImage& picture)
{
    QByteArray file;
    QBuffer buffer(&file);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "png");
    return QString::fromLatin1(file.toBase64());
}

QImage decoded(const QJsonValue& base64)
{
    return QImage::fromData(QByteArray::fromBase64(base64.toString().toLatin1()));
}

// False for a zombie too: a container without an init keeps those whose parent has died.
bool runs(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray stat = file.readAll();
    const int name = stat.lastIndexOf(") ");
    return name > 0 && stat[name + 2] != 'Z';
}

// A client of the control port, which tells replies from events.
class Player
{
public:
    bool open() { return m_client.open(5000, controlPort); }

    QJsonObject ask(QJsonObject request)
    {
        request.insert("id", ++m_lastId);
        m_client.send(QString::fromUtf8(QJsonDocument(request).toJson()));
        return reply();
    }
    QJsonObject askText(const QString& text)
    {
        m_client.send(text);
        return reply();
    }
    // What a command complains of; empty when it was carried out.
    QString error(const QJsonObject& request) { return ask(request)["error"].toString(); }

    QJsonObject state() { return ask({{"command", "state"}})["result"].toObject(); }
    QJsonObject device(const QString& name)
    {
        return state()["devices"].toObject()[name].toObject();
    }

    // The next state event that says what is looked for.
    template <typename Condition>
    bool waitForState(Condition condition)
    {
        for (;;) {
            const QJsonObject event = m_client.reply();
            if (event.isEmpty())
                return false;
            if (event["event"] == "state" && condition(event["state"].toObject()))
                return true;
        }
    }

    DeskClient& client() { return m_client; }

private:
    QJsonObject reply()
    {
        for (;;) {
            const QJsonObject message = m_client.reply(10000);
            if (message.isEmpty() || message.contains("ok"))
                return message;
        }
    }

    DeskClient m_client;
    int m_lastId = 0;
};

} // namespace

class TerminalTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_terminal.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        startTerminal();
    }

    // Each test begins with everything plugged in and whole.
    void init()
    {
        m_player = std::make_unique<Player>();
        m_page = std::make_unique<DeskClient>();
        QVERIFY(m_player->open());
        if (!m_player->state()["service"].toObject()["running"].toBool())
            QCOMPARE(m_player->error({{"command", "startService"}}), QString());
        const QJsonObject devices = m_player->state()["devices"].toObject();
        for (const QString& name : devices.keys()) {
            m_player->ask({{"command", "repair"}, {"device", name}});
            m_player->ask({{"command", "plug"}, {"device", name}});
        }
        QVERIFY(m_page->open());
    }

    void cleanup()
    {
        m_page.reset();
        m_player.reset();
    }

    void everythingIsThereAtFirst()
    {
        const QJsonObject devices = m_player->state()["devices"].toObject();
        QCOMPARE(devices.size(), 6);
        for (const QJsonValue& device : devices)
            QCOMPARE(device.toObject()["plugged"].toBool(), true);
        QCOMPARE(devices["hidReader"].toObject()["card"].toObject()["type"].toString(),
                 QStringLiteral("permanentResidence"));
        QCOMPARE(m_page->ask("ZCReadHIDIDCard")["data"].toObject()["name"].toString(),
                 QStringLiteral("马安娜"));
    }

    void cardsAreLaidDownChangedAndTaken_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("key");
        QTest::newRow("resident") << "resident"
                                  << "address";
        QTest::newRow("permanent residence") << "permanentResidence"
                                             << "nationCode";
        QTest::newRow("permit") << "residencePermit"
                                << "passNum";
    }
    void cardsAreLaidDownChangedAndTaken()
    {
        QFETCH(QString, type);
        QFETCH(QString, key);
        for (const auto& [reader, function] :
             {std::pair("usbReader", "ZCReadIDCard"), std::pair("hidReader", "ZCReadHIDIDCard")}) {
            const QJsonObject card{
                {"type", type}, {"name", "欧阳修"}, {"portrait", 2}, {"fingerprints", false}};
            QCOMPARE(m_player->error({{"command", "putCard"}, {"device", reader}, {"card", card}}),
                     QString());
            QJsonObject data = m_page->ask(function)["data"].toObject();
            QCOMPARE(data["name"].toString(), QStringLiteral("欧阳修"));
            QCOMPARE(data["figData"].toString(), QString());
            const QImage photo = decoded(data["photo"]).convertToFormat(QImage::Format_RGB32);
            QCOMPARE(photo.size(), QSize(102, 126));
            QVERIFY(virtual_desk::sceneDifference(photo, drawPortrait(2)) < 10);

            const QJsonObject change{{key, "ABC"},
                                     {"fingerprints", true},
                                     {"photo", base64Png(drawPortrait(1).scaled(408, 504))}};
            QCOMPARE(
                m_player->error({{"command", "changeCard"}, {"device", reader}, {"card", change}}),
                QString());
            data = m_page->ask(function)["data"].toObject();
            QCOMPARE(data["name"].toString(), QStringLiteral("欧阳修"));
            QVERIFY(data[key].toString().startsWith("ABC"));
            QCOMPARE(data["figData"].toString().size(), 2048);
            QVERIFY(virtual_desk::sceneDifference(decoded(data["photo"]), drawPortrait(1)) < 10);

            QCOMPARE(m_player->error({{"command", "takeCard"}, {"device", reader}}), QString());
            QCOMPARE(m_player->device(reader)["card"], QJsonValue());
            QVERIFY(m_page->ask(function)["msg"].toString().endsWith("失败"));
        }
    }

    void aResidentCardHoldsAnyTypeLetter()
    {
        const QJsonObject card{{"typeLetter", "A"}};
        QCOMPARE(m_player->error({{"command", "putCard"}, {"device", "usbReader"}, {"card", card}}),
                 QString());
        QCOMPARE(m_page->ask("ZCReadIDCard")["data"].toObject()["CardType"].toString(),
                 QStringLiteral("A"));
    }

    void faultsAreWhatTheServiceMeets_data()
    {
        QTest::addColumn<QJsonObject>("request");
        QTest::addColumn<QString>("function");
        QTest::addColumn<int>("success");
        const auto row = [](const char* device, const char* fault, const QJsonObject& keys,
                            const char* function, int success) {
            QJsonObject request{{"command", "break"}, {"device", device}, {"fault", fault}};
            for (auto key = keys.begin(); key != keys.end(); ++key)
                request.insert(key.key(), key.value());
            QTest::addRow("%s %s", device, fault) << request << QString(function) << success;
        };
        row("pad", "held", {}, "ZCStartDeviceAB", -2);
        row("usbReader", "held", {}, "ZCReadIDCard", 431003);
        row("usbReader", "stall", {}, "ZCReadIDCard", 0);
        row("usbReader", "silent", {}, "ZCGetSAMNum", -1);
        row("usbReader", "unplugAt", {{"transfer", 6}}, "ZCReadIDCard", 431003);
        row("usbReader", "status", {{"of", "readCard"}, {"status", "000041"}}, "ZCReadIDCard",
            431004);
        row("hidReader", "result", {{"of", "selectCard"}, {"result", 1}}, "ZCReadHIDIDCard", -2);
        row("hidReader", "held", {}, "ZCReadHIDIDCard", -12);
        row("simReader", "crashed", {}, "ZCSIMCard", 0);
    }
    void faultsAreWhatTheServiceMeets()
    {
        QFETCH(QJsonObject, request);
        QFETCH(QString, function);
        QFETCH(int, success);
        const QString name = request["device"].toString();
        m_player->ask({{"command", "putCard"}, {"device", name}, {"card", QJsonObject()}});
        QCOMPARE(m_player->error(request), QString());
        QCOMPARE(m_player->device(name)["fault"].toObject()["fault"], request["fault"]);
        QCOMPARE(m_page->ask(function, {}, 20000)["success"].toInt(99), success);

        QCOMPARE(m_player->error({{"command", "repair"}, {"device", name}}), QString());
        m_player->ask({{"command", "plug"}, {"device", name}});
        QCOMPARE(m_player->device(name)["fault"], QJsonValue());
        m_page->close(); // a second reply of the SIM is not this answer
        DeskClient page;
        QVERIFY(page.open());
        const QJsonObject answer = page.ask(function, {}, 20000);
        QVERIFY2(answer["success"].toInt() == 1 || answer["err_code"].toInt(99) == 0,
                 qPrintable(answer["msg"].toString()));
    }

    void theModuleIsExchanged()
    {
        for (const char* module : {"0501", "0503"}) {
            QCOMPARE(m_player->error({{"command", "setModule"}, {"module", module}}), QString());
            QVERIFY(m_player->error({{"command", "log"}, {"device", "usbReader"}, {"clear", true}})
                        .isEmpty());
            m_page->ask("ZCReadIDCard", {}, 20000);
            const QJsonArray lines =
                m_player->ask({{"command", "log"}, {"device", "usbReader"}})["result"]
                    .toObject()["lines"]
                    .toArray();
            QCOMPARE(lines.contains("out 06: 20 01 22"), module == QByteArray("0501"));
        }
    }

    void aSimIsPulledAndAnotherInserted()
    {
        QCOMPARE(m_player->error({{"command", "insertSim"}, {"iccid", "8986011345678901230"}}),
                 QString());
        QCOMPARE(m_page->ask("ZCSIMCard")["data"].toString(),
                 QStringLiteral("8986011345678901230F"));
        QVERIFY(!m_page->text().isEmpty());
        QCOMPARE(m_player->error({{"command", "pullSim"}}), QString());
        QCOMPARE(m_player->device("simReader")["iccid"], QJsonValue());
        QCOMPARE(m_page->ask("ZCSIMCard")["success"].toInt(9), 0);
        QString code; // the service's line with the library's code: no card, not a silent one
        for (QJsonObject event{{"line", ""}}; !event.isEmpty() && !code.contains("t_nRe");) {
            event = m_player->client().reply();
            code = event["line"].toString();
        }
        QVERIFY2(code.endsWith("t_nRe = 8010000C"), qPrintable(code));
        QCOMPARE(
            m_player->error({{"command", "break"}, {"device", "simReader"}, {"fault", "frozen"}}),
            QString());
        QVERIFY(m_player->error({{"command", "insertSim"}}).contains("repair"));
    }

    void thePenWritesASignature()
    {
        QCOMPARE(m_page->ask("ZCStartDeviceAB")["success"].toInt(), 1);
        m_page->command("ZCBeginSignAB", {{"x", 0}, {"y", 0}, {"width", 400}, {"height", 300}});
        QVERIFY(WindowOperator("HandWriting").waitForWindows(1));
        const auto write = [this](const QJsonArray& points) {
            return m_player->ask({{"command", "pen"}, {"points", points}})["result"]
                .toObject()["read"]
                .toBool();
        };
        QTRY_VERIFY(write({}));
        QVERIFY(
            write({QJsonArray{100, 80, 900}, QJsonArray{200, 150, 900}, QJsonArray{200, 150, 0}}));
        QTRY_COMPARE(m_player->device("pad")["waiting"].toInt(), 0);
        QVERIFY(write({QJsonArray{380, 280, 300}, QJsonArray{380, 280, 0}}));
        const QJsonObject reply = m_page->reply();
        QCOMPARE(reply["functionName"].toString(), QStringLiteral("ZCOutputImageBase64AB"));
        const QImage picture = decoded(reply["Base64"]);
        const int titleHeight = 300 - 2 - 60 - picture.height();
        QCOMPARE(QColor(picture.pixel(150, 115 - titleHeight)), QColor(Qt::black));

        m_page->ask("ZCStopDeviceAB");
        QTRY_VERIFY(!write({QJsonArray{10, 10, 500}}));
        QCOMPARE(m_player->device("pad")["waiting"].toInt(), 0);
    }

    void aCameraShowsWhatItIsGiven()
    {
        QImage blue(64, 48, QImage::Format_RGB32);
        blue.fill(QColor(0, 0, 200));
        const QJsonObject request{
            {"command", "setPicture"}, {"device", "documentCamera"}, {"image", base64Png(blue)}};
        m_page->command("ZCCameraPic");
        const CaptureOperator clerk;
        QVERIFY(clerk.waitForWindows(1));
        QCOMPARE(m_player->error(request), QString()); // in the middle of the preview
        QTest::qWait(300);
        QVERIFY(clerk.takePicture());
        QTest::qWait(200);
        QVERIFY(clerk.handOver());
        const QColor middle = decoded(m_page->reply(10000)["Base64"]).pixelColor(320, 300);
        QVERIFY2(middle.blue() > 150 && middle.red() < 60, qPrintable(middle.name()));
        QCOMPARE(m_player->device("documentCamera")["scene"].toString(), QStringLiteral("image"));
    }

    void nonsenseIsRefusedAndChangesNothing_data()
    {
        QTest::addColumn<QString>("request");
        QTest::addColumn<QString>("complaint");
        const auto row = [](const char* request, const char* complaint) {
            QTest::newRow(request) << QString(request) << QString(complaint);
        };
        row("", "Not JSON");
        row("{", "Not JSON");
        row("[1]", "one JSON object");
        row(R"({"id": 1})", "\"command\" is missing");
        row(R"({"command": 5})", "\"command\" must be a string");
        row(R"({"command": "fly"})", "no command \"fly\"");
        row(R"({"command": "state", "x": 1})", "\"x\" is not known");
        row(R"({"command": "plug"})", "\"device\" is missing");
        row(R"({"command": "plug", "device": "printer"})", "\"printer\" is no value of \"device\"");
        row(R"({"command": "plug", "device": "pad"})", "plugged in already");
        row(R"({"command": "break", "device": "pad", "fault": "garbage"})", "no fault \"garbage\"");
        row(R"({"command": "break", "device": "usbReader", "fault": "slow", "milliseconds": 0})",
            "from 1 to 60000");
        row(R"({"command": "break", "device": "usbReader", "fault": "slow", "milliseconds": 1.5})",
            "from 1 to 60000");
        row(R"({"command": "break", "device": "usbReader", "fault": "status", "of": "findCard",
               "status": "12345g"})",
            "six hexadecimal digits");
        row(R"({"command": "putCard", "device": "pad", "card": {}})", "no value of \"device\"");
        row(R"({"command": "putCard", "device": "usbReader", "card": {"type": "visa"}})",
            "\"visa\" is no value");
        row(R"({"command": "putCard", "device": "usbReader", "card": {"name": "一二三四五六七八九十一二三四五六"}})",
            "room for 15");
        row(R"({"command": "putCard", "device": "usbReader", "card": {"passNum": "1"}})",
            "no \"passNum\"");
        row(R"({"command": "putCard", "device": "usbReader",
               "card": {"type": "residencePermit", "typeLetter": "I"}})",
            "no \"typeLetter\"");
        row(R"({"command": "putCard", "device": "usbReader", "card": {"photo": "AAAA"}})",
            "Base64 text of a PNG");
        row(R"({"command": "putCard", "device": "usbReader", "card": {"portrait": 3}})", "0 to 2");
        row(R"({"command": "changeCard", "device": "hidReader", "card": {"type": "resident"}})",
            "\"type\" is not known");
        row(R"({"command": "setModule", "module": "0502"})", "\"0502\" is no value");
        row(R"({"command": "insertSim", "iccid": "12"})", "19 or 20 digits");
        row(R"({"command": "pen", "points": [[1, 2]]})", "[x, y, pressure]");
        row(R"({"command": "pen", "points": [[1280, 0, 1]]})", "1280 x 800");
        row(R"({"command": "pen", "points": [[0, 0, 1024]]})", "0 to 1023");
        row(R"({"command": "pen", "points": [], "display": [0, 10]})", "[width, height]");
        row(R"({"command": "setPicture", "device": "documentCamera"})", "Either");
        row(R"({"command": "log", "device": "simReader"})", "no value of \"device\"");
        row(R"({"command": "screenshot", "display": "left"})", "no value of \"display\"");
        row(R"({"command": "startService"})", "running already");
    }
    void nonsenseIsRefusedAndChangesNothing()
    {
        QFETCH(QString, request);
        QFETCH(QString, complaint);
        m_player->ask({{"command", "putCard"}, {"device", "hidReader"}, {"card", QJsonObject()}});
        const QJsonObject before = m_player->state();
        const QJsonObject reply = m_player->askText(request);
        QCOMPARE(reply["ok"], QJsonValue(false));
        QVERIFY2(reply["error"].toString().contains(complaint),
                 qPrintable(reply["error"].toString()));
        QCOMPARE(m_player->state(), before);
    }

    void whatIsNotPluggedInSaysSo_data()
    {
        QTest::addColumn<QString>("device");
        QTest::addColumn<QJsonObject>("request");
        QTest::newRow("pen") << "pad" << QJsonObject{{"command", "pen"}, {"points", QJsonArray()}};
        QTest::newRow("SIM in") << "simReader" << QJsonObject{{"command", "insertSim"}};
        QTest::newRow("SIM out") << "simReader" << QJsonObject{{"command", "pullSim"}};
        QTest::newRow("again") << "documentCamera"
                               << QJsonObject{{"command", "unplug"}, {"device", "documentCamera"}};
    }
    void whatIsNotPluggedInSaysSo()
    {
        QFETCH(QString, device);
        QFETCH(QJsonObject, request);
        QCOMPARE(m_player->error({{"command", "unplug"}, {"device", device}}), QString());
        QCOMPARE(m_player->error(request), QStringLiteral("\"%1\" is not plugged in.").arg(device));
    }

    void twoPlayersSeeEachOthersChanges()
    {
        Player other;
        QVERIFY(other.open());
        m_player->ask({{"command", "unplug"}, {"device", "pad"}});
        QVERIFY(other.waitForState([](const QJsonObject& state) {
            return !state["devices"].toObject()["pad"].toObject()["plugged"].toBool(true);
        }));
        QCOMPARE(m_page->ask("ZCDeviceExist")["success"].toInt(9), 0);
    }

    void theServicesEndIsShown()
    {
        const QJsonObject service = m_player->state()["service"].toObject();
        QVERIFY(::kill(static_cast<pid_t>(service["processId"].toInt()), SIGKILL) == 0);
        QVERIFY(m_player->waitForState([](const QJsonObject& state) {
            return state["service"].toObject()["lastExit"] ==
                   QJsonValue(QJsonObject{{"signal", SIGKILL}});
        }));
        QCOMPARE(m_player->error({{"command", "stopService"}}),
                 QStringLiteral("The service is not running."));
        QCOMPARE(m_player->error({{"command", "startService"}}), QString());
        QCOMPARE(m_player->state()["service"].toObject()["starts"].toInt(),
                 service["starts"].toInt() + 1);
        QCOMPARE(m_player->error({{"command", "stopService"}}), QString());
        QCOMPARE(m_player->state()["service"].toObject()["lastExit"].toObject()["asked"].toBool(),
                 true);
    }

    void theServiceIsNotStartedOnATakenPort()
    {
        QCOMPARE(m_player->error({{"command", "stopService"}}), QString());
        QTcpServer other;
        QVERIFY(other.listen(QHostAddress::Any, servicePort));
        QVERIFY(m_player->error({{"command", "startService"}}).contains("ss -ltnp"));
        QCOMPARE(m_player->state()["service"].toObject()["running"].toBool(), false);
    }

    void whatTheServiceWritesIsPassedOn()
    {
        m_page->send(QStringLiteral("{}"));
        const QJsonObject expected{{"event", "service"}, {"line", "pClient"}, {"stream", "error"}};
        QJsonObject event;
        do
            event = m_player->client().reply();
        while (!event.isEmpty() && event != expected);
        QCOMPARE(event, expected);
    }

    void pagesOfOtherSitesAreRefused_data()
    {
        QTest::addColumn<QString>("origin");
        QTest::addColumn<bool>("welcome");
        QTest::newRow("program") << "" << true;
        QTest::newRow("page from disk") << "null" << true;
        QTest::newRow("file") << "file://" << true;
        QTest::newRow("page of this machine") << "http://localhost:8080" << true;
        QTest::newRow("site") << "https://example.org" << false;
        QTest::newRow("site that begins like this machine")
            << "http://localhost.example.org" << false;
    }
    void pagesOfOtherSitesAreRefused()
    {
        QFETCH(QString, origin);
        QFETCH(bool, welcome);
        QWebSocket page(origin);
        page.open(QUrl(QStringLiteral("ws://127.0.0.1:%1").arg(controlPort)));
        QTRY_VERIFY(page.state() == QAbstractSocket::ConnectedState ||
                    page.state() == QAbstractSocket::UnconnectedState);
        QCOMPARE(page.isValid(), welcome);
    }

    void onlyThisMachineReachesThePort()
    {
        QProcess listing;
        listing.start("ss", {"-ltnH", QStringLiteral("sport = :%1").arg(controlPort)});
        QVERIFY(listing.waitForFinished());
        const QList<QByteArray> lines = listing.readAllStandardOutput().trimmed().split('\n');
        for (const QByteArray& line : lines)
            QVERIFY2(line.contains("127.0.0.1:") || line.contains("[::1]:"), line.constData());
    }

    void binaryMessagesEndTheConnection()
    {
        m_player->client().sendBinary("x");
        QVERIFY(m_player->client().waitForClosed());
        Player other;
        QVERIFY(other.open());
    }

    void aTakenPortIsNamed()
    {
        for (const quint16 port : {servicePort, controlPort}) {
            QStringList options{"--control-port", "12399"};
            QTcpServer other;
            if (port == controlPort) {
                QVERIFY(other.listen(QHostAddress::LocalHost, 12399));
                stopTerminal();
            }
            QProcess second;
            second.start(program, options);
            QVERIFY(second.waitForFinished(20000));
            QCOMPARE(second.exitCode(), 1);
            const QByteArray words = second.readAllStandardError();
            QVERIFY2(words.contains(port == servicePort ? "12343" : "12399") &&
                         words.contains("ss "),
                     words.constData());
        }
        startTerminal();
    }

    void itTellsItsOptionsWithoutADisplay()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("DISPLAY");
        QProcess help;
        help.setProcessEnvironment(environment);
        help.start(program, {"--help"});
        QVERIFY(help.waitForFinished(60000));
        QVERIFY(help.readAllStandardOutput().contains("--control-port"));
        QCOMPARE(help.exitCode(), 0);
    }

    void itEndsInOrderAndLeavesNothingRunning()
    {
        const qint64 service = m_player->state()["service"].toObject()["processId"].toInt();
        stopTerminal();
        QCOMPARE(m_terminal.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_terminal.exitCode(), 0);
        QVERIFY(!runs(service));
        QVERIFY(!servicePortOpen());
        QProcess daemons;
        daemons.start("pgrep",
                      {"-x", "pcscd", "--ns", QString::number(QCoreApplication::applicationPid()),
                       "--nslist", "net"});
        QVERIFY(daemons.waitForFinished());
        QCOMPARE(daemons.readAllStandardOutput(), QByteArray());
        startTerminal();
    }

    void theServiceGoesWithAKilledTerminal()
    {
        const qint64 service = m_player->state()["service"].toObject()["processId"].toInt();
        m_terminal.kill();
        QVERIFY(m_terminal.waitForFinished());
        QTRY_VERIFY(!servicePortOpen());
        QTRY_VERIFY(!runs(service));
        forgetKilledDaemon();
        startTerminal();
    }

private:
    void startTerminal()
    {
        m_terminal.start(program, {"--templates", templates});
        QTRY_VERIFY2_WITH_TIMEOUT(m_terminal.canReadLine() || m_terminal.waitForReadyRead(100),
                                  "no line that says it is ready", 20000);
        QVERIFY(m_terminal.readLine().contains("control on ws://localhost:12345"));
    }

    void stopTerminal()
    {
        m_terminal.terminate();
        QVERIFY(m_terminal.waitForFinished(10000));
    }

    // The next PC/SC daemon would not start beside the number of one that is a zombie.
    static void forgetKilledDaemon()
    {
        QFile number(QStringLiteral("/run/pcscd/pcscd.pid"));
        QVERIFY(number.open(QIODevice::ReadOnly));
        const qint64 daemon = number.readAll().trimmed().toLongLong();
        QTRY_VERIFY(!runs(daemon));
        QVERIFY(number.remove() && QFile::remove(QStringLiteral("/run/pcscd/pcscd.comm")));
    }

    QProcess m_terminal;
    std::unique_ptr<Player> m_player;
    std::unique_ptr<DeskClient> m_page;
};

QTEST_MAIN(TerminalTest)
#include "terminal_test.moc"
