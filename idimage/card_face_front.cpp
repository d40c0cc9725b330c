// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The face with the photo, the name and the number.

#include "idimage/card_faces.h"
#include "idimage/face_painter.h"
#include "idimage/holder_photo.h"
#include "toolkit/qt_versions.h"

#include <QColor>
#include <QImage>
#include <QPixmap>
#include <QString>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

namespace {

const QColor captionColour(57, 182, 232);

// Columns and rows of the layout, as fractions of width and height.
constexpr double captionX = 0.07943925233644861;
constexpr double secondCaptionX = 0.1308411214953271;
constexpr double thirdCaptionX = 0.2990654205607477;
constexpr double valueX = 0.20093457943925233;
constexpr double nameY = 0.12851110703139343;
constexpr double genderY = 0.25702221406278686;
constexpr double birthY = 0.38186157517899766;
constexpr double addressY = 0.5195520469983478;
constexpr double numberY = 0.7986047365522306;

constexpr int nameOffset = 48;
constexpr int birthCaptionOffset = 45;
constexpr int birthValueOffset = 48;
constexpr int addressOffset = 39;
constexpr int numberOffset = 60;

struct Caption
{
    const char* text;
    double x;
    double y;
    int offset;
};

constexpr std::array<Caption, 13> captions = {{
    {"姓", captionX, nameY, nameOffset},
    {"名", secondCaptionX, nameY, nameOffset},
    {"性", captionX, genderY, nameOffset},
    {"别", secondCaptionX, genderY, nameOffset},
    {"民", thirdCaptionX, genderY, nameOffset},
    {"族", 0.35747663551401876, genderY, nameOffset},
    {"出", captionX, birthY, birthCaptionOffset},
    {"生", secondCaptionX, birthY, birthCaptionOffset},
    {"年", thirdCaptionX, birthY, birthCaptionOffset},
    {"月", 0.3936915887850468, birthY, birthCaptionOffset},
    {"日", 0.4906542056074767, birthY, birthCaptionOffset},
    {"住", captionX, addressY, addressOffset},
    {"址", secondCaptionX, addressY, addressOffset},
}};

const QString& plainFamily()
{
    static const QString family = QStringLiteral("SimHei");
    return family;
}

void paintCaptions(FacePainter& painter)
{
    painter.setColour(captionColour);
    painter.setFont(plainFamily(), 25, 10);
    for (const Caption& caption : captions)
        painter.drawText(caption.x, caption.y, caption.offset, QString::fromUtf8(caption.text));
    painter.setFont(plainFamily(), 27, 0);
    painter.drawText(captionX, numberY, numberOffset, QStringLiteral("公民身份号码"));
}

void paintBirthday(FacePainter& painter, const QString& date)
{
    constexpr int monthAt = 4;
    constexpr int dayAt = 6;
    const QChar zero = QLatin1Char('0');
    const auto at = [&](int position) {
        return position < date.size() ? date.at(position) : QChar();
    };
    // A month is drawn without its leading zero; of a day that begins with a zero only that zero is
    // drawn.
    const QString month = at(monthAt) == zero ? date.mid(monthAt + 1, 1) : date.mid(monthAt, 2);
    const QString day = at(dayAt) == zero ? date.mid(dayAt, 1) : date.mid(dayAt, 2);
    painter.drawText(valueX, birthY, birthValueOffset, date.left(monthAt));
    painter.drawText(0.36448598130841126, birthY, birthValueOffset, month);
    painter.drawText(0.4392523364485982, birthY, birthValueOffset, day);
}

// Two lines of 11 characters and a third with the rest. A text that fits on one line is not drawn
// at all.
std::array<QString, 3> addressLines(const QString& address)
{
    constexpr std::size_t perLine = 11;
    // Not UTF-16, in which a rare character takes two units.
    const std::u32string characters = address.toStdU32String();
    if (characters.size() <= perLine)
        return {};
    const auto part = [&](std::size_t from, std::size_t count) {
        const std::size_t begin = std::min(from, characters.size());
        return QString::fromStdU32String(characters.substr(begin, count));
    };
    return {part(0, perLine), part(perLine, perLine), part(perLine * 2, std::u32string::npos)};
}

void paintValues(FacePainter& painter, const CardFaces::FrontTexts& texts)
{
    constexpr int lineHeight = 60;
    painter.setColour(Qt::black);
    painter.setFont(plainFamily(), 31, 0);
    painter.drawText(valueX, nameY, nameOffset, texts.name);
    painter.setFont(plainFamily(), 27, 0);
    painter.drawText(valueX, genderY, nameOffset, texts.gender);
    painter.drawText(0.39719626168224303, genderY, nameOffset, texts.nation);
    painter.setFont(QStringLiteral("Tahoma"), 27, 0);
    paintBirthday(painter, texts.birthday);
    painter.setFont(plainFamily(), 27, 0);
    int offset = addressOffset;
    for (const QString& line : addressLines(texts.address)) {
        painter.drawText(valueX, addressY, offset, line);
        offset += lineHeight;
    }
    painter.setFont(plainFamily(), 37, 4);
    painter.drawText(0.35630841121495327, numberY, numberOffset, texts.idNum);
}

} // namespace

void CardFaces::paintFront(QPixmap& face, const FrontTexts& texts)
{
    qt_versions::setLocaleCodecToGb2312();
    const QImage photo = HolderPhoto::prepareForFace();
    if (face.isNull())
        return;
    FacePainter painter(face);
    paintCaptions(painter);
    paintValues(painter, texts);
    if (!photo.isNull())
        painter.drawImage(0.6285046728971962, 0.14686983660730676, photo);
}
