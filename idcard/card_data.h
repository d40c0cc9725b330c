// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idcard/id_info.h"
#include "idimage/photo/libwlt.h"

/// The data of a card, as both readers deliver it: text, photo and fingerprints in a row.
namespace CardData {

constexpr int TextBytes = 256; ///< UTF-16LE
constexpr int PhotoOffset = TextBytes;
constexpr int PhotoBytes = libwlt::BlockBytes;
constexpr int FingerprintOffset = PhotoOffset + PhotoBytes;
constexpr int MostBytes = FingerprintOffset + IDINFO::FingerprintBlockBytes;

} // namespace CardData
