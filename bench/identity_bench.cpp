// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The service's own share of an identity-card read (everything but the transfers), and painting the
// card's faces beside the JPEG encoding that they end in.

#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "server/text_message_processor.h"
#include "virtual/cards/identity_card.h"
#include "virtual/cards/photo_encoder.h"
#include "virtual/cards/portrait.h"

#include <QApplication>
#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QLoggingCategory>
#include <QPixmap>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

using namespace virtual_desk;

namespace {

using Clock = std::chrono::steady_clock;

const QString photoFile = QStringLiteral("./simage_file.bmp");

template <typename Work, typename Preparation>
double medianMilliseconds(Work work, int rounds, Preparation prepare)
{
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        prepare();
        const Clock::time_point start = Clock::now();
        work();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[static_cast<std::size_t>(rounds / 2)];
}

template <typename Work>
double medianMilliseconds(Work work, int rounds)
{
    return medianMilliseconds(work, rounds, [] {});
}

QString loadPhoto()
{
    QByteArray bitmap;
    QBuffer buffer(&bitmap);
    buffer.open(QIODevice::WriteOnly);
    QImage(photoFile).save(&buffer, "bmp");
    return QString::fromLatin1(bitmap.toBase64());
}

void decodeRecord(const QByteArray& data, IDINFO& info)
{
    ReadIDCard().AnalysisID(reinterpret_cast<const unsigned char*>(data.constData()), &info, false,
                            nullptr);
}

double ownShare(const QByteArray& data, IDINFO& info)
{
    const CTextMessageProcessor processor;
    return medianMilliseconds(
        [&] {
            decodeRecord(data, info);
            const QString reply = processor.CreateJsonIDCard(
                QStringLiteral("ZCReadIDCard"), 1, QStringLiteral("读卡成功"), &info, loadPhoto());
            if (reply.toUtf8().isEmpty())
                std::abort();
        },
        101);
}

double encodeFaces()
{
    const QPixmap front(QStringLiteral("./frontNew.jpg"));
    const QPixmap back(QStringLiteral("./backNew.jpg"));
    return medianMilliseconds(
        [&] {
            for (const QPixmap& face : {front, back}) {
                QBuffer buffer;
                buffer.open(QIODevice::WriteOnly);
                face.save(&buffer, "JPEG");
            }
        },
        31);
}

double decodeTemplates()
{
    return medianMilliseconds(
        [] {
            QPixmap(QStringLiteral("./front.jpg"));
            QPixmap(QStringLiteral("./back.jpg"));
        },
        31);
}

} // namespace

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    for (const QString& face : {QStringLiteral("front.jpg"), QStringLiteral("back.jpg")})
        QFile::copy(QStringLiteral(DESK_SOURCE_DIR "/packaging/templates/") + face, face);
    IdentityCard card = sampleCard(CardType::Resident);
    card.photo = encodePhoto(drawPortrait(0));
    const QByteArray data = cardData(card).leftJustified(2310, '\0');
    const auto info = std::make_unique<IDINFO>();

    const double share = ownShare(data, *info);
    ReadIDCard reader;
    // Each time with the photo as a read leaves it: the front replaces it by a larger one.
    const double faces = medianMilliseconds(
        [&] {
            reader.IDCardPicFront(info.get());
            reader.IDCardPicBack(info.get());
        },
        31, [&] { decodeRecord(data, *info); });
    const double decoding = decodeTemplates();
    const double encoding = encodeFaces();
    std::printf("%-46s %8s %8s\n", "identity-card read (ms)", "median", "aim");
    std::printf("%-46s %8.2f %8.2f\n", "own share, without faces", share, 10.0);
    std::printf("%-46s %8.2f\n", "both faces", faces);
    std::printf("%-46s %8.2f\n", "  of which reading the templates", decoding);
    std::printf("%-46s %8.2f\n", "  of which JPEG encoding", encoding);
    std::printf("%-46s %8.2f %8.2f\n", "both faces / JPEG encoding", faces / encoding, 1.5);
    return 0;
}
