// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idimage/holder_photo.h"
#include "tests/support/full_disk.h"
#include "tests/support/output_capture.h"
#include "tests/support/table.h"

#include <QFontInfo>
#include <QImage>
#include <QPaintEngine>
#include <QPainter>
#include <QPixmap>
#include <QTextStream>

#include <memory>

namespace {

const QSize largeFace(1070, 675);
const QColor templateColour(250, 250, 200);
const QString photoFile = QStringLiteral("./simage_file.bmp");
const QString templates = QStringLiteral(DESK_SOURCE_DIR "/packaging/templates/");

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

// A face that notes what is painted on it: the same on every machine, whatever fonts it has.
struct NotingFace : QPaintEngine, QPixmap
{
    explicit NotingFace(const QSize& size = largeFace)
        : QPaintEngine(AllFeatures)
        , QPixmap(size)
    {
    }
    QPaintEngine* paintEngine() const override { return const_cast<NotingFace*>(this); }
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    Type type() const override { return User; }
    void updateState(const QPaintEngineState&) override {}
    void drawPixmap(const QRectF& place, const QPixmap&, const QRectF&) override
    {
        note("photo", place.topLeft());
    }
    void drawTextItem(const QPointF& place, const QTextItem& item) override
    {
        const QFont font = item.font();
        const int weight = (font.weight() - QFont::Thin) * 50 / (QFont::Normal - QFont::Thin);
        QString style;
        QTextStream(&style) << font.family() << ' ' << font.pointSize() << ' '
                            << font.letterSpacing() << ' ' << weight << ' '
                            << painter()->pen().color().name() << ':';
        if (style != m_style)
            notes += style;
        m_style = style;
        note(item.text(), place);
        texts += item.text();
    }
    QStringList texts;
    QString notes; ///< the texts with their places, each style before the texts that have it

private:
    void note(const QString& what, const QPointF& place)
    {
        notes += QString("%1 %2,%3|").arg(what).arg(place.x()).arg(place.y());
    }

    QString m_style;
};

// The texts that are painted for a record, without the captions.
QStringList valuesOf(IDINFO& info)
{
    NotingFace face;
    ReadIDCard().addMask(face, &info);
    return face.texts.mid(14);
}

// A photo one pixel high.
void writePhoto(const QList<QColor>& pixels)
{
    QImage photo(pixels.size(), 1, QImage::Format_RGB888);
    for (int x = 0; x < pixels.size(); ++x)
        photo.setPixelColor(x, 0, pixels[x]);
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

    void everyTextAndThePhotoHaveTheirPlaces_data()
    {
        addRows<QSize, QString, QString>({
            {"small",
             {856, 540},
             "SimHei 25 10 50 #39b6e8:姓 68,117|名 111,117|性 68,186|别 111,186|民 256,186|族 "
             "306,186|"
             "出 68,251|生 111,251|年 256,251|月 337,251|日 420,251|住 68,319|址 111,319|"
             "SimHei 27 0 50 #39b6e8:公民身份号码 68,491|SimHei 31 0 50 #000000:王小明 172,117|"
             "SimHei 27 0 50 #000000:男 172,186|汉 340,186|"
             "Tahoma 27 0 50 #000000:1990 172,254|12 312,254|31 376,254|"
             "SimHei 27 0 50 #000000:某某省某某市某某区幸福 172,319|"
             "路一百二十三号四单元五 172,379|零二室 172,439|"
             "SimHei 37 4 50 #000000:110101199012310013 305,491|photo 538,79|",
             "宋体 55 4 50 #000000:中华人民共和国 286,119|宋体 68 32 50 #000000:居民身份证 264,228|"
             "SimHei 24 0 50 #000000:签发机关 198,421|有效期限 198,491|"
             "SimHei 26 2 50 #000000:某某市公安局 350,421|"
             "SimHei 26 1 5 #000000:20200101-20300101 350,491|"},
            {"large", largeFace,
             "SimHei 25 10 50 #39b6e8:姓 85,134|名 140,134|性 85,221|别 140,221|民 320,221|族 "
             "382,221|"
             "出 85,302|生 140,302|年 320,302|月 421,302|日 525,302|住 85,389|址 140,389|"
             "SimHei 27 0 50 #39b6e8:公民身份号码 85,599|SimHei 31 0 50 #000000:王小明 215,134|"
             "SimHei 27 0 50 #000000:男 215,221|汉 425,221|"
             "Tahoma 27 0 50 #000000:1990 215,305|12 390,305|31 470,305|"
             "SimHei 27 0 50 #000000:某某省某某市某某区幸福 215,389|"
             "路一百二十三号四单元五 215,449|零二室 215,509|"
             "SimHei 37 4 50 #000000:110101199012310013 381,599|photo 672,99|",
             "宋体 55 4 50 #000000:中华人民共和国 357,133|宋体 68 32 50 #000000:居民身份证 330,266|"
             "SimHei 24 0 50 #000000:签发机关 247,517|有效期限 247,603|"
             "SimHei 26 2 50 #000000:某某市公安局 437,517|"
             "SimHei 26 1 5 #000000:20200101-20300101 437,603|"},
        });
    }

    void everyTextAndThePhotoHaveTheirPlaces()
    {
        const auto [size, frontNotes, backNotes] = row<QSize, QString, QString>();
        writePhoto({Qt::darkBlue});
        NotingFace front(size);
        NotingFace back(size);
        ReadIDCard().addMask(front, record().get());
        ReadIDCard().addMaskBack(back, record().get());
        QCOMPARE(front.notes, frontNotes);
        QCOMPARE(back.notes, backNotes);
        QCOMPARE(QImage(photoFile).size(), QSize(307, 378)); // rewritten as it was painted
    }

    void birthDatesAndAddressesAreSplit_data()
    {
        const QByteArray eleven = "一二三四五六七八九十甲";
        const QByteArray rare = "一二三四五六七八九十𠮷"; // its last character takes two units
        using Texts = QByteArrayList;
        addRows<QByteArray, QByteArray, Texts>({
            {"leading zeros", "19900105", "", {"1990", "1", "0"}},
            {"tens", "20001020", "", {"2000", "10", "20"}},
            {"a zero at the end", "19900", "", {"1990"}},
            {"without a day", "199012", "", {"1990", "12"}},
            {"no digits", "长期有效甲乙丙丁", "", {"长期有效", "甲乙", "丙丁"}},
            {"11 characters would fit on one line", "", eleven, {}},
            {"12", "", eleven + "乙", {eleven, "乙"}},
            {"40", "", eleven.repeated(3) + "乙丙", {eleven, eleven, eleven + "乙丙"}},
            {"11, one rare", "", rare, {}},
            {"12, one rare", "", rare + "乙", {rare, "乙"}},
        });
    }

    void birthDatesAndAddressesAreSplit()
    {
        const auto [birthday, address, parts] = row<QByteArray, QByteArray, QByteArrayList>();
        const auto info = std::make_unique<IDINFO>();
        qstrcpy(info->birthday, birthday.constData());
        qstrcpy(info->address, address.constData());
        QCOMPARE(valuesOf(*info).join('|').toUtf8(), parts.join('|'));
    }

    void thePhotoIsEnlargedWithoutNewColoursAndNearWhiteLetsTheTemplateThrough()
    {
        const QList<QColor> pixels{
            {240, 255, 255}, {241, 241, 241}, {255, 240, 255}, {255, 255, 240}};
        writePhoto(pixels);
        QPixmap front(largeFace);
        front.fill(templateColour);
        ReadIDCard().addMask(front, std::make_unique<IDINFO>().get());
        const QImage face = front.toImage();
        QList<QColor> seen;
        for (int x = 671; x <= 672 + 307; ++x)
            if (seen.isEmpty() || seen.last() != face.pixelColor(x, 200))
                seen += face.pixelColor(x, 200);
        QCOMPARE(seen, QList<QColor>({templateColour, pixels[0], templateColour, pixels[2],
                                      pixels[3], templateColour}));
        // Transparent pixels are judged by their own colour.
        for (const auto& [red, alpha] : {std::pair(250, 0), {100, 128}}) {
            QImage photo(1, 1, QImage::Format_RGBA8888_Premultiplied);
            photo.setPixelColor(0, 0, QColor(red, 250, 250, 128));
            HolderPhoto::clearNearWhite(photo);
            QCOMPARE(photo.pixelColor(0, 0).alpha(), alpha);
        }
    }

    void aPhotoThatIsNoImageIsLeftAlone()
    {
        writeFile(photoFile, "BMno image at all");
        const LogCapture log;
        NotingFace face;
        ReadIDCard().addMask(face, record().get());
        QVERIFY(!face.notes.contains("photo"));
        QCOMPARE(QFile(photoFile).size(), 17);
        QCOMPARE(LogCapture::lines(), QStringList());
    }

    void theFacesAreWrittenBesideTheTemplates()
    {
        for (const QString name : {"front.jpg", "back.jpg"}) {
            QCOMPARE(QImage(templates + name).size(), largeFace);
            QVERIFY(QFile::copy(templates + name, name));
        }
        writeFile("./frontNew.jpg", QByteArray(500000, 'x')); // longer than the face
        writePhoto({Qt::darkGreen});
        const LogCapture log;
        ReadIDCard reader;
        reader.IDCardPicFront(record().get());
        QVERIFY(qGray(QImage("./frontNew.jpg", "JPEG").pixel(800, 300)) < 90); // the photo
        QVERIFY2(QFile("./frontNew.jpg").size() < 500000, "nothing of the file before may be left");
        reader.IDCardPicBack(record().get());
        QVERIFY(QImage("./backNew.jpg", "JPEG") != QImage("back.jpg"));

        // Another template of the same name, size and second is noticed.
        for (const QColor colour : {Qt::white, Qt::black}) {
            QImage face(largeFace, QImage::Format_RGB32);
            face.fill(colour);
            QVERIFY(face.save("back.jpg", "BMP"));
            reader.IDCardPicBack(record().get());
            QCOMPARE(qGray(QImage("./backNew.jpg").pixel(5, 5)) > 200, colour == Qt::white);
        }
        QCOMPARE(LogCapture::lines(), QStringList());
    }

    void missingTemplatesAreSilentAndFullDisksAreNot()
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
        writeFile(target, "the face of the card before");
        {
            const FullDisk disk;
            reader.addMaskByPath(source, target, record().get());
        }
        QVERIFY2(QFile(target).size() == 0, "nothing of the card before may be left");
        QCOMPARE(LogCapture::lines(),
                 QStringList("cannot write ./target.jpg: no room for the whole of it"));
    }

    void filesAreReadAsBase64()
    {
        writeFile("./bytes", QByteArray::fromHex("00FFFE01"));
        writeFile("./empty", {});
        const std::tuple<QString, QString, QString> files[] = {{"./bytes", "AP/+AQ==", ""},
                                                               {"./empty", "", ""},
                                                               {"", "before", "文件路径不存在"},
                                                               {"./no", "before", "文件路径不存在"},
                                                               {".", "before", "打开文件失败"}};
        for (const auto& [path, expected, line] : files) {
            QString base64 = "before";
            const LogCapture log;
            QCOMPARE(ReadIDCard().getFileContetBase64(path, base64), line.isEmpty());
            QCOMPARE(base64, expected);
            QCOMPARE(LogCapture::lines().join(""), line);
        }
    }
};

QTEST_MAIN(CardFacesTest)
#include "card_faces_test.moc"
