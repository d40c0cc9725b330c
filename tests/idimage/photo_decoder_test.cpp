// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idimage/photo/libwlt.h"
#include "idimage/photo/photo_bitmap.h"
#include "idimage/photo/photo_frame.h"
#include "idimage/photo/photo_mask.h"
#include "idimage/photo/photo_transform.h"
#include "tests/support/table.h"
#include "virtual/cards/photo_encoder.h"
#include "virtual/cards/photo_forward_transform.h"
#include "virtual/cards/portrait.h"
#include "virtual/cards/qm_encoder.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRandomGenerator>

using namespace virtual_desk;
using namespace photo;

namespace {

using Samples = std::vector<int>;

// A block with a payload that states a length, as a card holds it.
QByteArray blockWith(const QByteArray& payload, int length)
{
    QByteArray block = QByteArray("WL\x66\0\x7E\0\x32", 7).leftJustified(LengthAt, '\0');
    for (int i = 0; i < 4; ++i)
        block.append(static_cast<char>(static_cast<unsigned>(length) >> (8 * i)));
    block = (block + payload).leftJustified(BlockBytes, '\0', true);
    for (int i = ScrambledFrom; i < block.size(); ++i)
        block[i] = static_cast<char>(block.at(i) ^ 0xA7);
    return block;
}

// A block with the fields of a header, values and their bits, for streams that no encoder makes.
QByteArray blockOf(std::initializer_list<std::pair<std::uint32_t, int>> fields)
{
    InitData();
    QmEncoder encoder;
    State model;
    InitState(model, 2);
    for (const auto& [value, bits] : {std::pair(0U, 1), {1, 8}, {255, 8}, {255, 8}})
        encoder.codeValue(model, value, bits);
    for (const auto& [value, bits] : fields)
        encoder.codeValue(model, value, bits);
    encoder.codeValue(model, 0, 32); // what the decoder reads behind the last field
    encoder.codeValue(model, 0, 32);
    QByteArray payload;
    for (const std::uint8_t byte : encoder.finish()) {
        payload.append(static_cast<char>(byte));
        if (byte == 0xFF)
            payload.append('\0');
    }
    return blockWith(payload + QByteArray(4, '\0'), payload.size() + 4);
}

QByteArray blockOfBitPlanes(std::uint32_t y, std::uint32_t cb, std::uint32_t cr)
{
    return blockOf(
        {{1, 8}, {0xB38D, 16}, {3, 4}, {128, 8}, {128, 8}, {128, 8}, {y, 4}, {cb, 4}, {cr, 4}});
}

int unpack(QByteArray block, QByteArray* bitmap = nullptr)
{
    QByteArray out(libwlt::BitmapBytes + 64, '\x5A');
    int length = -1;
    const int result = libwlt().Unpack_Data(reinterpret_cast<unsigned char*>(block.data()),
                                            static_cast<int>(block.size()),
                                            reinterpret_cast<unsigned char*>(out.data()), &length);
    if (length != (result == 1 ? 38862 : -1) || out.mid(38862) != QByteArray(64, '\x5A'))
        return -1;
    if (bitmap != nullptr)
        *bitmap = out.left(38862);
    return result;
}

QByteArray sha256(const QByteArray& bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
}

// The first decisions that a payload holds.
std::uint32_t firstBits(const QByteArray& bytes)
{
    InitData();
    NR payload;
    payload.length = static_cast<int>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), payload.bytes.begin());
    State model;
    InitState(model, 2);
    return ArithmeticDecoder(payload).value(model, 32);
}

} // namespace

class PhotoDecoderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysWhatIsWrongWithABlock_data()
    {
        const QByteArray good = encodePhoto(drawPortrait(0));
        addRows<QByteArray, int>({
            {"a photo", good, 1},
            {"nothing", "", 3},
            {"half a header", good.left(6), 3},
            {"no length", good.left(14), 4},
            {"length 0", blockWith("o", 0), 5},
            {"negative length", blockWith("o", -1), 5},
            {"length of the rest of the block", blockWith("o", 1009), 7},
            {"one byte more", blockWith("o", 1010), 4},
            {"largest length", blockWith("o", 0x7FFFFFFF), 4},
            {"not an o", blockWith("p", 100), 5},
            {"format 2", blockOf({{2, 8}}), 7},
            {"no mark", blockOf({{1, 8}, {7, 16}}), 8},
            {"too many bit planes", blockOfBitPlanes(14, 5, 5), 9},
            {"too many of the last", blockOfBitPlanes(5, 5, 14), 9},
            {"no check sum", blockOfBitPlanes(13, 5, 5), 10},
        });
        for (int i = 0; i < 7; ++i) {
            QByteArray block = good;
            block[i] = static_cast<char>(block.at(i) + 1);
            QTest::addRow("header byte %d", i) << block << 3;
        }
    }

    void saysWhatIsWrongWithABlock()
    {
        const auto [block, result] = row<QByteArray, int>();
        QCOMPARE(unpack(block), result);
    }

    // Encoder and decoder share tables and contexts: a change of both shows in a stored block only.
    void decodesTheGoldenBlock()
    {
        QFile file(DESK_SOURCE_DIR "/tests/idimage/golden_photo.hex");
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray block = QByteArray::fromHex(file.readAll());
        QByteArray bitmap;
        QCOMPARE(unpack(block, &bitmap), 1);
        QCOMPARE(sha256(bitmap),
                 QByteArray("10777ed6033d9cc037eff4934b3707b95135a8ba99e8c2294754b8da10c8d120"));
        QCOMPARE(encodePhoto(drawPortrait(1)), block);
    }

    // ITU-T T.81, Table D.3, as "qe less more switches" with qe in hexadecimal.
    void decodesByThePublishedTable()
    {
        QByteArrayList states;
        for (const ProbabilityState& state : PublishedStates)
            states += QString::asprintf("%04X %d %d %d", state.qe, state.afterLessProbable,
                                        state.afterMoreProbable, state.switches)
                          .toLatin1();
        QCOMPARE(sha256(states.join(' ')),
                 QByteArray("12fceba1069e1df9515eab2882d1b34368bad3d6367f561c53c227efc2ace251"));
    }

    void neverFeedsTheLastByteOfThePayload()
    {
        QCOMPARE(firstBits("\x6F\x12\x34\xFE"), firstBits("\x6F\x12\x34\x01"));
        QVERIFY(firstBits("\x6F\x12\x34\xFE\x01") != firstBits("\x6F\x12\x34\x01\x01"));
        QCOMPARE(firstBits(QByteArray("\x6F\xFF\x00\x34\x01", 5)),
                 firstBits("\x6F\xFF\xFF\x34\x01"));
        QCOMPARE(firstBits("\x6F\xFF\x34\x01"), firstBits("\x6F\x34\x01"));
    }

    void resetsAModel()
    {
        InitData();
        QCOMPARE(Samples(ChTb.begin(), ChTb.end()), Samples({4, 3, 5, 2, 6, 1, 7, 0}));
        for (const auto& [size, expected] : {std::pair(2, Samples{1, 0, 1, 1, 0, 0, 0, 0}),
                                             {3, {0, 1, 3, 0, 0, 0, 0, 0}},
                                             {4, {0, 1, 2, 4, 0, 0, 0, 0}},
                                             {8, {0, 1, 2, 3, 4, 5, 7, 9}},
                                             {5, Samples(8)}}) {
            State model;
            model.parameters.fill(9);
            InitState(model, size);
            const auto* parameters = model.parameters.data();
            QCOMPARE(Samples(parameters, parameters + 8), expected);
        }
    }

    void splitsAndMergesMaskLines()
    {
        constexpr auto row = photo::Line::Row;
        constexpr auto column = photo::Line::Column;
        const std::tuple<Samples, photo::Line, Samples> lines[] = {
            {{0, 1, 0, 0}, row, {1, 0, 128, 0}}, // alone at an odd place
            {{0, 1, 0, 0}, column, {1, 0, 129, 0}},
            {{0, 0, 0, 1}, row, {0, 1, 0, 128}},     // alone at the end
            {{80, 1, 0, 0}, column, {1, 0, 130, 0}}, // over the test's value
            {{80, 1, 0, 0}, row, {80, 0, 1, 0}},
            {{0, 1, 1, 0}, row, {0, 1, 1, 0}}, // run of two
        };
        for (const auto& [in, line, out] : lines) {
            const int m = static_cast<int>(in.size());
            Samples split(in.size());
            splitMaskLine(in.data(), split.data(), m, line);
            QCOMPARE(split, out);
            Samples merged(in.size());
            mergeMaskLine(split.data(), merged.data(), m, line);
            Samples expected = in;
            if (line == column) // marker 130 is merged to 128
                std::replace(expected.begin(), expected.end(), 80, 128);
            QCOMPARE(merged, expected);
        }
    }

    // Worked by hand: the scaling, then the lifting with its floor divisions.
    void invertsTheLifting()
    {
        const std::tuple<int, Samples, Samples> lines[] = {
            {0, {100}, {71}},
            {1, {10, 100}, {78, 64}},
            {0, {-10, -5, -22}, {-4, -16, -13}},
            {1,
             {-30746, 8668, 25001, -55977, -8240, 28460}, // every digit of the factors
             {-35321, 8160, 16682, -45507, -21432, 25950}}};
        for (auto [start, coded, samples] : lines) {
            inverseLifting(coded.data(), start, static_cast<int>(coded.size()));
            QCOMPARE(coded, samples);
        }
    }

    // The mask has runs that begin at even and at odd places, and samples that stand alone.
    void theTransformIsUndoneWithinAnyMask()
    {
        QRandomGenerator random(3);
        Plane mask(PlaneSize);
        Plane samples(PlaneSize);
        for (std::size_t i = 0; i < PlaneSize; ++i) {
            mask[i] = i % 5000 > 3000 || random.bounded(7) == 0 ? 1 : 0;
            samples[i] = random.bounded(256) * mask[i];
        }
        Plane plane = samples;
        forwardTransform(plane, mask, Levels);
        inverseTransform(plane, decomposeMask(mask, Levels), Levels);
        int largest = 0;
        for (std::size_t i = 0; i < PlaneSize; ++i)
            largest = std::max(largest, std::abs(plane[i] - samples[i]));
        QVERIFY2(largest <= 12, qPrintable(QString("%1 off").arg(largest)));
    }

    void fillsTheBackgroundAndSmoothsItsEdge()
    {
        InitData();
        for (int row = 0; row < PlaneRows; ++row)
            for (int column = 0; column < PlaneColumns; ++column)
                n[at(row, column)] =
                    column >= 10 && column < 100 && (row < 60 || row >= 90) ? 1 : 0;
        std::copy_n(std::begin({10, 20, 30}), 3, FixNum.begin());
        Image image(std::size_t{PhotoWidth} * PhotoHeight * BytesPerPixel, 99);
        fillBackground(image);
        smoothEdges(image);
        const auto pixel = [&](int row, int column) {
            const auto first = image.begin() + (row * PhotoWidth + column) * BytesPerPixel;
            return Samples(first, first + BytesPerPixel);
        };
        QCOMPARE(pixel(50, 5), Samples({10, 20, 30}));
        QCOMPARE(pixel(50, 10), Samples({99, 99, 99}));
        QCOMPARE(pixel(1, 9), Samples({39, 46, 53})); // six and three of nine, not rounded
        // The frame of the picture and what touches no object are left alone; what was smoothed
        // before counts as smoothed; an object touches with its corner too.
        for (const auto& [red, row, column] : {std::tuple(10, 0, 9),
                                               {10, 125, 9},
                                               {10, 61, 20},
                                               {10, 50, 101},
                                               {39, 1, 100},
                                               {43, 50, 9},
                                               {43, 50, 100},
                                               {43, 124, 9},
                                               {22, 60, 9},
                                               {25, 60, 100},
                                               {22, 89, 100}})
            QCOMPARE(pixel(row, column)[0], red);
        InitData();
        QCOMPARE(std::count(n.begin(), n.end(), 1), std::ptrdiff_t{102 * 126});
    }

    void picturesComeBack()
    {
        QRandomGenerator random(7);
        QImage noise(PhotoWidth, PhotoHeight, QImage::Format_RGB32);
        QImage white(1020, 900, QImage::Format_RGB32);
        white.fill(Qt::white);
        for (int i = 0; i < PhotoWidth * PhotoHeight; ++i)
            noise.setPixel(i % PhotoWidth, i / PhotoWidth, random.generate() | 0xFF000000U);
        for (const auto& [picture, psnr] :
             {std::pair(drawPortrait(0), 28), {drawPortrait(2), 28}, {white, 40}, {noise, 8}}) {
            const QImage decoded = decodePhoto(encodePhoto(picture));
            QVERIFY(lumaPsnr(decoded, picture.scaled(PhotoWidth, PhotoHeight)) > psnr);
        }
    }
};

QTEST_GUILESS_MAIN(PhotoDecoderTest)
#include "photo_decoder_test.moc"
