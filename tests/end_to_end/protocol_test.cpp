// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "tests/support/patience.h"
#include "tests/support/table.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"

#include <QHostAddress>
#include <QTcpSocket>

#include <memory>
#include <sys/resource.h>
#include <vector>

using namespace virtual_desk;

namespace {

const QByteArray upgradeRequest =
    "GET / HTTP/1.1\r\nHost: 127.0.0.1:12343\r\nUpgrade: websocket\r\n"
    "Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";

constexpr int largestMessage = 8 << 20;

// AddressSanitizer keeps what was freed for a while.
#ifdef __SANITIZE_ADDRESS__
constexpr qint64 allowedGrowthKiB = 512 * 1024;
#else
constexpr qint64 allowedGrowthKiB = 64 * 1024;
#endif

/// A client's frame: the hexadecimal head, a mask of zeros, and what that leaves readable.
QByteArray frame(const char* head, const QByteArray& content = {})
{
    return QByteArray::fromHex(head) + QByteArray(4, '\0') + content;
}

// A socket below the WebSocket layer, for clients that do not keep to it.
std::unique_ptr<QTcpSocket> rawConnection(const QByteArray& greeting,
                                          const char* address = "127.0.0.1")
{
    auto socket = std::make_unique<QTcpSocket>();
    socket->connectToHost(QHostAddress(QString(address)), servicePort);
    if (!socket->waitForConnected(60000))
        return nullptr;
    socket->write(greeting);
    socket->flush();
    return socket;
}

/// Waits until the service has said `text` on a raw connection.
bool hears(QTcpSocket& socket, const QByteArray& text)
{
    while (!socket.peek(1 << 20).contains(text))
        if (!socket.waitForReadyRead(60000))
            return false;
    return true;
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
        m_neighbour = std::make_unique<DeskClient>();
        QVERIFY(m_neighbour->open());
    }

    void cleanup()
    {
        QVERIFY2(m_service->isRunning(), "the service must outlive whatever its clients do");
        m_neighbour->send("unaffected");
        QCOMPARE(m_neighbour->text(), QString("unaffected")); // and nothing before it
        QVERIFY2(m_neighbour->silentFor(0), "it was sent what is another's");
        m_service->stop();
        QCOMPARE(m_service->waitForEnd(), 0);
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

    void servesEveryLocalAddress()
    {
        for (const char* address : {"127.0.0.1", "127.0.0.2", "::1"}) {
            const auto socket = rawConnection(upgradeRequest, address);
            QVERIFY(socket && hears(*socket, "\r\nServer: Echo Server\r\n"));
        }
    }

    void sendsUnknownRequestsBack_data()
    {
        addRows<QString>({{"unknown command", R"({"function":"nothing"})"},
                          {"no command", R"({"x":1})"},
                          {"lower case", R"({"function":"zcsimcard"})"},
                          {"trailing space", R"({"function":"ZCSIMCard "})"},
                          {"unknown act", R"({"act":"Test"})"},
                          {"array", R"([{"function":"ZCSIMCard"}])"},
                          {"not JSON", QStringLiteral("你好, desk")},
                          {"empty", ""},
                          {"deep nesting", QString(10000, '[')},
                          {"a picture's worth of text", QString(300000, 'x')},
                          {"single quotes", "{'function':'it''s'}"}});
    }
    void sendsUnknownRequestsBack()
    {
        auto [request] = row<QString>();
        DeskClient client;
        QVERIFY(client.open());
        m_service->forgetOutput();
        client.send(request);
        QCOMPARE(client.text(), request.replace('\'', '"'));
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
        QByteArray sent;
        QByteArray expected;
        for (int i = 0; i < 200; ++i) { // 82 is binary, 81 text
            const QByteArray number = QByteArray::number(1000 + i);
            sent += frame(i % 3 == 0 ? "8284" : "8184", number);
            expected += QByteArray::fromHex(i % 3 == 0 ? "8204" : "8104") + number;
        }
        const auto socket = rawConnection(upgradeRequest + sent);
        QVERIFY(socket && hears(*socket, expected.right(6)));
        QVERIFY(socket->readAll().endsWith("\r\n\r\n" + expected));
    }

    void aSecondServiceRunsWithoutClients()
    {
        ServiceProcess second;
        QVERIFY(second.launch());
        QVERIFY(second.waitForError("20220711\n"));
        QTest::qWait(300);
        QVERIFY(second.isRunning());
        QVERIFY(second.standardError().endsWith("20220711\n"));
    }

    void survivesClientsThatDoNotKeepToTheProtocol_data()
    {
        addRows<QByteArray>(
            {{"noise", QByteArray(5000, '\xFF')},
             {"invalid UTF-8", upgradeRequest + frame("8184", "\xC3\x28\xA0\xFF")},
             {"unmasked frame", upgradeRequest + "\x81\x02hi"},
             {"reserved opcode", upgradeRequest + frame("8380")},
             {"endless frame", upgradeRequest + frame("82FF7FFFFFFFFFFFFFFF")},
             {"half a frame", upgradeRequest + frame("81FE1000", "{\"func")},
             {"command and gone", upgradeRequest + frame("8198", R"({"function":"ZCSIMCard"})")}});
    }
    void survivesClientsThatDoNotKeepToTheProtocol()
    {
        const auto [bytes] = row<QByteArray>();
        for (int i = 0; i < 20; ++i) {
            const auto socket = rawConnection(bytes);
            QVERIFY(socket);
            if (i % 2 == 0)
                socket->waitForReadyRead(50);
            socket->abort();
        }
    }

    void keepsDescriptorsForWindowsWhoeverConnects_data()
    {
        addRows<QByteArray>({{"half open", QByteArray()}, {"open", upgradeRequest}});
    }
    void keepsDescriptorsForWindowsWhoeverConnects()
    {
        const auto [greeting] = row<QByteArray>();
        rlimit own{};
        getrlimit(RLIMIT_NOFILE, &own);
        own.rlim_cur = own.rlim_max;
        setrlimit(RLIMIT_NOFILE, &own);
        m_service->limitDescriptors(1024);
        const int before = m_service->openDescriptors();
        std::vector<std::unique_ptr<QTcpSocket>> crowd;
        for (int i = 0; i < 1100; ++i) {
            crowd.push_back(rawConnection(greeting));
            QVERIFY(crowd.back());
        }
        AWAIT(m_service->openDescriptors() > 900);
        DeskClient& page = *m_neighbour;
        page.command("ZCBeginSignAB", {{"width", 400}, {"height", 300}});
        QCOMPARE(page.asked("ZCSetModeAB"), QString("ZCSetModeAB 0 签名进行中"));
        QVERIFY(m_service->openDescriptors() < 1000);
        crowd.clear();
        DeskClient late;
        QVERIFY2(late.open(), "accepting must go on when descriptors are free again");
        QCOMPARE(late.asked("ZCEndSignAB"), QString("ZCEndSignAB 1 "));
        AWAIT(m_service->openDescriptors() < before + 30); // those who left are forgotten
    }

    void acceptsAgainAfterItHadNoDescriptorLeft()
    {
        const int usual = m_service->limitDescriptors(3); // what is open stays open
        const auto waiting = rawConnection(upgradeRequest);
        QVERIFY(waiting && !waiting->waitForReadyRead(300));
        m_service->limitDescriptors(usual);
        QVERIFY(hears(*waiting, "101 Switching Protocols"));
    }

    void aClientThatDoesNotReadIsDropped_data()
    {
        const QByteArray ping = frame("89FD", QByteArray(125, 'x'));
        addRows<QByteArray>({{"echoes", frame("82FF0000000000400000", QByteArray(4 << 20, 'x'))},
                             {"pings", ping.repeated(32000)}});
    }
    void aClientThatDoesNotReadIsDropped()
    {
        const auto [frames] = row<QByteArray>();
        const qint64 before = m_service->residentKiB();
        const auto deaf = rawConnection(upgradeRequest);
        QVERIFY(deaf);
        deaf->setReadBufferSize(1);
        for (int i = 0; i < 40 && deaf->state() == QAbstractSocket::ConnectedState; ++i) {
            deaf->write(frames);
            while (deaf->bytesToWrite() > 0 && deaf->waitForBytesWritten(10000)) {
            }
        }
        QVERIFY(m_service->waitForError("a client that does not read its replies"));
        QVERIFY(m_service->residentKiB() < before + allowedGrowthKiB);
    }

    void theLargestMessagesLeaveNoMemoryBehind()
    {
        DeskClient client;
        QVERIFY(client.open());
        const QByteArray bytes(largestMessage, 'x');
        qint64 after = 0;
        for (int i = 0; i < 17; ++i) {
            client.sendBinary(bytes);
            QVERIFY(client.binary() == bytes);
            after = i == 0 ? m_service->residentKiB() : after;
        }
        QVERIFY(m_service->residentKiB() < after + allowedGrowthKiB);
    }

    // In one frame, whose head alone is enough, or in many.
    void aMessageAboveTheLimitEndsTheConnection_data()
    {
        const QByteArray half = QByteArray(largestMessage / 2, 'x');
        addRows<QByteArray>(
            {{"one frame", frame("82FF0000000000800001")},
             {"three frames", frame("02FF0000000000400000", half) +
                                  frame("00FF0000000000400000", half) + frame("8081", "x")}});
    }
    void aMessageAboveTheLimitEndsTheConnection()
    {
        const auto [frames] = row<QByteArray>();
        const auto socket = rawConnection(upgradeRequest + frames);
        QVERIFY(socket && hears(*socket, "\x03\xF1")); // 1009, too much data
    }

    void outlivesTheReadersOfItsOutput()
    {
        m_service->closeOutput();
        for (int i = 0; i < 2; ++i)
            QCOMPARE(m_neighbour->asked("ZCSIMCard"), QString("ZCSIMCard 0 打开设备端口失败"));
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

private:
    std::unique_ptr<ServiceProcess> m_service;
    std::unique_ptr<DeskClient> m_neighbour;
};

QTEST_GUILESS_MAIN(ProtocolTest)
#include "protocol_test.moc"
