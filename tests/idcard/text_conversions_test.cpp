// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/gb2312_table.h"
#include "idcard/read_id_card.h"

#include "tests/support/output_capture.h"
#include "tests/support/table.h"

#include <QTest>

#include <algorithm>
#include <clocale>
#include <set>

namespace {

using Units = std::vector<std::uint16_t>;

Units units(const QString& text)
{
    Units result(text.utf16(), text.utf16() + text.size());
    result.push_back(0);
    return result;
}

} // namespace

class TextConversionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void convertsUtf16_data()
    {
        QTest::addColumn<Units>("source");
        QTest::addColumn<int>("limit");
        QTest::addColumn<bool>("strict");
        QTest::addColumn<int>("result");
        QTest::addColumn<QByteArray>("text");
        const auto row = [](const char* name, const Units& source, int limit, bool strict,
                            int result, const QByteArray& text) {
            QTest::newRow(name) << source << limit << strict << result << text;
        };
        row("nothing", {0}, 30, true, 0, "");
        row("one, two, three and four bytes", units("a\u00e9\u4e2d\U00020BB7"), 30, true, 0,
            "a\u00e9\u4e2d\U00020BB7");
        row("eleven characters into thirty bytes", units(QString(11, QChar(0x6C49))), 30, true, 2,
            QByteArray("汉").repeated(10));
        row("a pair that does not fit whole", units("ab\U00020BB7"), 5, true, 2, "ab");
        row("exactly full", units("汉字"), 6, true, 0, "汉字");
        row("no room", units("a"), 0, true, 2, "");
        row("high surrogate at the end", {0x61, 0xD842, 0}, 30, true, 1, "a");
        row("high surrogate at the end, lenient", {0x61, 0xD842, 0}, 30, false, 1, "a");
        row("high surrogate alone", {0xD842, 0x61, 0}, 30, true, 3, "");
        row("high surrogate alone, lenient", {0xD842, 0x61, 0}, 30, false, 0,
            "\xED\xA1\x82"
            "a");
        row("low surrogate alone", {0x61, 0xDFB7, 0x62, 0}, 30, true, 3, "a");
        row("low surrogate alone, lenient", {0x61, 0xDFB7, 0}, 30, false, 0, "a\xED\xBE\xB7");
    }

    void convertsUtf16()
    {
        QFETCH(Units, source);
        QFETCH(int, limit);
        QFETCH(bool, strict);
        QByteArray target(64, '\0');
        const int result = ReadIDCard().Utf16_To_Utf8(
            source.data(), reinterpret_cast<uint8_t*>(target.data()), size_t(limit),
            strict ? StrictConversion : LenientConversion);
        QTEST(result, "result");
        QTEST(QByteArray(target.constData()), "text");
    }

    void refusesNullPointers()
    {
        const Units source = units("a");
        uint8_t target[4] = {};
        OutputCapture output;
        QCOMPARE(ReadIDCard().Utf16_To_Utf8(nullptr, target, 4, StrictConversion), 4);
        QCOMPARE(ReadIDCard().Utf16_To_Utf8(source.data(), nullptr, 4, StrictConversion), 4);
        const QByteArray printed = output.take();
        QVERIFY2(printed.startsWith("ERR, Utf16_To_Utf8: source=(nil), targetStart=0x"),
                 printed.constData());
        QVERIFY2(printed.endsWith(", targetStart=(nil)\n"), printed.constData());
    }

    void theMappingIsThePublishedOne()
    {
        const auto end = lUnicode + Gb2312Searched - 1;
        QVERIFY(std::is_sorted(lUnicode, end));
        QCOMPARE(std::set<std::int64_t>(lUnicode, end).size(), std::size_t(7445));
        QCOMPARE(std::set<std::int64_t>(lGb2312, lGb2312 + 7445).size(), std::size_t(7445));
        QVERIFY(
            std::all_of(lUnicode + 7445, lUnicode + Gb2312Slots, [](auto v) { return v == 0; }));
        const std::int64_t first[][2] = {
            {0xA4, 0xA1E8}, {0xA7, 0xA1EC}, {0xA8, 0xA1A7}, {0xB0, 0xA1E3}};
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(lUnicode[i], first[i][0]);
            QCOMPARE(lGb2312[i], first[i][1]);
        }
    }

    void looksCharactersUp_data()
    {
        addRows<long, long>({{"first of the mapping", 0xA1E8L, 0xA4L},
                             {"middle dot", 0xA1A4L, 0x30FBL},
                             {"bar", 0xA1AAL, 0x2015L},
                             {"啊", 0xB0A1L, 0x554AL},
                             {"last of the hanzi", 0xF7FEL, 0x9F44L},
                             {"last of the mapping", 0xA3A4L, 0xFFE5L},
                             {"a gap", 0xAAA1L, 0L},
                             {"zero", 0L, 0L},
                             {"negative", -1L, 0L},
                             {"beyond", 0x1B0A1L, 0L}});
    }

    void looksCharactersUp()
    {
        const auto [code, unicode] = row<long, long>();
        QCOMPARE(FindUnicode(code), unicode);
    }

    void readsAndWritesDigits()
    {
        QCOMPARE(chartoint1('0'), 0);
        QCOMPARE(chartoint1('a'), 10);
        QCOMPARE(chartoint1('F'), 15);
        QCOMPARE(chartoint1('g'), 1000);
        QCOMPARE(chartoint1('\xFF'), 1000);
        char bits[5] = "....";
        QCOMPARE(CtoB('B', bits), 0);
        QCOMPARE(bits, "1011");
        QCOMPARE(CtoB('x', bits), 1000);
        char hex[7] = {};
        QCOMPARE(Format("111001001011100010101101", hex), 0);
        QCOMPARE(hex, "E4B8AD");
    }

    void encodesThreeBytesAlways_data()
    {
        QTest::addColumn<long>("codePoint");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("A") << 0x41L << QByteArray("\xE0\x81\x81");
        QTest::newRow("中") << 0x4E2DL << QByteArray("中");
        QTest::newRow("0") << 0L << QByteArray("\xE0\x80\x80");
        QTest::newRow("highest") << 0xFFFFL << QByteArray("\xEF\xBF\xBF");
    }

    void encodesThreeBytesAlways()
    {
        QFETCH(long, codePoint);
        char out[4] = {};
        TurnAscii(codePoint, out);
        QTEST(QByteArray(out, 3), "bytes");
        ReadIDCard().TurnAscii(codePoint, out);
        QTEST(QByteArray(out, 3), "bytes");
    }

    void encodesGb2312Text()
    {
        char out[4] = {};
        U2A("B0A1", out);
        QCOMPARE(out, "啊");
        ReadIDCard().U2A("d6d0", out);
        QCOMPARE(out, "中");
    }

    void encodesCardTextUpToASpace()
    {
        const QByteArray source("\x2D\x4E\x37\x00\x20\x00\x41\x00", 8);
        const auto convert = [&](int bytes, QByteArray& target) {
            target = QByteArray(16, '\0');
            return ReadIDCard().UnicodeToAnsihc(
                reinterpret_cast<const uint8_t*>(source.constData()),
                reinterpret_cast<uint8_t*>(target.data()), 0, bytes);
        };
        QByteArray target;
        QCOMPARE(convert(8, target), 0x4E2D);
        QCOMPARE(QByteArray(target.constData()), QByteArray("中  7"));
        QCOMPARE(convert(2, target), 0x4E2D);
        QCOMPARE(QByteArray(target.constData()), QByteArray("中"));
        QCOMPARE(convert(1, target), 0);
        QCOMPARE(target, QByteArray(16, '\0'));
    }

    void printsThroughTheLocale()
    {
        std::setlocale(LC_CTYPE, "C.UTF-8");
        const std::uint16_t source[] = {0x41, 0xEEEE, 0x42, 0xEEEE};
        char target[64] = {};
        QCOMPARE(UnicodeToAnsi(source, target, 0, 4), 0);
        QCOMPARE(QString::fromUtf8(target), QString(QChar(0x4141)) + QChar(0x4242));
    }

    void dropsSpaces()
    {
        char out[16] = "x";
        QCOMPARE(ReadIDCard().delete_spance(" 1 2  3 ", out), 0);
        QCOMPARE(out, "123");
        QCOMPARE(ReadIDCard().delete_spance("", out), 0);
        QCOMPARE(out, "");
    }
};

QTEST_GUILESS_MAIN(TextConversionsTest)
#include "text_conversions_test.moc"
