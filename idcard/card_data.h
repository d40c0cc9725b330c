// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idcard/id_info.h"
#include "idimage/photo/libwlt.h"

/// The data of a card, as both readers deliver it: text, photo and fingerprints in a row.
namespace CardData {

constexpr int textBytes = 256; ///< UTF-16LE
constexpr int photoOffset = textBytes;
constexpr int photoBytes = libwlt::BlockBytes;
constexpr int fingerprintOffset = photoOffset + photoBytes;
constexpr int mostBytes = fingerprintOffset + IDINFO::FingerprintBlockBytes;

} // namespace CardData
