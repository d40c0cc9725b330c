// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "simcard/hex_text.h"
#include "simcard/iccid.h"
#include "simcard/reader_name.h"
#include "tests/support/table.h"

using Names = std::vector<std::string>;
Q_DECLARE_METATYPE(Names)

class CardTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodesTheNumber_data()
    {
        addRows<QByteArray, QString>({
            {"usual", "986810315476981032049000", "89860113456789012340"},
            {"filler digits stay", "98681031547698103F549000", "8986011345678901F345"},
            {"any status word", "1234ABCD", "2143"},
            {"status word only", "9000", ""},
            {"shorter than a status word", "900", ""},
            {"odd", "ABC9000", QStringLiteral("BA") + QChar(0) + 'C'},
            {"no NUL in the buffer", QByteArray(1024, '1'), QString(1020, '1')},
            {"two characters of other scripts", "卡片9000", "片卡"},
        });
    }

    void decodesTheNumber()
    {
        const auto [response, number] = row<QByteArray, QString>();
        // A buffer with nothing behind it, so that a read too far is seen.
        const std::size_t capacity = response.size() < 1024 ? size_t(response.size()) + 1 : 1024;
        const std::vector<char> buffer(response.constData(), response.constData() + capacity);
        QCOMPARE(iccidFromResponse(buffer.data(), capacity), number);
    }

    void readsHexadecimalText()
    {
        const auto read = [](const QByteArray& text, int length) {
            const std::vector<char> buffer(text.constData(), text.constData() + text.size() + 1);
            const auto bytes = bytesFromHex(buffer.data(), size_t(length));
            return bytes ? QString::fromStdString(hexFromBytes(*bytes)) : QString("error");
        };
        QCOMPARE(read("", 0), QString());
        QCOMPARE(read("0123456789ABCDEFabcdef", 22), QString("0123456789ABCDEFABCDEF"));
        QCOMPARE(read("A0FF", 2), QString("error")); // the text is longer, or shorter
        QCOMPARE(read("A0", 4), QString("error"));
        for (const QByteArray wrong :
             {"A0F", "A0 F", "+1", "1G", "0/", "0:", "0@", "0`", "g0", "\xC1\xB1"})
            QCOMPARE(read(wrong, wrong.size()), QString("error"));
    }

    void choosesTheReader_data()
    {
        const Names slots = {"Generic EMV Reader 00 00", "Generic EMV Reader 00 01"};
        const Names usb = {"Pad Keyboard 00 00", "Generic EMV Reader [CCID] (0042) 01 00",
                           "Generic EMV Reader [CCID] (0043) 02 00"};
        const Names maker = {"ACME Generic EMV Reader (7) 00 00",
                             "ACME Generic EMV Reader [Second] 01 00"};
        addRows<Names, QString, QString>({
            {"begins with the name", slots, "Generic EMV Reader 0", slots[0].c_str()},
            {"number of a slot", slots, "Generic EMV Reader 1", slots[1].c_str()},
            {"exact", slots, "Generic EMV Reader 00 01", slots[1].c_str()},
            {"exact goes first", {"Reader 0 00 00", "Reader 0"}, "Reader 0", "Reader 0"},
            {"start goes before number",
             {"Reader A", "Reader B", "Reader 12"},
             "Reader 1",
             "Reader 12"},
            {"interface and serial", usb, "Generic EMV Reader 0", usb[1].c_str()},
            {"second on USB", usb, "Generic EMV Reader 1", usb[2].c_str()},
            {"maker in front", maker, "Generic EMV Reader 0", maker[0].c_str()},
            {"second with maker", maker, "Generic EMV Reader 1", maker[1].c_str()},
        });
    }

    void choosesTheReader()
    {
        const auto [listed, wanted, chosen] = row<Names, QString, QString>();
        const auto reader = chooseReader(listed, wanted.toStdString());
        QCOMPARE(QString::fromStdString(reader.value_or("")), chosen);
    }

    void choosesNoOtherReader()
    {
        QVERIFY(!chooseReader({}, "Generic EMV Reader 0"));
        // Numbers that are too large or none, and parts of the name that are not the product's.
        for (const char* wanted :
             {"EMV Reader 2", "EMV Reader 99999999999999999999", "EMV Reader 0x", "EMV Reader -1",
              "EMV Reader ", "EMV Reader", "00 0", "7 0", "Second 0"})
            QVERIFY2(!chooseReader({"ACME Generic EMV Reader (7) 00 00",
                                    "ACME Generic EMV Reader [Second] 01 00"},
                                   wanted),
                     wanted);
    }
};

QTEST_GUILESS_MAIN(CardTextTest)
#include "card_text_test.moc"
