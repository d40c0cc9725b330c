// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

struct IDINFO;

/// Turns the data of a card (see `CardData`) into a record and writes its photo to
/// `HolderPhoto::path`.
///
/// \param data 2304 readable bytes, or 2310 with \p withPrefix: 6 skipped bytes in front.
/// \param info the record; zeroed first, then filled within its widths.
///
/// A photo that cannot be decoded or written is printed to standard output; the record is complete
/// all the same.
void decodeRecord(const unsigned char* data, IDINFO* info, bool withPrefix);
