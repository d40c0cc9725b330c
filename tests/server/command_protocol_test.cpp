// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/echo_server.h"
#include "server/text_message_processor.h"
#include "virtual/support/desk_client.h"

#include <QTest>

#include <array>
#include <memory>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

using namespace virtual_desk;

namespace {

// The server's processor lives to the end of the process, which a leak check would report.
std::unique_ptr<EchoServer> makeServer()
{
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler processorStays;
#endif
    return std::make_unique<EchoServer>(servicePort, false);
}

} // namespace

class CommandProtocolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsTopLevelValuesAsText()
    {
        const auto valueOf = [](const QString& text) {
            return CTextMessageProcessor::ParseJson(text, "k");
        };
        QCOMPARE(valueOf(R"({"k":"手写 v"})"), QString("手写 v"));
        for (const char* value : {"1", "-40", "12345678901", "2.5", "true", "false"})
            QCOMPARE(valueOf(QString(R"({"k":%1})").arg(value)), QString(value));
        const QString none = R"({"k":null}|{"k":[1]}|{"k":{"k":"v"}}|{"o":{"k":"v"}}|{"K":"v"}|)"
                             R"([{"k":"v"}]|{"k":"v"} x|k=v|)"; // and an empty text
        for (const QString& text : none.split('|'))
            QCOMPARE(valueOf(text), QString());
        const QString deep = QString(10000, '[') + QString(10000, ']');
        QCOMPARE(valueOf(R"({"k":"v","d":)" + deep + "}"), QString());
    }

    void repliesAreCompactWithSortedKeys()
    {
        const auto reply = [](const char* data, const char* base64) {
            return CTextMessageProcessor().CreateJson("f", -2, "成功", data, base64);
        };
        const QString rest = R"("functionName":"f","msg":"成功","success":-2})";
        QCOMPARE(reply("", ""), R"({"_tflag":"",)" + rest);
        QCOMPARE(reply("d", ""), R"({"_tflag":"","data":"d",)" + rest);
        QCOMPARE(reply("d", "QQ=="), R"({"Base64":"QQ==","_tflag":"","data":"d",)" + rest);
    }

    void repliesCarryTheLatestRequestsTag()
    {
        CTextMessageProcessor processor;
        const auto tagged = [&] { return processor.CreateJson("f", 1, "", "", ""); };
        processor.Process(nullptr, R"({'function':'nothing','_tflag':'a1'})");
        QCOMPARE(tagged(), QString(R"({"_tflag":"a1","functionName":"f","msg":"","success":1})"));
        processor.Process(nullptr, R"({"function":"nothing"})");
        QCOMPARE(tagged(), QString(R"({"_tflag":"","functionName":"f","msg":"","success":1})"));
    }

    void aServerThatGoesDismissesItsClients()
    {
        std::unique_ptr<EchoServer> server = makeServer();
        std::array<DeskClient, 3> clients;
        for (DeskClient& client : clients) {
            QVERIFY(client.open());
            client.send("served");
            QCOMPARE(client.text(), QString("served"));
        }
        server.reset();
        for (DeskClient& client : clients)
            QVERIFY(client.waitForClosed());
    }
};

QTEST_GUILESS_MAIN(CommandProtocolTest)
#include "command_protocol_test.moc"
