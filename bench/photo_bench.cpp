// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The decoding of a card's photo, then of the rest of its record.

#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idimage/photo/libwlt.h"
#include "virtual/cards/identity_card.h"
#include "virtual/cards/photo_encoder.h"
#include "virtual/cards/portrait.h"

#include <QLoggingCategory>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

using namespace virtual_desk;

namespace {

using Clock = std::chrono::steady_clock;

template <typename Work>
double medianMicroseconds(Work work, int rounds = 101)
{
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        const Clock::time_point start = Clock::now();
        work();
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[static_cast<std::size_t>(rounds / 2)];
}

void timeDecoding()
{
    QByteArray block = encodePhoto(drawPortrait(0));
    auto* const source = reinterpret_cast<unsigned char*>(block.data());
    std::vector<unsigned char> bitmap(libwlt::BitmapBytes);
    int length = 0;
    const double decoding = medianMicroseconds([&] {
        libwlt().Unpack_Data(source, static_cast<int>(block.size()), bitmap.data(), &length);
    });
    std::printf("%-34s %12.0f, aim 2000\n", "decode of a photo (us)", decoding);
}

void compareRecord()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    const auto info = std::make_unique<IDINFO>();
    const QByteArray data = cardData(sampleCard(CardType::Resident)).leftJustified(2310, '\0');
    const double clearing =
        medianMicroseconds([&] { std::memset(static_cast<void*>(info.get()), 1, sizeof *info); });
    std::fflush(stdout);
    std::FILE* const quiet = std::freopen("/dev/null", "w", stdout);
    const double decoding = medianMicroseconds([&] {
        ReadIDCard().AnalysisID(reinterpret_cast<const unsigned char*>(data.constData()),
                                info.get(), false, nullptr);
    });
    const double lookup = medianMicroseconds([] { FindUnicode(0xFFFF); });
    if (!quiet)
        return;
    std::fprintf(stderr, "\n%-34s %12s %12s %8s\n", "record (us)", "clearing it", "decoding it",
                 "ratio");
    std::fprintf(stderr, "%-34s %12.1f %12.1f %8.2f\n", "resident card without photo", clearing,
                 decoding, decoding / clearing);
    std::fprintf(stderr, "%-34s %12s %12.2f\n", "character lookup, worst case", "", lookup);
}

} // namespace

int main()
{
    timeDecoding();
    compareRecord();
    return 0;
}
