// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// \brief Decoder of the photo block of an identity card.
///
/// Pure computation without state of its own. Not re-entrant: every decode refills process-wide
/// tables, so one thread decodes one card at a time.
///
/// The framing, the arithmetic coder and the conversion of the component planes to the bitmap are
/// those of real cards. The tables with which real cards code their coefficients are not public:
/// this decoder decodes the streams that carry this project's mark (the virtual cards' photos, see
/// virtual/cards/photo_encoder.h) and reports 8 for every other one, so that a wrong picture is
/// never shown.
class libwlt
{
public:
    static constexpr int BlockBytes = 1024; ///< of the photo block on a card

    /// Bytes of a decoded photo: a BMP file of 102 x 126 pixels, 24 bits each.
    static constexpr int BitmapBytes = 38862;

    /// \param src the photo block as read from the card, \p srcLen readable bytes (1024 on every
    /// card); it is not changed.
    /// \param dst `BitmapBytes`, owned by the caller; undefined content after a failure.
    /// \param dstLen receives the number of bytes written to \p dst; not changed by a failure.
    /// \return 1 success; 3 header mismatch; 4 the payload does not fit the block; 5 the payload is
    /// empty or does not start with "o"; 6 the leading flag is not 0; 7 the format value is not 1;
    /// 8 a stream without this project's mark; 9 a marked stream with set-up values out of range;
    /// 10 a marked stream with a wrong check sum or with data behind its last block.
    int Unpack_Data(unsigned char* src, int srcLen, unsigned char* dst, int* dstLen);
};
