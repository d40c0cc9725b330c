// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"

#include <QHostAddress>
#include <QTcpSocket>
#include <QTest>

#include <sys/resource.h>

#include <memory>
#include <vector>

using namespace virtual_desk;

namespace {

const QByteArray upgradeRequest =
    "GET / HTTP/1.1\r\nHost: 127.0.0.1:12343\r\nUpgrade: websocket\r\n"
    "Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";

// AddressSanitizer keeps what was freed for a while.
#ifdef __SANITIZE_ADDRESS__
constexpr qint64 allowedGrowthKiB = 512 * 1024;
#else
constexpr qint64 allowedGrowthKiB = 64 * 1024;
#endif

void liftOwnDescriptorLimit()
{
    rlimit descriptors{};
    getrlimit(RLIMIT_NOFILE, &descriptors);
    descriptors.rlim_cur = descriptors.rlim_max;
    setrlimit(RLIMIT_NOFILE, &descriptors);
}

// A socket below the WebSocket layer, for clients that do not keep to it.
std::unique_ptr<QTcpSocket> rawConnection()
{
    auto socket = std::make_unique<QTcpSocket>();
    socket->connectToHost(QHostAddress(QHostAddress::LocalHost), servicePort);
    return socket->waitForConnected(2000) ? std::move(socket) : nullptr;
}

} // namespace

class ProtocolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_service = std::make_unique<ServiceProcess>();
        QVERIFY(m_service->start());
    }

    void cleanup()
    {
        QVERIFY2(m_service->isRunning(), "the service must outlive whatever its clients do");
        m_service.reset();
    }

    void writesItsStartUpDiagnosticsInOrder()
    {
        QVERIFY(m_service->waitForError("20220711\n"));
        QCOMPARE(m_service->standardError(),
                 QByteArray("hello world\nhello World\nThis is a debug message\n"
                            "This is a warning message\nThis is a critical message\n****\n"
                            "20220711\n"));
        QCOMPARE(m_service->standardOutput(), QByteArray());
    }

    void sendsUnknownRequestsBack_data()
    {
        QTest::addColumn<QString>("request");
        QTest::addColumn<QString>("answer");
        const auto same = [](const char* name, const QString& text) {
            QTest::newRow(name) << text << text;
        };
        same("unknown command", R"({"function":"nothing"})");
        same("no command", R"({"x":1})");
        same("lower case", R"({"function":"zcsimcard"})");
        same("trailing space", R"({"function":"ZCSIMCard "})");
        same("unknown act", R"({"act":"Test"})");
        same("array", R"([{"function":"ZCSIMCard"}])");
        same("not JSON", QStringLiteral("你好, desk"));
        same("empty", "");
        same("deep nesting", QString(10000, '['));
        same("a picture's worth of text", QString(300000, 'x'));
        QTest::newRow("single quotes") << "{'function':'it''s'}"
                                       << R"({"function":"it""s"})";
    }

    void sendsUnknownRequestsBack()
    {
        QFETCH(QString, request);
        QFETCH(QString, answer);
        DeskClient client;
        QVERIFY(client.open());
        m_service->forgetOutput();
        client.send(request);
        QCOMPARE(client.text(), answer);
        QVERIFY(client.silentFor(50));
        QVERIFY(m_service->waitForError("\n"));
        QCOMPARE(m_service->standardError(), QByteArray("pClient\n"));
    }

    void echoesBinaryFrames()
    {
        DeskClient client;
        QVERIFY(client.open());
        for (const int size : {0, 1, 125, 126, 65535, 65536, 4 << 20}) {
            const QByteArray bytes(size, '\xA7');
            client.sendBinary(bytes);
            QCOMPARE(client.binary(), bytes);
        }
        client.sendBinary(R"({"function":"ZCSIMCard"})");
        QCOMPARE(client.binary(), QByteArray(R"({"function":"ZCSIMCard"})"));
        QVERIFY(client.silentFor(50));
    }

    void keepsTheOrderOfTextAndBinaryFrames()
    {
        QWebSocket socket;
        QStringList received;
        connect(&socket, &QWebSocket::textMessageReceived, this,
                [&](const QString& text) { received << "text " + text; });
        connect(&socket, &QWebSocket::binaryMessageReceived, this,
                [&](const QByteArray& bytes) { received << "binary " + QString(bytes); });
        socket.open(QUrl(QStringLiteral("ws://127.0.0.1:%1/").arg(servicePort)));
        QTRY_COMPARE(socket.state(), QAbstractSocket::ConnectedState);
        QStringList sent;
        for (int i = 0; i < 200; ++i) {
            const QString number = QString::number(i);
            sent << (i % 3 == 0 ? "binary " : "text ") + number;
            i % 3 == 0 ? socket.sendBinaryMessage(number.toLatin1())
                       : socket.sendTextMessage(number);
        }
        QTRY_COMPARE(received.size(), sent.size());
        QCOMPARE(received, sent);
    }

    void answersOnlyTheSender()
    {
        DeskClient first;
        DeskClient second;
        QVERIFY(first.open());
        QVERIFY(second.open());
        first.send("mine");
        QCOMPARE(first.text(), QString("mine"));
        QVERIFY(second.silentFor(100));
    }

    void answersWithTheTagOfTheLatestRequest()
    {
        DeskClient client;
        QVERIFY(client.open());
        client.send("{'function':'ZCSIMCard','_tflag':'a1'}");
        QCOMPARE(client.text(), QString(R"({"_tflag":"a1","functionName":"ZCSIMCard",)"
                                        R"("msg":"打开设备端口失败","success":0})"));
        client.send(R"({"function":"ZCSIMCard"})");
        QCOMPARE(client.text(), QString(R"({"_tflag":"","functionName":"ZCSIMCard",)"
                                        R"("msg":"打开设备端口失败","success":0})"));
    }

    void acceptsTheHidOpenCommandWithoutAnAnswer()
    {
        DeskClient client;
        QVERIFY(client.open());
        m_service->forgetOutput();
        client.command("ZCReadHIDOpen");
        QVERIFY(m_service->waitForError("ZCReadHIDOpen\n"));
        QVERIFY(client.silentFor(100));
    }

    void aSecondServiceRunsWithoutClients()
    {
        ServiceProcess second;
        QVERIFY(second.launch());
        QVERIFY(second.waitForError("20220711\n"));
        QTest::qWait(300);
        QVERIFY(second.isRunning());
        QVERIFY(second.standardError().endsWith("20220711\n"));
        DeskClient client;
        QVERIFY(client.open());
        client.send("still the first");
        QCOMPARE(client.text(), QString("still the first"));
        m_service->stop();
        QVERIFY(!servicePortOpen());
        QVERIFY(m_service->start());
    }

    void survivesClientsThatDoNotKeepToTheProtocol_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        // Client frames are masked; a mask of zeros leaves the payload readable.
        const QByteArray zeroMask(4, '\0');
        QTest::newRow("noise") << QByteArray(5000, '\xFF');
        QTest::newRow("invalid UTF-8")
            << upgradeRequest + QByteArray("\x81\x84", 2) + zeroMask + "\xC3\x28\xA0\xFF";
        QTest::newRow("unmasked frame") << upgradeRequest + QByteArray("\x81\x02hi", 4);
        QTest::newRow("reserved opcode") << upgradeRequest + QByteArray("\x83\x80", 2) + zeroMask;
        QTest::newRow("endless frame")
            << upgradeRequest + QByteArray("\x82\xFF\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 10) +
                   zeroMask;
        QTest::newRow("half a frame")
            << upgradeRequest + QByteArray("\x81\xFE\x10\x00", 4) + zeroMask + "{\"func";
        QTest::newRow("command and gone") << upgradeRequest + QByteArray("\x81\x98", 2) + zeroMask +
                                                 R"({"function":"ZCSIMCard"})";
    }

    void survivesClientsThatDoNotKeepToTheProtocol()
    {
        QFETCH(QByteArray, bytes);
        DeskClient neighbour;
        QVERIFY(neighbour.open());
        for (int i = 0; i < 20; ++i) {
            const auto socket = rawConnection();
            QVERIFY(socket);
            socket->write(bytes);
            socket->waitForBytesWritten(500);
            if (i % 2 == 0)
                socket->waitForReadyRead(50);
            socket->abort();
        }
        neighbour.send("unaffected");
        QCOMPARE(neighbour.text(), QString("unaffected"));
    }

    void keepsDescriptorsForWindowsWhoeverConnects_data()
    {
        QTest::addColumn<QByteArray>("greeting");
        QTest::newRow("half open") << QByteArray();
        QTest::newRow("open") << upgradeRequest;
    }

    void keepsDescriptorsForWindowsWhoeverConnects()
    {
        QFETCH(QByteArray, greeting);
        liftOwnDescriptorLimit();
        const rlimit usual{1024, 1024};
        QCOMPARE(
            prlimit(static_cast<pid_t>(m_service->processId()), RLIMIT_NOFILE, &usual, nullptr), 0);
        DeskClient page;
        QVERIFY(page.open());
        std::vector<std::unique_ptr<QTcpSocket>> crowd;
        for (int i = 0; i < 1100; ++i) {
            crowd.push_back(rawConnection());
            QVERIFY(crowd.back());
            crowd.back()->write(greeting);
            crowd.back()->flush();
        }
        QTRY_VERIFY(m_service->openDescriptors() > 900);
        page.command("ZCBeginSignAB", {{"width", 400}, {"height", 300}});
        QCOMPARE(page.ask("ZCSetModeAB", {}, 60000).value("msg").toString(), QString("签名进行中"));
        QVERIFY(m_service->openDescriptors() < 1000);
        crowd.clear();
        DeskClient late;
        QVERIFY2(late.open(60000), "accepting must go on when descriptors are free again");
        QCOMPARE(late.ask("ZCEndSignAB", {}, 60000).value("success").toInt(), 1);
        QCOMPARE(page.ask("ZCSetModeAB", {}, 60000).value("success").toInt(), 1);
    }

    void aClientThatDoesNotReadIsDropped_data()
    {
        QTest::addColumn<QByteArray>("frames");
        const QByteArray ping = QByteArray::fromHex("89FD00000000") + QByteArray(125, 'x');
        QTest::newRow("echoes") << QByteArray::fromHex("82FF000000000040000000000000") +
                                       QByteArray(4 << 20, 'x');
        QTest::newRow("pings") << ping.repeated(32000);
    }

    void aClientThatDoesNotReadIsDropped()
    {
        QFETCH(QByteArray, frames);
        DeskClient neighbour;
        QVERIFY(neighbour.open());
        const auto deaf = rawConnection();
        QVERIFY(deaf);
        deaf->setReadBufferSize(1);
        deaf->write(upgradeRequest);
        const qint64 before = m_service->residentKiB();
        for (int i = 0; i < 40 && deaf->state() == QAbstractSocket::ConnectedState; ++i) {
            deaf->write(frames);
            while (deaf->bytesToWrite() > 0 && deaf->waitForBytesWritten(10000)) {
            }
        }
        QVERIFY(m_service->waitForError("a client that does not read its replies", 1, 60000));
        QVERIFY(m_service->residentKiB() < before + allowedGrowthKiB);
        neighbour.send("unaffected");
        QCOMPARE(neighbour.text(), QString("unaffected"));
    }

    void withoutADisplayItSaysSoAndEnds()
    {
        QProcessEnvironment environment;
        environment.insert("DISPLAY", ":4711");
        ServiceProcess blind;
        QVERIFY(blind.launch(environment));
        QCOMPARE(blind.waitForEnd(), 5);
        const QByteArray text = blind.standardError();
        QVERIFY2(text.endsWith("\n20220711\ndesk-terminal-service needs a display for its windows: "
                               "could not connect to display :4711\n"),
                 text.constData());
    }

    void aThousandClientsAreServedAndForgotten()
    {
        liftOwnDescriptorLimit();
        std::vector<std::unique_ptr<DeskClient>> clients;
        constexpr int count =
            900; // the usual limit of 1024 descriptors less what the service needs
        for (int i = 0; i < count; ++i) {
            clients.push_back(std::make_unique<DeskClient>());
            QVERIFY2(clients.back()->open(), qPrintable(QString::number(i)));
        }
        for (int i = 0; i < count; ++i)
            clients[size_t(i)]->send(QString::number(i));
        for (int i = 0; i < count; ++i)
            QCOMPARE(clients[size_t(i)]->text(), QString::number(i));
        clients.clear();
        QTRY_VERIFY2(m_service->openDescriptors() < 100, "sockets of clients that left stay open");
    }

    void hugeFramesLeaveNoMemoryBehind()
    {
        DeskClient client;
        QVERIFY(client.open());
        const QByteArray bytes(8 << 20, 'x'); // the largest message
        const auto echo = [&] {
            client.sendBinary(bytes);
            return client.binary(20000) == bytes;
        };
        QVERIFY(echo());
        const qint64 after = m_service->residentKiB();
        for (int i = 0; i < 32; ++i)
            QVERIFY(echo());
        QVERIFY2(m_service->residentKiB() < after + allowedGrowthKiB,
                 "memory grows with each frame");
        client.sendBinary(bytes + 'x');
        QVERIFY2(client.waitForClosed(60000), "a message above the limit ends the connection");
    }

private:
    std::unique_ptr<ServiceProcess> m_service;
};

QTEST_GUILESS_MAIN(ProtocolTest)
#include "protocol_test.moc"
