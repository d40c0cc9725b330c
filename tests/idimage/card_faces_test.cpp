// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idimage/holder_photo.h"
#include "tests/support/full_disk.h"
#include "tests/support/output_capture.h"
#include "toolkit/qt_versions.h"

#include <QDir>
#include <QFile>
#include <QFontInfo>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QtTest>

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

const Placed& frontText(const char* text)
{
    return *std::find_if(std::begin(frontTexts), std::end(frontTexts),
                         [text](const Placed& placed) { return qstrcmp(placed.text, text) == 0; });
}

std::unique_ptr<IDINFO> emptyRecord()
{
    return std::make_unique<IDINFO>();
}

std::unique_ptr<IDINFO> record()
{
    auto info = emptyRecord();
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

QPoint placeOf(const Placed& text, const QSize& size)
{
    return size == smallFace ? text.onSmall : text.onLarge;
}

QPixmap blankFace(const QSize& size)
{
    QPixmap face(size);
    face.fill(templateColour);
    return face;
}

QImage picture(const QPixmap& face)
{
    return face.toImage().convertToFormat(QImage::Format_RGB32);
}

QImage front(const QSize& size, IDINFO& info)
{
    QPixmap face = blankFace(size);
    ReadIDCard().addMask(face, &info);
    return picture(face);
}

QImage back(const QSize& size, IDINFO& info)
{
    QPixmap face = blankFace(size);
    ReadIDCard().addMaskBack(face, &info);
    return picture(face);
}

template <typename Texts>
QImage drawn(const QSize& size, const Texts& texts)
{
    QPixmap face = blankFace(size);
    QPainter painter(&face);
    for (const Placed& text : texts) {
        painter.setFont(fontOf(text));
        painter.setPen(text.colour);
        painter.drawText(placeOf(text, size), QString::fromUtf8(text.text));
    }
    painter.end();
    return picture(face);
}

// A front of an empty record with these texts in black, each in the font of another text.
struct Line
{
    QPoint place;
    QString text;
};

QImage frontWith(const QList<Line>& lines, const char* inFontOf)
{
    QPixmap face = QPixmap::fromImage(front(largeFace, *emptyRecord()));
    QPainter painter(&face);
    painter.setFont(fontOf(frontText(inFontOf)));
    for (const Line& line : lines)
        painter.drawText(line.place, line.text);
    painter.end();
    return picture(face);
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

    void theFontsAreThoseOfTheAlias_data()
    {
        QTest::addColumn<QString>("family");
        QTest::addColumn<QString>("standIn");
        QTest::newRow("SimHei") << "SimHei"
                                << "Noto Sans CJK SC";
        QTest::newRow("宋体") << "宋体"
                              << "Noto Serif CJK SC";
        QTest::newRow("Tahoma") << "Tahoma"
                                << "Liberation Sans Narrow";
    }

    void theFontsAreThoseOfTheAlias()
    {
        QFETCH(QString, family);
        QFETCH(QString, standIn);
        const QString found = QFontInfo(QFont(family, 25)).family();
        QVERIFY2(found == standIn || found == family, qPrintable(found));
    }

    void everyTextStandsInItsPlace_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::newRow("856 x 540") << smallFace;
        QTest::newRow("1070 x 675") << largeFace;
    }

    void everyTextStandsInItsPlace()
    {
        QFETCH(QSize, size);
        QCOMPARE(difference(front(size, *record()), drawn(size, frontTexts)), QRect());
        QCOMPARE(difference(back(size, *record()), drawn(size, backTexts)), QRect());
    }

    void theInkOfAValueBeginsAtItsPlace_data()
    {
        QTest::addColumn<QString>("text");
        for (const char* text : {"王小明", "男", "汉", "110101199012310013"})
            QTest::newRow(text) << QString::fromUtf8(text);
    }

    void theInkOfAValueBeginsAtItsPlace()
    {
        QFETCH(QString, text);
        const Placed& placed = frontText(text.toUtf8().constData());
        const auto info = emptyRecord();
        char* field = info->idNum;
        if (text.size() == 3)
            field = info->name;
        else if (text.size() == 1)
            field = placed.onSmall.x() == 172 ? info->gender : info->nation;
        qstrcpy(field, placed.text);
        for (const QSize& size : {smallFace, largeFace}) {
            const QRect ink = difference(front(size, *info), front(size, *emptyRecord()));
            const QRect expected = QFontMetrics(fontOf(placed))
                                       .tightBoundingRect(text)
                                       .translated(placeOf(placed, size));
            QVERIFY2(qAbs(ink.left() - expected.left()) <= 2 &&
                         qAbs(ink.top() - expected.top()) <= 2 &&
                         qAbs(ink.bottom() - expected.bottom()) <= 2,
                     qPrintable(QStringLiteral("%1 %2").arg(ink.left()).arg(ink.bottom())));
        }
    }

    void birthDatesAreSplit_data()
    {
        QTest::addColumn<QString>("date");
        QTest::addColumn<QStringList>("parts");
        QTest::newRow("leading zeros") << "19900105" << QStringList({"1990", "1", "0"});
        QTest::newRow("no zeros") << "19901231" << QStringList({"1990", "12", "31"});
        QTest::newRow("tens") << "20001020" << QStringList({"2000", "10", "20"});
        QTest::newRow("a zero at the end") << "19900" << QStringList({"1990", "", ""});
        QTest::newRow("without a day") << "199012" << QStringList({"1990", "12", ""});
        QTest::newRow("nothing") << "" << QStringList({"", "", ""});
        QTest::newRow("no digits")
            << "长期有效甲乙丙丁" << QStringList({"长期有效", "甲乙", "丙丁"});
    }

    void birthDatesAreSplit()
    {
        QFETCH(QString, date);
        QFETCH(QStringList, parts);
        const auto info = emptyRecord();
        qstrcpy(info->birthday, date.toUtf8().constData());
        const QImage expected = frontWith(
            {{{215, 305}, parts.at(0)}, {{390, 305}, parts.at(1)}, {{470, 305}, parts.at(2)}},
            "1990");
        QCOMPARE(difference(front(largeFace, *info), expected), QRect());
    }

    void addressesAreWrappedByCharacters_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QStringList>("lines");
        const QString eleven = QStringLiteral("一二三四五六七八九十甲");
        const QString ten = eleven.left(10);
        const QString rare = QStringLiteral("𠮷"); // one character of two units
        QTest::newRow("none") << "" << QStringList();
        QTest::newRow("11") << eleven << QStringList();
        QTest::newRow("12") << eleven + "乙" << QStringList({eleven, "乙"});
        QTest::newRow("22") << eleven + eleven << QStringList({eleven, eleven});
        QTest::newRow("23") << eleven + eleven + "丙" << QStringList({eleven, eleven, "丙"});
        QTest::newRow("40") << eleven + eleven + eleven + "1234567"
                            << QStringList({eleven, eleven, eleven + "1234567"});
        QTest::newRow("11, one rare") << ten + rare << QStringList();
        QTest::newRow("12, one rare") << ten + rare + "乙" << QStringList({ten + rare, "乙"});
    }

    void addressesAreWrappedByCharacters()
    {
        QFETCH(QString, address);
        QFETCH(QStringList, lines);
        const auto info = emptyRecord();
        qstrcpy(info->address, address.toUtf8().constData());
        QList<Line> expected;
        for (int i = 0; i < lines.size(); ++i)
            expected += {{215, 389 + 60 * i}, lines.at(i)};
        QCOMPARE(difference(front(largeFace, *info), frontWith(expected, "零二室")), QRect());
    }

    void thePhotoHasItsPlaceAndSize_data() { everyTextStandsInItsPlace_data(); }

    void thePhotoHasItsPlaceAndSize()
    {
        QFETCH(QSize, size);
        writePhoto(Qt::darkBlue);
        const QImage face = front(size, *emptyRecord());
        const QRect place(size == smallFace ? QPoint(538, 79) : QPoint(672, 99), QSize(307, 378));
        QFile::remove(photoFile);
        QCOMPARE(difference(face, front(size, *emptyRecord())), place);
        for (const QPoint& point : {place.topLeft(), place.bottomRight(), place.center()})
            QCOMPARE(face.pixelColor(point), QColor(Qt::darkBlue));
    }

    void nearWhiteLetsTheTemplateThrough_data()
    {
        QTest::addColumn<QColor>("colour");
        QTest::addColumn<bool>("through");
        QTest::newRow("white") << QColor(255, 255, 255) << true;
        QTest::newRow("241") << QColor(241, 241, 241) << true;
        QTest::newRow("red 240") << QColor(240, 255, 255) << false;
        QTest::newRow("green 240") << QColor(255, 240, 255) << false;
        QTest::newRow("blue 240") << QColor(255, 255, 240) << false;
        QTest::newRow("black") << QColor(0, 0, 0) << false;
    }

    void nearWhiteLetsTheTemplateThrough()
    {
        QFETCH(QColor, colour);
        QFETCH(bool, through);
        writePhoto(colour);
        const QImage face = front(largeFace, *emptyRecord());
        QCOMPARE(face.pixelColor(700, 200), through ? templateColour : colour);
        QCOMPARE(QImage(photoFile).size(), QSize(307, 378)); // rewritten as it was painted
    }

    void transparentPixelsAreJudgedByTheirOwnColour()
    {
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
        const QImage face = front(largeFace, *emptyRecord());
        QCOMPARE(QFile(photoFile).size(), 17);
        QFile::remove(photoFile);
        QCOMPARE(difference(face, front(largeFace, *emptyRecord())), QRect());
        QCOMPARE(LogCapture::lines(), QStringList());
    }

    void theFacesAreWrittenBesideTheTemplates()
    {
        for (const QString name : {"front.jpg", "back.jpg"}) {
            QCOMPARE(QImage(templates + name).size(), largeFace);
            QVERIFY(QFile::copy(templates + name, name));
        }
        writePhoto(Qt::darkGreen);
        const LogCapture log;
        ReadIDCard reader;
        reader.IDCardPicFront(record().get());
        reader.IDCardPicBack(record().get());
        const QImage painted("./frontNew.jpg", "JPEG");
        QVERIFY(qGray(painted.pixel(800, 300)) < 90); // the photo
        QVERIFY(difference(QImage("back.jpg"), QImage("./backNew.jpg", "JPEG")).isValid());

        // The next card finds nothing of this one.
        QFile::remove(photoFile);
        reader.IDCardPicFront(emptyRecord().get());
        QVERIFY(qGray(QImage("./frontNew.jpg", "JPEG").pixel(800, 300)) > 200);
        QCOMPARE(LogCapture::lines(), QStringList());
    }

    void nothingOfALongerFileIsLeft()
    {
        QString source = templates + "front.jpg";
        QString target = QStringLiteral("./target.jpg");
        writeFile(target, QByteArray(500000, 'x'));
        ReadIDCard().addMaskByPath(source, target, record().get());
        QFile file(target);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QVERIFY(bytes.size() < 500000);
        QCOMPARE(bytes.right(2).toHex(), QByteArray("ffd9")); // a JPEG's end
        QVERIFY(file.remove());
    }

    void missingTemplatesAreSilentAndUnwritableTargetsAreNot()
    {
        const LogCapture log;
        ReadIDCard reader;
        QString none = QStringLiteral("./none.jpg");
        QString target = QStringLiteral("./target.jpg");
        reader.addMaskByPath(none, target, record().get());
        reader.addMaskByPathBack(none, target, record().get());
        QCOMPARE(QFile(target).size(), 0);
        QFile::remove(target);
        QCOMPARE(LogCapture::lines(), QStringList());
        QVERIFY(QDir().mkpath(target));
        QString source = templates + "front.jpg";
        reader.addMaskByPath(source, target, record().get());
        QVERIFY(QDir().rmdir(target));
        QCOMPARE(LogCapture::lines(), QStringList({"cannot write ./target.jpg: Is a directory"}));
        LogCapture::lines().clear();
        writeFile(target, "the face of the card before");
        {
            const FullDisk disk;
            reader.addMaskByPath(source, target, record().get());
        }
        QVERIFY2(QFile(target).size() == 0, "nothing of the card before may be left");
        QCOMPARE(LogCapture::lines(),
                 QStringList({"cannot write ./target.jpg: no room for the whole of it"}));
        QVERIFY(QFile::remove(target));
    }

    void filesAreReadAsBase64_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("read");
        QTest::addColumn<QString>("base64");
        QTest::addColumn<QStringList>("lines");
        const QStringList missing{"文件路径不存在"};
        QTest::newRow("file") << "./bytes" << true << "AP/+AQ==" << QStringList();
        QTest::newRow("empty file") << "./empty" << true << "" << QStringList();
        QTest::newRow("no path") << "" << false << "before" << missing;
        QTest::newRow("missing") << "./no" << false << "before" << missing;
        QTest::newRow("folder") << "." << false << "before" << QStringList{"打开文件失败"};
    }

    void filesAreReadAsBase64()
    {
        writeFile(QStringLiteral("./bytes"), QByteArray::fromHex("00FFFE01"));
        writeFile(QStringLiteral("./empty"), {});
        QFETCH(QString, path);
        QString base64 = QStringLiteral("before");
        const LogCapture log;
        QTEST(ReadIDCard().getFileContetBase64(path, base64), "read");
        QTEST(base64, "base64");
        QTEST(LogCapture::lines(), "lines");
    }
};

QTEST_MAIN(CardFacesTest)
#include "card_faces_test.moc"
