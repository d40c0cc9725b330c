// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "simcard/hex_text.h"
#include "simcard/iccid.h"
#include "simcard/reader_name.h"

#include <QTest>

#include <vector>

using Names = std::vector<std::string>;
Q_DECLARE_METATYPE(Names)

class CardTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodesTheNumber_data()
    {
        QTest::addColumn<QByteArray>("response");
        QTest::addColumn<QString>("number");
        const auto row = [](const char* name, const QByteArray& response, const QString& number) {
            QTest::newRow(name) << response << number;
        };
        row("usual", "986810315476981032049000", "89860113456789012340");
        row("filler digits stay", "98681031547698103F549000", "8986011345678901F345");
        row("any status word", "1234ABCD", "2143");
        row("status word only", "9000", "");
        row("shorter than a status word", "900", "");
        row("nothing", "", "");
        row("one digit", "A9000", QString(QChar(0)) + 'A');
        row("odd", "ABC9000", QStringLiteral("BA") + QChar(0) + 'C');
        row("no NUL in the buffer", QByteArray(1024, '1'), QString(1020, '1'));
        row("two characters of other scripts", "卡片9000", "片卡");
    }

    void decodesTheNumber()
    {
        QFETCH(QByteArray, response);
        QFETCH(QString, number);
        // A buffer with nothing behind it, so that a read too far is seen.
        const std::size_t capacity = response.size() < 1024 ? size_t(response.size()) + 1 : 1024;
        const std::vector<char> buffer(response.constData(), response.constData() + capacity);
        QCOMPARE(iccidFromResponse(buffer.data(), capacity), number);
    }

    void readsHexadecimalText_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("bytes");
        QTest::newRow("upper case") << QByteArray("A0FF09") << 6 << "A0FF09";
        QTest::newRow("lower case") << QByteArray("a0ff09") << 6 << "A0FF09";
        QTest::newRow("nothing") << QByteArray() << 0 << "";
        QTest::newRow("odd") << QByteArray("A0F") << 3 << "error";
        QTest::newRow("text is longer") << QByteArray("A0FF") << 2 << "error";
        QTest::newRow("text is shorter") << QByteArray("A0") << 4 << "error";
        QTest::newRow("space") << QByteArray("A0 F") << 4 << "error";
        QTest::newRow("prefix") << QByteArray("0xA0") << 4 << "error";
        QTest::newRow("sign") << QByteArray("+1") << 2 << "error";
        QTest::newRow("neighbours of the digits") << QByteArray("/:@G") << 4 << "error";
        QTest::newRow("above ASCII") << QByteArray("\xC1\xB1") << 2 << "error";
    }

    void readsHexadecimalText()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, length);
        QFETCH(QString, bytes);
        const std::vector<char> buffer(text.constData(), text.constData() + text.size() + 1);
        const auto read = bytesFromHex(buffer.data(), size_t(length));
        QCOMPARE(read ? QString::fromStdString(hexFromBytes(*read)) : QString("error"), bytes);
    }

    void choosesTheReader_data()
    {
        QTest::addColumn<Names>("listed");
        QTest::addColumn<QString>("wanted");
        QTest::addColumn<QString>("chosen");
        const Names slots = {"Generic EMV Smartcard Reader 00 00",
                             "Generic EMV Smartcard Reader 00 01"};
        const Names usb = {"Pad Keyboard 00 00", "Generic EMV Smartcard Reader [CCID] (0042) 01 00",
                           "Generic EMV Smartcard Reader [CCID] (0043) 02 00"};
        const Names maker = {"ACME Generic EMV Smartcard Reader (7) 00 00",
                             "ACME Generic EMV Smartcard Reader [Second] 01 00"};
        const auto row = [](const char* name, const Names& listed, const char* wanted,
                            const char* chosen) {
            QTest::newRow(name) << listed << wanted << chosen;
        };
        row("begins with the name", slots, "Generic EMV Smartcard Reader 0", slots[0].c_str());
        row("number of a slot", slots, "Generic EMV Smartcard Reader 1", slots[1].c_str());
        row("exact", slots, "Generic EMV Smartcard Reader 00 01", slots[1].c_str());
        row("exact goes first", {"Reader 0 00 00", "Reader 0"}, "Reader 0", "Reader 0");
        row("start goes before number", {"Reader A", "Reader 12"}, "Reader 1", "Reader 12");
        row("base name", slots, "Generic EMV", slots[0].c_str());
        row("number too large", slots, "Generic EMV Smartcard Reader 2", "");
        row("number beyond numbers", slots, "Generic EMV Smartcard Reader 99999999999999999999",
            "");
        row("interface and serial", usb, "Generic EMV Smartcard Reader 0", usb[1].c_str());
        row("second on USB", usb, "Generic EMV Smartcard Reader 1", usb[2].c_str());
        row("maker in front", maker, "Generic EMV Smartcard Reader 0", maker[0].c_str());
        row("second with maker", maker, "Generic EMV Smartcard Reader 1", maker[1].c_str());
        row("serial is no product", maker, "7 0", "");
        row("interface is no product", maker, "Second 0", "");
        row("product without number", maker, "EMV Smartcard Reader", "");
        row("number without digits", maker, "Generic EMV Smartcard Reader ", "");
        row("negative number", maker, "Generic EMV Smartcard Reader -1", "");
        row("other product", slots, "Contact Reader 0", "");
        row("no readers", {}, "Generic EMV Smartcard Reader 0", "");
    }

    void choosesTheReader()
    {
        QFETCH(Names, listed);
        QFETCH(QString, wanted);
        QFETCH(QString, chosen);
        const auto reader = chooseReader(listed, wanted.toStdString());
        QCOMPARE(QString::fromStdString(reader.value_or("")), chosen);
    }
};

QTEST_GUILESS_MAIN(CardTextTest)
#include "card_text_test.moc"
