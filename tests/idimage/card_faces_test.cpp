// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idimage/holder_photo.h"
#include "tests/support/full_disk.h"
#include "tests/support/output_capture.h"
#include "tests/support/process_resources.h"
#include "tests/support/table.h"
#include "toolkit/qt_versions.h"

#include <QFontInfo>
#include <QImage>
#include <QPaintEngine>
#include <QPainter>
#include <QPixmap>

#include <memory>

namespace {

const QSize smallFace(856, 540);
const QSize largeFace(1070, 675);
const QColor captionColour(57, 182, 232);
const QColor templateColour(250, 250, 200);
const QString photoFile = QStringLiteral("./simage_file.bmp");
const QString templates = QStringLiteral(DESK_SOURCE_DIR "/packaging/templates/");

// A text where it is to be on the two sizes of template.
struct Placed
{
    const char* text;
    const char* family;
    int pointSize;
    int spacing;
    int weight;
    QColor colour;
    QPoint onSmall;
    QPoint onLarge;
};

const Placed frontTexts[] = {
    {"姓", "SimHei", 25, 10, 50, captionColour, {68, 117}, {85, 134}},
    {"名", "SimHei", 25, 10, 50, captionColour, {111, 117}, {140, 134}},
    {"性", "SimHei", 25, 10, 50, captionColour, {68, 186}, {85, 221}},
    {"别", "SimHei", 25, 10, 50, captionColour, {111, 186}, {140, 221}},
    {"民", "SimHei", 25, 10, 50, captionColour, {256, 186}, {320, 221}},
    {"族", "SimHei", 25, 10, 50, captionColour, {306, 186}, {382, 221}},
    {"出", "SimHei", 25, 10, 50, captionColour, {68, 251}, {85, 302}},
    {"生", "SimHei", 25, 10, 50, captionColour, {111, 251}, {140, 302}},
    {"年", "SimHei", 25, 10, 50, captionColour, {256, 251}, {320, 302}},
    {"月", "SimHei", 25, 10, 50, captionColour, {337, 251}, {421, 302}},
    {"日", "SimHei", 25, 10, 50, captionColour, {420, 251}, {525, 302}},
    {"住", "SimHei", 25, 10, 50, captionColour, {68, 319}, {85, 389}},
    {"址", "SimHei", 25, 10, 50, captionColour, {111, 319}, {140, 389}},
    {"公民身份号码", "SimHei", 27, 0, 50, captionColour, {68, 491}, {85, 599}},
    {"王小明", "SimHei", 31, 0, 50, Qt::black, {172, 117}, {215, 134}},
    {"男", "SimHei", 27, 0, 50, Qt::black, {172, 186}, {215, 221}},
    {"汉", "SimHei", 27, 0, 50, Qt::black, {340, 186}, {425, 221}},
    {"1990", "Tahoma", 27, 0, 50, Qt::black, {172, 254}, {215, 305}},
    {"12", "Tahoma", 27, 0, 50, Qt::black, {312, 254}, {390, 305}},
    {"31", "Tahoma", 27, 0, 50, Qt::black, {376, 254}, {470, 305}},
    {"某某省某某市某某区幸福", "SimHei", 27, 0, 50, Qt::black, {172, 319}, {215, 389}},
    {"路一百二十三号四单元五", "SimHei", 27, 0, 50, Qt::black, {172, 379}, {215, 449}},
    {"零二室", "SimHei", 27, 0, 50, Qt::black, {172, 439}, {215, 509}},
    {"110101199012310013", "SimHei", 37, 4, 50, Qt::black, {305, 491}, {381, 599}},
};

const Placed backTexts[] = {
    {"中华人民共和国", "宋体", 55, 4, 50, Qt::black, {286, 119}, {357, 133}},
    {"居民身份证", "宋体", 68, 32, 50, Qt::black, {264, 228}, {330, 266}},
    {"签发机关", "SimHei", 24, 0, 50, Qt::black, {198, 421}, {247, 517}},
    {"有效期限", "SimHei", 24, 0, 50, Qt::black, {198, 491}, {247, 603}},
    {"某某市公安局", "SimHei", 26, 2, 50, Qt::black, {350, 421}, {437, 517}},
    {"20200101-20300101", "SimHei", 26, 1, 5, Qt::black, {350, 491}, {437, 603}},
};

std::unique_ptr<IDINFO> record()
{
    auto info = std::make_unique<IDINFO>();
    qstrcpy(info->name, "王小明");
    qstrcpy(info->gender, "男");
    qstrcpy(info->nation, "汉");
    qstrcpy(info->birthday, "19901231");
    qstrcpy(info->address, "某某省某某市某某区幸福路一百二十三号四单元五零二室");
    qstrcpy(info->idNum, "110101199012310013");
    qstrcpy(info->issueOrg, "某某市公安局");
    qstrcpy(info->effectDate, "20200101");
    qstrcpy(info->expireDate, "20300101");
    return info;
}

QFont fontOf(const Placed& text)
{
    QFont font(QString::fromUtf8(text.family), text.pointSize);
    qt_versions::setFontWeight(font, text.weight);
    font.setLetterSpacing(QFont::AbsoluteSpacing, text.spacing);
    return font;
}

QImage painted(const QSize& size, IDINFO& info, void (ReadIDCard::*paint)(QPixmap&, IDINFO*))
{
    QPixmap face(size);
    face.fill(templateColour);
    (ReadIDCard().*paint)(face, &info);
    return face.toImage().convertToFormat(QImage::Format_RGB32);
}

QImage front(IDINFO& info, const QSize& size = largeFace)
{
    return painted(size, info, &ReadIDCard::addMask);
}

QImage emptyFront(const QSize& size = largeFace)
{
    return front(*std::make_unique<IDINFO>(), size);
}

template <typename Texts>
QPixmap& draw(QPixmap& face, const Texts& texts)
{
    QPainter painter(&face);
    for (const Placed& text : texts) {
        painter.setFont(fontOf(text));
        painter.setPen(text.colour);
        painter.drawText(face.size() == smallFace ? text.onSmall : text.onLarge,
                         QString::fromUtf8(text.text));
    }
    return face;
}

template <typename Texts>
QImage drawn(const QImage& face, const Texts& texts)
{
    QPixmap pixmap = QPixmap::fromImage(face);
    return draw(pixmap, texts).toImage().convertToFormat(QImage::Format_RGB32);
}

// A face that only notes the weights of its texts: not every weight has a font here.
struct NotingFace : QPaintEngine, QPixmap
{
    NotingFace()
        : QPaintEngine(AllFeatures)
        , QPixmap(largeFace)
    {
    }
    QPaintEngine* paintEngine() const override { return const_cast<NotingFace*>(this); }
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    Type type() const override { return User; }
    void updateState(const QPaintEngineState&) override {}
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
    void drawTextItem(const QPointF&, const QTextItem& item) override
    {
        weights += item.text() + QString::number(item.font().weight());
    }
    QStringList weights;
};

QImage blank(const QSize& size)
{
    QImage face(size, QImage::Format_RGB32);
    face.fill(templateColour);
    return face;
}

// A text of the large face, in the font of the values.
Placed value(const char* family, const QByteArray& text, const QPoint& place)
{
    return {text.constData(), family, 27, 0, 50, Qt::black, place, place};
}

// The smallest rectangle around all pixels that differ.
QRect difference(const QImage& one, const QImage& other)
{
    QRect ink;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x)
            if (one.pixel(x, y) != other.pixel(x, y))
                ink |= QRect(x, y, 1, 1);
    }
    return ink;
}

void writePhoto(const QColor& colour)
{
    QImage photo(102, 126, QImage::Format_RGB888);
    photo.fill(colour);
    QVERIFY(photo.save(photoFile));
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64{bytes.size()});
}

} // namespace

class CardFacesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QFile::remove(photoFile); }

    void theFontsAreThoseOfTheAlias()
    {
        for (const auto& [family, standIn] : {std::pair("SimHei", "Noto Sans CJK SC"),
                                              {"宋体", "Noto Serif CJK SC"},
                                              {"Tahoma", "Liberation Sans Narrow"}}) {
            const QString found = QFontInfo(QFont(family, 25)).family();
            QVERIFY2(found == standIn || found == family, qPrintable(found));
        }
    }

    void everyTextStandsInItsPlace()
    {
        for (const QSize& size : {smallFace, largeFace}) {
            QCOMPARE(difference(front(*record(), size), drawn(blank(size), frontTexts)), QRect());
            const QImage back = painted(size, *record(), &ReadIDCard::addMaskBack);
            QCOMPARE(difference(back, drawn(blank(size), backTexts)), QRect());
        }
        NotingFace front, back, expectedFront, expectedBack;
        ReadIDCard().addMask(front, record().get());
        ReadIDCard().addMaskBack(back, record().get());
        draw(expectedFront, frontTexts);
        draw(expectedBack, backTexts);
        QVERIFY(back.weights.size() >= 6);
        QCOMPARE(front.weights + back.weights, expectedFront.weights + expectedBack.weights);
    }

    void birthDatesAreSplit_data()
    {
        using Texts = QByteArrayList;
        addRows<QByteArray, Texts>({
            {"leading zeros", "19900105", {"1990", "1", "0"}},
            {"tens", "20001020", {"2000", "10", "20"}},
            {"a zero at the end", "19900", {"1990", "", ""}},
            {"without a day", "199012", {"1990", "12", ""}},
            {"nothing", "", {"", "", ""}},
            {"no digits", "长期有效甲乙丙丁", {"长期有效", "甲乙", "丙丁"}},
        });
    }

    void birthDatesAreSplit()
    {
        const auto [date, parts] = row<QByteArray, QByteArrayList>();
        const auto info = std::make_unique<IDINFO>();
        qstrcpy(info->birthday, date.constData());
        const Placed expected[] = {value("Tahoma", parts[0], {215, 305}),
                                   value("Tahoma", parts[1], {390, 305}),
                                   value("Tahoma", parts[2], {470, 305})};
        QCOMPARE(difference(front(*info), drawn(emptyFront(), expected)), QRect());
    }

    void addressesAreWrappedByCharacters_data()
    {
        using Texts = QByteArrayList;
        const QByteArray eleven = "一二三四五六七八九十甲";
        const QByteArray rare = "一二三四五六七八九十𠮷"; // its last character takes two units
        addRows<QByteArray, Texts>({
            {"11", eleven, {}}, // would fit on one line, and is not drawn
            {"12", eleven + "乙", {eleven, "乙"}},
            {"23", eleven + eleven + "丙", {eleven, eleven, "丙"}},
            {"40", eleven + eleven + eleven + "1234567", {eleven, eleven, eleven + "1234567"}},
            {"11, one rare", rare, {}},
            {"12, one rare", rare + "乙", {rare, "乙"}},
        });
    }

    void addressesAreWrappedByCharacters()
    {
        const auto [address, lines] = row<QByteArray, QByteArrayList>();
        const auto info = std::make_unique<IDINFO>();
        qstrcpy(info->address, address.constData());
        std::vector<Placed> expected;
        for (int i = 0; i < lines.size(); ++i)
            expected.push_back(value("SimHei", lines[i], {215, 389 + 60 * i}));
        QCOMPARE(difference(front(*info), drawn(emptyFront(), expected)), QRect());
    }

    void thePhotoHasItsPlaceAndSize()
    {
        for (const QSize& size : {smallFace, largeFace}) {
            writePhoto(Qt::darkBlue);
            const QImage face = front(*std::make_unique<IDINFO>(), size);
            QCOMPARE(QImage(photoFile).size(), QSize(307, 378)); // rewritten as it was painted
            QFile::remove(photoFile);
            const QRect place(size == smallFace ? QPoint(538, 79) : QPoint(672, 99),
                              QSize(307, 378));
            QCOMPARE(difference(face, emptyFront(size)), place);
            for (const QPoint& point : {place.topLeft(), place.bottomRight(), place.center()})
                QCOMPARE(face.pixelColor(point), QColor(Qt::darkBlue));
        }
    }

    void thePhotoIsScaledWithoutNewColours()
    {
        QImage photo(2, 1, QImage::Format_RGB888);
        photo.setPixelColor(0, 0, Qt::black);
        photo.setPixelColor(1, 0, Qt::red);
        QVERIFY(photo.save(photoFile));
        const QImage face = front(*std::make_unique<IDINFO>());
        for (int x = 672; x < 672 + 307; ++x)
            QCOMPARE(face.pixelColor(x, 200), QColor(x < 672 + 154 ? Qt::black : Qt::red));
    }

    void nearWhiteLetsTheTemplateThrough()
    {
        for (const auto& [colour, through] : {std::pair(QColor(241, 241, 241), true),
                                              {QColor(240, 255, 255), false},
                                              {QColor(255, 240, 255), false},
                                              {QColor(255, 255, 240), false}}) {
            writePhoto(colour);
            QCOMPARE(front(*std::make_unique<IDINFO>()).pixelColor(700, 200),
                     through ? templateColour : colour);
        }
        // Transparent pixels are judged by their own colour.
        QImage photo(3, 1, QImage::Format_RGBA8888_Premultiplied);
        photo.setPixelColor(0, 0, QColor(250, 250, 250, 128));
        photo.setPixelColor(1, 0, QColor(100, 250, 250, 128));
        photo.setPixelColor(2, 0, QColor(250, 250, 250, 0));
        HolderPhoto::clearNearWhite(photo);
        QCOMPARE(photo.pixelColor(0, 0).alpha(), 0);
        QCOMPARE(photo.pixelColor(1, 0).alpha(), 128);
        QCOMPARE(photo.pixelColor(2, 0).alpha(), 0);
    }

    void aPhotoThatIsNoImageIsLeftAlone()
    {
        writeFile(photoFile, "BMno image at all");
        const LogCapture log;
        const QImage face = front(*std::make_unique<IDINFO>());
        QCOMPARE(QFile(photoFile).size(), 17);
        QFile::remove(photoFile);
        QCOMPARE(difference(face, emptyFront()), QRect());
        QCOMPARE(LogCapture::lines(), QStringList());
    }

    void theFacesAreWrittenBesideTheTemplates()
    {
        for (const QString name : {"front.jpg", "back.jpg"}) {
            QCOMPARE(QImage(templates + name).size(), largeFace);
            QVERIFY(QFile::copy(templates + name, name));
        }
        writeFile("./frontNew.jpg", QByteArray(500000, 'x')); // longer than the face
        writePhoto(Qt::darkGreen);
        const LogCapture log;
        ReadIDCard reader;
        int descriptors = 0;
        for (int i = 0; i < 30; ++i) {
            reader.IDCardPicFront(record().get());
            reader.IDCardPicBack(record().get());
            descriptors = i == 0 ? openDescriptors() : descriptors;
        }
        QCOMPARE(openDescriptors(), descriptors);
        QVERIFY(qGray(QImage("./frontNew.jpg", "JPEG").pixel(800, 300)) < 90); // the photo
        QString jpeg;
        QVERIFY(reader.getFileContetBase64("./frontNew.jpg", jpeg));
        QCOMPARE(QByteArray::fromBase64(jpeg.toLatin1()).right(2).toHex(), QByteArray("ffd9"));
        QVERIFY(difference(QImage("back.jpg"), QImage("./backNew.jpg", "JPEG")).isValid());

        // Another template of the same name, size and second is noticed.
        for (const QColor colour : {Qt::white, Qt::black}) {
            QImage face(largeFace, QImage::Format_RGB32);
            face.fill(colour);
            QVERIFY(face.save("back.jpg", "BMP"));
            reader.IDCardPicBack(record().get());
            QCOMPARE(qGray(QImage("./backNew.jpg").pixel(5, 5)) > 200, colour == Qt::white);
        }

        // The next card finds nothing of this one.
        QFile::remove(photoFile);
        reader.IDCardPicFront(std::make_unique<IDINFO>().get());
        QVERIFY(qGray(QImage("./frontNew.jpg", "JPEG").pixel(800, 300)) > 200);
        QCOMPARE(LogCapture::lines(), QStringList());
    }

    void missingTemplatesAreSilentAndUnwritableTargetsAreNot()
    {
        const LogCapture log;
        ReadIDCard reader;
        QString none = "./none.jpg";
        QString source = templates + "front.jpg";
        QString target = "./target.jpg";
        reader.addMaskByPath(none, target, record().get());
        QCOMPARE(QFile(target).size(), 0);
        reader.addMaskByPathBack(none, target, record().get());
        QVERIFY(QFile::remove(target));
        QVERIFY(QDir().mkpath(target));
        reader.addMaskByPath(source, target, record().get());
        QVERIFY(QDir().rmdir(target));
        writeFile(target, "the face of the card before");
        {
            const FullDisk disk;
            reader.addMaskByPath(source, target, record().get());
        }
        QVERIFY2(QFile(target).size() == 0, "nothing of the card before may be left");
        QCOMPARE(LogCapture::lines(),
                 QStringList({"cannot write ./target.jpg: Is a directory",
                              "cannot write ./target.jpg: no room for the whole of it"}));
        QVERIFY(QFile::remove(target));
    }

    void filesAreReadAsBase64_data()
    {
        addRows<QString, QString, QString>({
            {"file", "./bytes", "AP/+AQ==", ""},
            {"empty file", "./empty", "", ""},
            {"no path", "", "before", "文件路径不存在"},
            {"missing", "./no", "before", "文件路径不存在"},
            {"folder", ".", "before", "打开文件失败"},
        });
    }

    void filesAreReadAsBase64()
    {
        writeFile("./bytes", QByteArray::fromHex("00FFFE01"));
        writeFile("./empty", {});
        const auto [path, expected, line] = row<QString, QString, QString>();
        QString base64 = "before";
        const LogCapture log;
        QCOMPARE(ReadIDCard().getFileContetBase64(path, base64), line.isEmpty());
        QCOMPARE(base64, expected);
        QCOMPARE(LogCapture::lines().join(""), line);
    }
};

QTEST_MAIN(CardFacesTest)
#include "card_faces_test.moc"
