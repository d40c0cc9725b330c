// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/libwlt.h"
#include "idimage/photo/photo_bitmap.h"
#include "idimage/photo/photo_frame.h"
#include "idimage/photo/photo_mask.h"
#include "idimage/photo/photo_transform.h"
#include "virtual/cards/photo_encoder.h"
#include "virtual/cards/photo_forward_transform.h"
#include "virtual/cards/portrait.h"
#include "virtual/cards/qm_encoder.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRandomGenerator>
#include <QTest>

#include <cmath>

using namespace virtual_desk;

using namespace photo;

namespace {

QByteArray scrambled(QByteArray block)
{
    for (int i = ScrambledFrom; i < block.size(); ++i)
        block[i] = static_cast<char>(block.at(i) ^ ScrambleMask);
    return block;
}

// A block with a payload, as a card holds it.
QByteArray blockWith(const QByteArray& payload, int length, int size = BlockBytes)
{
    QByteArray block("WL\x66\0\x7E\0\x32", HeaderBytes);
    block = block.leftJustified(LengthAt, '\0');
    for (int i = 0; i < 4; ++i)
        block.append(static_cast<char>(static_cast<unsigned>(length) >> (8 * i)));
    return scrambled((block + payload).leftJustified(size, '\0', true));
}

// Codes the fields of a header with the format's own steps, for streams that no encoder makes.
QByteArray payloadOf(std::initializer_list<std::pair<std::uint32_t, int>> fields)
{
    InitData();
    QmEncoder encoder;
    State model;
    InitState(model, 2);
    for (const auto& [value, bits] : fields)
        encoder.codeValue(model, value, bits);
    for (int i = 0; i < 2; ++i)
        encoder.codeValue(model, 0, 32); // so that every field is fed
    QByteArray payload;
    for (const std::uint8_t byte : encoder.finish()) {
        payload.append(static_cast<char>(byte));
        if (byte == 0xFF)
            payload.append('\0');
    }
    return payload + QByteArray(4, '\0');
}

QByteArray marked(std::uint32_t bitPlanes)
{
    return payloadOf({{0, 1},
                      {1, 8},
                      {255, 8},
                      {255, 8},
                      {1, 8},
                      {StreamSetup::Mark, 16},
                      {3, 4},
                      {128, 8},
                      {128, 8},
                      {128, 8},
                      {bitPlanes, 4},
                      {5, 4},
                      {5, 4}});
}

int unpack(QByteArray block, QByteArray* bitmap = nullptr)
{
    QByteArray out(libwlt::BitmapBytes + 64, '\x5A');
    int length = -1;
    const int result = libwlt().Unpack_Data(reinterpret_cast<unsigned char*>(block.data()),
                                            static_cast<int>(block.size()),
                                            reinterpret_cast<unsigned char*>(out.data()), &length);
    if ((result == 1) != (length == libwlt::BitmapBytes) || (result != 1 && length != -1))
        return -1;
    if (out.mid(libwlt::BitmapBytes) != QByteArray(64, '\x5A'))
        return -2;
    if (bitmap != nullptr)
        *bitmap = out.left(libwlt::BitmapBytes);
    return result;
}

QByteArray fileContent(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class PhotoDecoderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysWhatIsWrongWithABlock_data()
    {
        QTest::addColumn<QByteArray>("block");
        QTest::addColumn<int>("result");
        const QByteArray good = encodePhoto(drawPortrait(0));
        QTest::newRow("a photo") << good << 1;
        for (int i = 0; i < HeaderBytes; ++i) {
            QByteArray block = good;
            block[i] = static_cast<char>(block.at(i) + 1);
            QTest::newRow(qPrintable(QString("header byte %1").arg(i))) << block << 3;
        }
        QTest::newRow("nothing") << QByteArray() << 3;
        QTest::newRow("half a header") << good.left(5) << 3;
        QTest::newRow("no length") << good.left(12) << 4;
        QTest::newRow("length 0") << blockWith("o", 0) << 5;
        QTest::newRow("negative length") << blockWith("o", -1) << 5;
        QTest::newRow("length of the rest of the block") << blockWith("o", 1009) << 7;
        QTest::newRow("one byte more") << blockWith("o", 1010) << 4;
        QTest::newRow("largest length") << blockWith("o", 0x7FFFFFFF) << 4;
        QTest::newRow("not an o") << blockWith("p", 100) << 5;
        QTest::newRow("a scrambled o") << blockWith("\xC8", 100) << 5;
        const auto stream = [](const char* name, const QByteArray& payload, int result) {
            QTest::newRow(name) << blockWith(payload, static_cast<int>(payload.size())) << result;
        };
        stream("format 0", payloadOf({{0, 1}, {1, 8}, {255, 8}, {255, 8}, {0, 8}}), 7);
        stream("format 2", payloadOf({{0, 1}, {1, 8}, {255, 8}, {255, 8}, {2, 8}}), 7);
        stream("no mark", payloadOf({{0, 1}, {1, 8}, {255, 8}, {255, 8}, {1, 8}, {7, 16}}), 8);
        stream("too many bit planes", marked(15), 9);
        stream("no check sum", marked(5), 10);
        QByteArray damaged = good;
        damaged[500] = static_cast<char>(damaged.at(500) ^ 0x10);
        QTest::newRow("one bit turned") << damaged << 10;
    }

    void saysWhatIsWrongWithABlock()
    {
        QFETCH(QByteArray, block);
        QFETCH(int, result);
        QCOMPARE(unpack(block), result);
    }

    // Encoder and decoder share their tables and contexts; this block was kept from before.
    void decodesTheGoldenBlock()
    {
        const QByteArray block = QByteArray::fromHex(
            fileContent(QStringLiteral(DESK_SOURCE_DIR "/tests/idimage/golden_photo.hex")));
        QByteArray bitmap;
        QCOMPARE(unpack(block, &bitmap), 1);
        QCOMPARE(QCryptographicHash::hash(bitmap, QCryptographicHash::Sha256).toHex(),
                 QByteArray("10777ed6033d9cc037eff4934b3707b95135a8ba99e8c2294754b8da10c8d120"));
        QCOMPARE(encodePhoto(drawPortrait(1)), block);
    }

    void decodesThePublishedTestSequence()
    {
        // ITU-T T.81, K.4.1: 256 decisions in one context, and their code without its marker.
        const QByteArray decisions =
            QByteArray::fromHex("00020051000000C00352872AAAAAAAAA82C02000FCD79EF674EAABF7697EE74C");
        const QByteArray code =
            QByteArray::fromHex("655B5144F7969D517855BFFF00FC5184C7CEF93900287D46708ECBC0F600");
        InitData();
        NR payload;
        payload.length = static_cast<int>(code.size());
        std::copy(code.begin(), code.end(), payload.bytes.begin());
        ArithmeticDecoder decoder(payload);
        State model;
        InitState(model, 2);
        QByteArray decoded;
        for (int i = 0; i < decisions.size(); ++i)
            decoded.append(static_cast<char>(decoder.value(model, 8)));
        QCOMPARE(decoded.toHex(), decisions.toHex());
    }

    void neverFeedsTheLastByteOfThePayload()
    {
        InitData();
        const auto firstBits = [](QByteArray bytes) {
            NR payload;
            payload.length = static_cast<int>(bytes.size());
            std::copy(bytes.begin(), bytes.end(), payload.bytes.begin());
            State model;
            InitState(model, 2);
            return ArithmeticDecoder(payload).value(model, 32);
        };
        QCOMPARE(firstBits("\x6F\x12\x34\xFE"), firstBits("\x6F\x12\x34\x01"));
        QVERIFY(firstBits("\x6F\x12\x34\xFE\x01") != firstBits("\x6F\x12\x34\x01\x01"));
        QCOMPARE(firstBits(QByteArray("\x6F\xFF\x00\x34\x01", 5)),
                 firstBits("\x6F\xFF\xFF\x34\x01"));
        QCOMPARE(firstBits("\x6F\xFF\x34\x01"), firstBits("\x6F\x34\x01"));
    }

    void resetsAModel_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("loads");
        for (const int size : {0, 1, 5, 7, 16})
            QTest::addRow("%d", size) << size << false;
        for (const int size : {2, 3, 4, 8})
            QTest::addRow("%d", size) << size << true;
    }

    void resetsAModel()
    {
        QFETCH(int, size);
        QFETCH(bool, loads);
        InitData();
        State model{};
        model.index.fill(5);
        model.parameters.fill(9);
        InitState(model, size);
        QCOMPARE(int(model.qe[7]), 0x5A1D);
        QCOMPARE(int(model.index[7]), 0);
        QCOMPARE(int(model.weights[7]), 1);
        const bool any = std::any_of(model.parameters.begin(), model.parameters.end(),
                                     [](std::uint32_t word) { return word != 0; });
        QCOMPARE(any, loads);
        if (size == 2)
            QVERIFY(std::equal(vl2.begin(), vl2.end(), model.parameters.begin()));
    }

    void splitsAndMergesMaskLines_data()
    {
        using Line = std::vector<int>;
        QTest::addColumn<Line>("in");
        QTest::addColumn<bool>("row");
        QTest::addColumn<Line>("out");
        QTest::newRow("pairs") << Line{1, 1, 0, 0, 1, 1} << true << Line{1, 0, 1, 1, 0, 1};
        QTest::newRow("alone at an odd place, row")
            << Line{0, 1, 0, 0} << true << Line{1, 0, 128, 0};
        QTest::newRow("alone at an odd place, column")
            << Line{0, 1, 0, 0} << false << Line{1, 0, 129, 0};
        QTest::newRow("alone at an even place") << Line{0, 0, 1, 0} << true << Line{0, 1, 0, 0};
        QTest::newRow("alone at the end") << Line{0, 0, 0, 1} << true << Line{0, 1, 0, 128};
        QTest::newRow("over the test's value") << Line{80, 1, 0, 0} << false << Line{1, 0, 130, 0};
        QTest::newRow("over it in a row") << Line{80, 1, 0, 0} << true << Line{80, 0, 1, 0};
        QTest::newRow("run of two") << Line{0, 1, 1, 0} << true << Line{0, 1, 1, 0};
    }

    void splitsAndMergesMaskLines()
    {
        QFETCH(std::vector<int>, in);
        QFETCH(bool, row);
        QFETCH(std::vector<int>, out);
        const auto line = row ? photo::Line::Row : photo::Line::Column;
        const int m = static_cast<int>(in.size());
        std::vector<int> split(in.size());
        splitMaskLine(in.data(), split.data(), m, line);
        QCOMPARE(split, out);
        std::vector<int> merged(in.size());
        mergeMaskLine(split.data(), merged.data(), m, line);
        for (int& entry : in)
            entry = entry == 80 && !row ? RowMarker : entry; // what the merge makes of marker 130
        QCOMPARE(merged, in);
    }

    // Rows worked by hand: the scaling, then the lifting with its floor divisions.
    void invertsTheLifting_data()
    {
        using Samples = std::vector<int>;
        QTest::addColumn<int>("start");
        QTest::addColumn<Samples>("coded");
        QTest::addColumn<Samples>("samples");
        QTest::newRow("one sample") << 0 << Samples{100} << Samples{71};
        QTest::newRow("one negative sample, odd") << 1 << Samples{-100} << Samples{-71};
        QTest::newRow("two") << 0 << Samples{100, 10} << Samples{64, 78};
        QTest::newRow("two, odd") << 1 << Samples{10, 100} << Samples{78, 64};
        QTest::newRow("negative sums") << 0 << Samples{-10, -5, -22} << Samples{-4, -16, -13};
        QTest::newRow("five, odd")
            << 1 << Samples{7, -30, 4, 51, -9} << Samples{-15, -25, 12, 38, 25};
    }

    void invertsTheLifting()
    {
        QFETCH(int, start);
        QFETCH(std::vector<int>, coded);
        inverseLifting(coded.data(), start, static_cast<int>(coded.size()));
        QTEST(coded, "samples");
    }

    // An object of every kind of line: segments from even and odd places, and samples alone.
    void theTransformIsUndoneWithinAnyMask()
    {
        QRandomGenerator random(3);
        Plane mask(PlaneSize);
        Plane samples(PlaneSize);
        for (int row = 0; row < PlaneRows; ++row) {
            for (int column = 0; column < PlaneColumns; ++column) {
                const bool inside = std::hypot(row - 60, column - 50) < 40;
                mask[at(row, column)] = inside || random.bounded(7) == 0 ? 1 : 0;
                samples[at(row, column)] = random.bounded(256) * mask[at(row, column)];
            }
        }
        Plane plane = samples;
        forwardTransform(plane, mask, Levels);
        inverseTransform(plane, decomposeMask(mask, Levels), Levels);
        int largest = 0;
        for (size_t i = 0; i < PlaneSize; ++i)
            largest = std::max(largest, std::abs(plane[i] - samples[i]));
        QVERIFY2(largest <= 12, qPrintable(QString("%1 off").arg(largest)));
    }

    void convertsColoursByTheFormula_data()
    {
        QTest::addColumn<int>("luma");
        QTest::addColumn<int>("cb");
        QTest::addColumn<int>("cr");
        QTest::addColumn<QString>("rgb");
        QTest::newRow("grey") << 77 << 128 << 128 << "77 77 77";
        QTest::newRow("truncated up and down") << 100 << 130 << 127 << "98 100 103";
        QTest::newRow("clamped") << 255 << 255 << 255 << "255 120 255";
        QTest::newRow("clamped below") << 0 << 0 << 0 << "0 135 0";
        QTest::newRow("toward zero") << 0 << 127 << 129 << "1 0 0";
    }

    void convertsColoursByTheFormula()
    {
        QFETCH(int, luma);
        QFETCH(int, cb);
        QFETCH(int, cr);
        const auto rgb = toRgb(luma, cb, cr);
        QTEST(QString("%1 %2 %3").arg(rgb[0]).arg(rgb[1]).arg(rgb[2]), "rgb");
    }

    void fillsTheBackgroundAndSmoothsItsEdge()
    {
        InitData();
        for (int row = 0; row < PlaneRows; ++row)
            for (int column = 0; column < PlaneColumns; ++column)
                n[at(row, column)] = column >= 10 ? 1 : 0;
        FixNum[0] = 9;
        FixNum[1] = 18;
        FixNum[2] = 27;
        Image image(PhotoWidth * PhotoHeight * BytesPerPixel, 99);
        fillBackground(image);
        smoothEdges(image);
        const auto red = [&](int row, int column) {
            return int(image[size_t((row * PhotoWidth + column) * BytesPerPixel)]);
        };
        QCOMPARE(red(50, 5), 9);
        QCOMPARE(red(0, 9), 9); // the frame of the picture is left alone
        QCOMPARE(red(50, 10), 99);
        QCOMPARE(red(1, 9), (6 * 9 + 3 * 99) / 9);
        QVERIFY(red(50, 9) > red(1, 9)); // the pixel above was smoothed before
        InitData();
        QCOMPARE(n[0], 1);
    }

    void writesABottomUpBitmap()
    {
        QByteArray bitmap;
        QCOMPARE(unpack(encodePhoto(drawPortrait(1)), &bitmap), 1);
        QCOMPARE(bitmap.left(54).toHex(),
                 QByteArray("424dce970000000000003600000028000000660000007e00000001001800") +
                     QByteArray(48, '0'));
        const QImage picture = QImage::fromData(bitmap, "BMP");
        QCOMPARE(picture.size(), QSize(PhotoWidth, PhotoHeight));
        const QRgb last = picture.pixel(PhotoWidth - 1, PhotoHeight - 1);
        const int at = 54 + 3 * (PhotoWidth - 1);
        QCOMPARE(int(uchar(bitmap.at(at))), qBlue(last));
        QCOMPARE(int(uchar(bitmap.at(at + 2))), qRed(last));
        QCOMPARE(bitmap.mid(at + 3, 2), QByteArray(2, '\0'));
    }

    void picturesComeBack_data()
    {
        QTest::addColumn<QImage>("picture");
        QTest::addColumn<double>("psnr");
        for (int holder = 0; holder < Portraits; ++holder)
            QTest::addRow("portrait %d", holder) << drawPortrait(holder) << 28.0;
        QImage flat(PhotoWidth, PhotoHeight, QImage::Format_RGB32);
        flat.fill(QColor(200, 30, 60));
        QTest::newRow("one colour") << flat << 40.0;
        QImage noise(PhotoWidth, PhotoHeight, QImage::Format_RGB32);
        QRandomGenerator random(7);
        for (int i = 0; i < PhotoWidth * PhotoHeight; ++i)
            noise.setPixel(i % PhotoWidth, i / PhotoWidth, random.generate() | 0xFF000000U);
        QTest::newRow("noise") << noise << 8.0;
        QImage large(1020, 900, QImage::Format_RGB32);
        large.fill(Qt::white);
        QTest::newRow("another size") << large << 40.0;
    }

    void picturesComeBack()
    {
        QFETCH(QImage, picture);
        QFETCH(double, psnr);
        const QImage decoded = decodePhoto(encodePhoto(picture));
        QVERIFY(!decoded.isNull());
        const double quality = lumaPsnr(decoded, picture.scaled(PhotoWidth, PhotoHeight));
        QVERIFY2(quality > psnr, qPrintable(QString::number(quality)));
        const QString folder = qEnvironmentVariable("DESK_SCREENSHOTS");
        if (!folder.isEmpty())
            decoded.save(folder + "/photo_" + QTest::currentDataTag() + ".png");
    }

    void survivesEveryBlock()
    {
        QRandomGenerator random(1);
        const QByteArray good = encodePhoto(drawPortrait(2));
        for (int i = 0; i < 3000; ++i) {
            QByteArray block = i % 2 == 0 ? good : blockWith("o", 1009);
            const int changes = 1 + random.bounded(30);
            for (int k = 0; k < changes; ++k)
                block[15 + random.bounded(block.size() - 15)] =
                    static_cast<char>(random.generate());
            const int result = unpack(block);
            QVERIFY2(result == 1 || (result >= 4 && result <= 10),
                     qPrintable(QString::number(result)));
        }
    }
};

QTEST_GUILESS_MAIN(PhotoDecoderTest)
#include "photo_decoder_test.moc"
