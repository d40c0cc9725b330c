// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "tests/support/patience.h"
#include "virtual/support/desk_client.h"
#include "virtual/support/service_process.h"

#include <QHostAddress>
#include <QTcpSocket>

#include <list>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

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

/// A socket below the WebSocket layer, for clients that do not keep to it.
struct RawClient : QTcpSocket
{
    explicit RawClient(const QByteArray& greeting, const char* address = "127.0.0.1")
    {
        connectToHost(QHostAddress(QString(address)), servicePort);
        waitForConnected(60000);
        write(greeting);
        flush();
    }

    /// Waits until the service has said `text`.
    bool hears(const QByteArray& text)
    {
        while (!peek(1 << 20).contains(text) && waitForReadyRead(60000)) {
        }
        return peek(1 << 20).contains(text);
    }
};

} // namespace

class ProtocolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(m_service.start() && m_neighbour.open()); }

    void cleanup()
    {
        QVERIFY2(m_service.isRunning(), "the service must outlive whatever its clients do");
        m_neighbour.send("unaffected");
        QCOMPARE(m_neighbour.text(), QString("unaffected")); // and nothing before it
        QVERIFY2(m_neighbour.silentFor(0), "it was sent what is another's");
        m_service.stop();
        QCOMPARE(m_service.waitForEnd(), 0);
        m_service.forgetOutput();
        QVERIFY(m_neighbour.waitForClosed());
    }

    void servesEveryLocalAddress()
    {
        for (const char* address : {"127.0.0.1", "127.0.0.2", "::1"})
            QVERIFY(RawClient(upgradeRequest, address).hears("\r\nServer: Echo Server\r\n"));
    }

    // The option TCP_NODELAY only saves time; it is read from copies of the service's sockets.
    void sendsTheRestOfAReplyBeforeItsBeginningIsAcknowledged()
    {
        const auto service = static_cast<int>(::syscall(SYS_pidfd_open, m_service.processId(), 0));
        QList<bool> sendsAtOnce;
        for (int number = 0; number < m_service.openDescriptors() + 50; ++number) {
            const auto copy = static_cast<int>(::syscall(SYS_pidfd_getfd, service, number, 0));
            int on = 0;
            socklen_t size = sizeof on;
            if (copy >= 0 && ::getsockopt(copy, IPPROTO_TCP, TCP_NODELAY, &on, &size) == 0)
                sendsAtOnce << (on != 0);
            ::close(copy);
        }
        ::close(service);
        QVERIFY2(sendsAtOnce.size() >= 2, "one that listens and one for each client");
        QVERIFY(!sendsAtOnce.contains(false));
    }

    void logsItsStartAndSendsUnknownRequestsBack()
    {
        DeskClient client;
        QVERIFY(client.open());
        const QStringList requests{R"({"function":"nothing"})",
                                   R"({"function":"zcsimcard"})",
                                   R"({"function":"ZCSIMCard "})",
                                   R"({"act":"Test"})",
                                   "你好, desk",
                                   "",
                                   QString(300000, 'x'),
                                   "{'function':'it''s'}"};
        for (QString request : requests) {
            client.send(request);
            QCOMPARE(client.text(), request.replace('\'', '"'));
        }
        QVERIFY(m_service.waitForError("pClient\n", requests.size()));
        QCOMPARE(m_service.standardError(),
                 "hello world\nhello World\nThis is a debug message\nThis is a warning message\n"
                 "This is a critical message\n****\n20220711\n" +
                     QByteArray("pClient\n").repeated(requests.size()));
        QCOMPARE(m_service.standardOutput(), "");
    }

    void echoesBinaryFrames()
    {
        DeskClient client;
        QVERIFY(client.open());
        client.sendBinary(R"({"function":"ZCSIMCard"})");
        QCOMPARE(client.binary(), R"({"function":"ZCSIMCard"})");
        const QList<int> sizes{0, 1, 125, 126, 65535, 65536, largestMessage};
        qint64 before = 0;
        for (int i = 0; i < 24; ++i) {
            const QByteArray bytes(sizes.value(i, largestMessage), '\xA7');
            client.sendBinary(bytes);
            QVERIFY(client.binary() == bytes);
            before = i == sizes.size() ? m_service.residentKiB() : before;
        }
        QVERIFY(m_service.residentKiB() < before + allowedGrowthKiB);
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
        QVERIFY(RawClient(upgradeRequest + sent).hears("\r\n\r\n" + expected));
    }

    void aSecondServiceRunsWithoutClients()
    {
        ServiceProcess second;
        QVERIFY(second.launch());
        QVERIFY(second.waitForError("20220711\n"));
        QTest::qWait(300);
        QVERIFY(second.isRunning() && second.standardError().endsWith("20220711\n"));
    }

    void survivesClientsThatDoNotKeepToTheProtocol()
    {
        const QByteArray tooLarge = "\x03\xF1"; // code 1009 in the close frame
        const QByteArray half(largestMessage / 2, 'x');
        const QByteArray messageOfThreeFrames = frame("02FF0000000000400000", half) +
                                                frame("00FF0000000000400000", half) +
                                                frame("8081", "x");
        const std::pair<QByteArray, QByteArray> clients[] = {
            {QByteArray(5000, '\xFF'), ""},
            {upgradeRequest + frame("81FE1000", "{\"func"), "101"}, // half a frame
            {upgradeRequest + frame("8198", R"({"function":"ZCSIMCard"})"), "101"},
            {upgradeRequest + frame("82FF0000000000800001"), tooLarge},
            {upgradeRequest + messageOfThreeFrames, tooLarge}};
        for (const auto& [bytes, answer] : clients) {
            for (int i = 0; i < 10; ++i) {
                RawClient client(bytes);
                QVERIFY(i % 2 == 0 || client.hears(answer));
                client.abort();
            }
        }
    }

    void keepsDescriptorsForWindowsWhoeverConnects()
    {
        constexpr int limit = 300;
        m_service.limitDescriptors(limit);
        const int before = m_service.openDescriptors();
        for (const QByteArray& greeting : {QByteArray(), upgradeRequest}) {
            std::list<RawClient> crowd;
            while (crowd.size() < limit + 50)
                QVERIFY(crowd.emplace_back(greeting).state() == RawClient::ConnectedState);
            AWAIT(m_service.openDescriptors() > limit - 100);
            m_neighbour.command("ZCBeginSignAB", {{"width", 400}, {"height", 300}});
            QCOMPARE(m_neighbour.asked("ZCSetModeAB"), QString("ZCSetModeAB 0 签名进行中"));
            QVERIFY(m_service.openDescriptors() < limit - 24);
            crowd.clear();
            DeskClient late;
            QVERIFY2(late.open(), "accepting must go on when descriptors are free again");
            QCOMPARE(late.asked("ZCEndSignAB"), QString("ZCEndSignAB 1 "));
            AWAIT(m_service.openDescriptors() < before + 30); // those who left are forgotten
        }
    }

    void forgetsClientsThatLeave()
    {
        qint64 before = 0;
        for (int i = 0; i < 700; ++i) {
            DeskClient client;
            QVERIFY(client.open());
            before = i == 200 ? m_service.residentKiB() : before; // its caches are full
        }
#ifndef __SANITIZE_ADDRESS__ // which keeps what was freed for a while
        QVERIFY(m_service.residentKiB() < before + 512);
#endif
    }

    void acceptsAgainAfterItHadNoDescriptorLeft()
    {
        // The thread that watches for signals is named once it has its descriptors.
        AWAIT(QProcess::execute("sh", {"-c", "grep -qx QThread /proc/$0/task/*/comm",
                                       QString::number(m_service.processId())}) == 0);
        const int usual = m_service.limitDescriptors(3); // what is open stays open
        RawClient waiting(upgradeRequest);
        QVERIFY(!waiting.waitForReadyRead(300));
        m_service.limitDescriptors(usual);
        QVERIFY(waiting.hears("101 Switching Protocols"));
    }

    void aClientThatDoesNotReadIsDropped()
    {
        const QByteArray pings = frame("89FD", QByteArray(125, 'x')).repeated(32000);
        const QByteArray echo = frame("82FF0000000000400000", QByteArray(4 << 20, 'x'));
        for (const QByteArray& frames : {pings, echo}) {
            const qint64 before = m_service.residentKiB();
            m_service.forgetOutput();
            RawClient deaf(upgradeRequest);
            deaf.setReadBufferSize(1);
            for (int i = 0; i < 40 && deaf.state() == QAbstractSocket::ConnectedState; ++i) {
                deaf.write(frames);
                while (deaf.bytesToWrite() > 0 && deaf.waitForBytesWritten(10000)) {
                }
            }
            QVERIFY(m_service.waitForError("a client that does not read its replies"));
            QVERIFY(m_service.residentKiB() < before + allowedGrowthKiB);
        }
    }

    void outlivesTheReadersOfItsOutput()
    {
        m_service.closeOutput();
        for (int i = 0; i < 2; ++i)
            QCOMPARE(m_neighbour.asked("ZCSIMCard"), QString("ZCSIMCard 0 打开设备端口失败"));

        // Qt ignores SIGPIPE once it has written to a socket: here the reader goes before that.
        m_service.stop();
        QProcess unread;
        unread.start("bash", {"-c", "exec > >(exit) 2>&1; wait $!; exec \"$0\"",
                              DESK_BIN_DIR "/desk-terminal-service"});
        AWAIT(servicePortOpen() || unread.state() == QProcess::NotRunning);
        QCOMPARE(unread.state(), QProcess::Running);
        unread.terminate();
        QVERIFY(unread.waitForFinished(60000) && m_neighbour.waitForClosed());
        init();
    }

    void withoutADisplayItSaysSoAndEnds()
    {
        QProcessEnvironment environment;
        environment.insert("DISPLAY", ":4711");
        ServiceProcess blind;
        QVERIFY(blind.launch(environment));
        QCOMPARE(blind.waitForEnd(), 5);
        QVERIFY(
            blind.standardError().endsWith("\n20220711\ndesk-terminal-service needs a display for "
                                           "its windows: could not connect to display :4711\n"));
    }

private:
    ServiceProcess m_service;
    DeskClient m_neighbour;
};

QTEST_GUILESS_MAIN(ProtocolTest)
#include "protocol_test.moc"
