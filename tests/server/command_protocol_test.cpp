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
    void readsTopLevelValuesAsText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("value");
        QTest::newRow("string") << R"({"k":"手写 v"})"
                                << "手写 v";
        QTest::newRow("integer") << R"({"k":1})"
                                 << "1";
        QTest::newRow("negative") << R"({"k":-40})"
                                  << "-40";
        QTest::newRow("large integer") << R"({"k":12345678901})"
                                       << "12345678901";
        QTest::newRow("fraction") << R"({"k":2.5})"
                                  << "2.5";
        QTest::newRow("true") << R"({"k":true})"
                              << "true";
        QTest::newRow("false") << R"({"k":false})"
                               << "false";
        QTest::newRow("null") << R"({"k":null})"
                              << "";
        QTest::newRow("array") << R"({"k":[1]})"
                               << "";
        QTest::newRow("object") << R"({"k":{"k":"v"}})"
                                << "";
        QTest::newRow("nested only") << R"({"o":{"k":"v"}})"
                                     << "";
        QTest::newRow("missing") << R"({"K":"v"})"
                                 << "";
        QTest::newRow("top-level array") << R"([{"k":"v"}])"
                                         << "";
        QTest::newRow("trailing text") << R"({"k":"v"} x)"
                                       << "";
        QTest::newRow("not JSON") << "k=v"
                                  << "";
        QTest::newRow("empty") << ""
                               << "";
        QTest::newRow("deep nesting")
            << R"({"k":"v","d":)" + QString(10000, '[') + QString(10000, ']') + "}" << "";
    }

    void readsTopLevelValuesAsText()
    {
        QFETCH(QString, text);
        QFETCH(QString, value);
        QCOMPARE(CTextMessageProcessor::ParseJson(text, "k"), value);
    }

    void repliesAreCompactWithSortedKeys_data()
    {
        QTest::addColumn<QString>("data");
        QTest::addColumn<QString>("base64");
        QTest::addColumn<QString>("reply");
        QTest::newRow("four members")
            << ""
            << ""
            << R"({"_tflag":"","functionName":"f","msg":"成功","success":-2})";
        QTest::newRow("with data")
            << "d"
            << ""
            << R"({"_tflag":"","data":"d","functionName":"f","msg":"成功","success":-2})";
        QTest::newRow("with everything")
            << "d"
            << "QQ=="
            << R"({"Base64":"QQ==","_tflag":"","data":"d","functionName":"f","msg":"成功","success":-2})";
    }

    void repliesAreCompactWithSortedKeys()
    {
        QFETCH(QString, data);
        QFETCH(QString, base64);
        QFETCH(QString, reply);
        const CTextMessageProcessor processor;
        QCOMPARE(processor.CreateJson("f", -2, "成功", data, base64), reply);
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
