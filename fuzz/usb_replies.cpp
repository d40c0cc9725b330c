// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Replies of the USB reader of every kind and length, from both generations of its module: a whole
// read of a card, then the query for the security module's number. A first query that fails makes
// the rest a read of the "0503" module.

#include "fuzz/scripted_usb.h"
#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idcard/sam_number.h"

#include <QtGlobal>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr int samDigits = 32;

void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

void require(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const auto previous = qInstallMessageHandler(quiet);
    static const auto info = std::make_unique<IDINFO>();
    Q_UNUSED(previous)
    ScriptedUsb::play(data, size);
    ReadIDCard reader;
    char message[ReadIDCard::MessageBytes];
    std::memset(message, 'x', sizeof message);
    const int result = reader.readCard(info.get(), message);
    require(result == ReadIDCard::CardRead || result == ReadIDCard::CardNotRead ||
            result == ReadIDCard::ReaderNotOpened || result == ReadIDCard::NoSamNumber);
    require(std::memchr(message, 0, sizeof message) != nullptr);
    const std::size_t digits = std::strlen(reader.samNumber());
    require(digits == 0 || digits == samDigits);

    const SamNumber sam = querySamNumber();
    require(sam.number.isEmpty() || sam.number.size() == samDigits);
    require(!sam.message.isEmpty());
    return 0;
}
