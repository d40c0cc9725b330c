// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/read_id_card.h"
#include "tests/support/output_capture.h"
#include "tests/support/table.h"

#include <QCryptographicHash>

#include <clocale>

namespace {

using Units = std::vector<std::uint16_t>;

// With the zero that ends it.
Units units(const QString& text)
{
    return Units(text.utf16(), text.utf16() + text.size() + 1);
}

QByteArray encoded(long codePoint)
{
    char bytes[] = "....";
    TurnAscii(codePoint, bytes);
    return bytes;
}

} // namespace

class TextConversionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void convertsUtf16_data()
    {
        const Units edges = {0x7F,   0x80,   0x7FF,  0x800,  0xD7FF, 0xE000,
                             0xFFFF, 0xD800, 0xDC00, 0xDBFF, 0xDFFF, 0};
        const QByteArray edgesInUtf8 =
            QByteArray::fromHex("7FC280DFBFE0A080ED9FBFEE8080EFBFBFF0908080F48FBFBF");
        addRows<Units, int, bool, int, QByteArray>({
            {"nothing", {0}, 0, true, 0, ""},
            {"first and last of each length", edges, 25, true, 0, edgesInUtf8},
            {"a pair that does not fit", edges, 24, true, 2, edgesInUtf8.left(21)},
            {"a character that does not fit", units("汉字a"), 5, true, 2, "汉"},
            {"pair half missing", {'a', 0xDBFF, 0}, 30, true, 1, "a"},
            {"lowest high surrogate alone", {0xD800, 'a', 0}, 30, true, 3, ""},
            {"highest high surrogate alone", {0xDBFF, 0xE000, 0}, 30, true, 3, ""},
            {"high one alone, lenient", {0xD842, 'z', 0}, 30, false, 0, "\xED\xA1\x82z"},
            {"lowest low surrogate alone", {'a', 0xDC00, 'b', 0}, 30, true, 3, "a"},
            {"highest low surrogate alone", {'a', 0xDFFF, 'b', 0}, 30, true, 3, "a"},
            {"low one alone, lenient", {'a', 0xDFB7, 0}, 30, false, 0, "a\xED\xBE\xB7"},
        });
    }

    void convertsUtf16()
    {
        const auto [source, limit, strict, result, text] = row<Units, int, bool, int, QByteArray>();
        QByteArray target(64, '\0');
        QCOMPARE(ReadIDCard().Utf16_To_Utf8(
                     source.data(), reinterpret_cast<uint8_t*>(target.data()), size_t(limit),
                     strict ? StrictConversion : LenientConversion),
                 result);
        QCOMPARE(target, text.leftJustified(64, '\0'));
    }

    void refusesNullPointers()
    {
        const Units source = units("a");
        uint8_t target[4] = {};
        OutputCapture output;
        QCOMPARE(ReadIDCard().Utf16_To_Utf8(nullptr, target, 4, StrictConversion), 4);
        QCOMPARE(ReadIDCard().Utf16_To_Utf8(source.data(), nullptr, 4, StrictConversion), 4);
        const QByteArray printed = output.take();
        QVERIFY2(printed.startsWith("ERR, Utf16_To_Utf8: source=(nil), targetStart=0x") &&
                     printed.endsWith(", targetStart=(nil)\n"),
                 printed.constData());
    }

    // Against Python's codec: the two bytes of chr(code), or 0, for each code in order.
    void looksUpEveryCharacterOfGb2312()
    {
        QByteArray characters;
        for (long high = 0xA1; high <= 0xFE; ++high) {
            for (long low = 0xA1; low <= 0xFE; ++low) {
                const long character = FindUnicode(high << 8 | low);
                characters.append(char(character >> 8)).append(char(character));
            }
        }
        QCOMPARE(QCryptographicHash::hash(characters, QCryptographicHash::Sha256).toHex(),
                 QByteArray("025ed04dcde5377b9ce74397d27ce9a5edc9d6b67f2fea566db10c3323d051b9"));
        QCOMPARE(FindUnicode(0xB0A1), 0x554AL); // 啊
        for (const long code : {0L, -1L, 0xB0A1L + 0x10000})
            QCOMPARE(FindUnicode(code), 0L);
    }

    void readsAndWritesDigits()
    {
        const QByteArray digits = "0123456789ABCDEFabcdef";
        for (int i = 0; i < digits.size(); ++i)
            QCOMPARE(chartoint1(digits[i]), i < 16 ? i : i - 6);
        for (const char neighbour : {'/', ':', '@', 'G', '`', 'g', '\xFF'})
            QCOMPARE(chartoint1(neighbour), 1000);
        for (const auto& [digit, result, bits] :
             {std::tuple('x', 1000, "......"), {'B', 0, "1011"}}) {
            char written[] = "......";
            QCOMPARE(CtoB(digit, written), result);
            QCOMPARE(written, bits);
        }
        for (const auto& [bits, result, hex] :
             {std::tuple("1110010010111000101011011", 0, "E4B8AD"),
              {"11100100101110001010110", 1000, ""},
              {"11100100101110001010112.", 1000, ""}}) {
            char written[] = "........";
            QCOMPARE(Format(bits, written), result);
            QCOMPARE(written, hex);
        }
    }

    void encodesThreeBytesAlways()
    {
        QCOMPARE(encoded('A'), QByteArray("\xE0\x81\x81."));
        QCOMPARE(encoded(0), QByteArray("\xE0\x80\x80."));
        QCOMPARE(encoded(0x14E2D), QByteArray("中."));
        QCOMPARE(encoded(0xFFFF), QByteArray("\xEF\xBF\xBF."));
        char out[] = "....";
        ReadIDCard().TurnAscii(0x4E2D, out);
        QCOMPARE(out, "中.");
        U2A("B0A1", out);
        QCOMPARE(out, "啊.");
        ReadIDCard().U2A("d6d0", out);
        QCOMPARE(out, "中.");
        U2A("B0G1", out);
        QCOMPARE(out, "\xE0\x80\x80.");
    }

    void encodesCardTextUpToASpace()
    {
        // The low bytes of ķ and Ġ are those of a digit and of a space.
        const QString source = "中09/:ķĠ A";
        const auto convert = [&](int bytes, const QByteArray& text) {
            QByteArray target(64, '\0');
            const int first =
                ReadIDCard().UnicodeToAnsihc(reinterpret_cast<const uint8_t*>(source.utf16()),
                                             reinterpret_cast<uint8_t*>(target.data()), 0, bytes);
            QCOMPARE(target, text.leftJustified(64, '\0'));
            QCOMPARE(first, bytes < 2 ? 0 : 0x4E2D);
        };
        convert(18, "中  0  9" + encoded('/').left(3) + encoded(':').left(3) +
                        encoded(0x137).left(3) + encoded(0x120).left(3));
        convert(3, "中");
        convert(1, "");
    }

    void printsThroughTheLocale()
    {
        const std::uint16_t source[] = {0x41, 0xEEEE, 0x42, 0xEEEE, 0, 0xEEEE, 0x43, 0xEEEE};
        char target[64] = {};
        std::setlocale(LC_CTYPE, "C.UTF-8");
        QCOMPARE(UnicodeToAnsi(source, target, 0, 4), 0);
        QCOMPARE(QString::fromUtf8(target), QString(QChar(0x4141)) + QChar(0x4242));
        UnicodeToAnsi(source, target, 0, 8); // a zero ends the text
        QCOMPARE(QString::fromUtf8(target), QString(QChar(0x4141)) + QChar(0x4242));
        std::setlocale(LC_CTYPE, "C");
        QCOMPARE(UnicodeToAnsi(source, target, 0, 4), 0);
        QCOMPARE(target, "");
    }

    void dropsSpaces()
    {
        char text[] = " 1 2  3 ";
        QCOMPARE(ReadIDCard().delete_spance(text, text), 0);
        QCOMPARE(text, "123");
    }
};

QTEST_GUILESS_MAIN(TextConversionsTest)
#include "text_conversions_test.moc"
