// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Raw card data of every kind. The first byte chooses whether a prefix stands in front.

#include "idcard/id_info.h"
#include "idcard/read_id_card.h"

#include <QtGlobal>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr std::size_t rawBytes = 6 + 256 + 1024 + 1024;

template <std::size_t Width>
void requireEnd(const char (&field)[Width])
{
    if (!std::memchr(field, 0, Width))
        std::abort();
}

void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const auto previous = qInstallMessageHandler(quiet);
    static const auto info = std::make_unique<IDINFO>();
    Q_UNUSED(previous)
    if (size == 0)
        return 0;
    std::vector<unsigned char> raw(rawBytes);
    std::copy_n(data + 1, std::min(size - 1, rawBytes), raw.begin());
    ReadIDCard().AnalysisID(raw.data(), info.get(), data[0] % 2 == 1, nullptr);
    requireEnd(info->name);
    requireEnd(info->englishName);
    requireEnd(info->address);
    requireEnd(info->idNum);
    requireEnd(info->issueOrg);
    requireEnd(info->passNum);
    requireEnd(info->signCount);
    requireEnd(info->CertVersion);
    requireEnd(info->CardType);
    return 0;
}
