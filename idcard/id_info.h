// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// \brief One decoded identity card.
///
/// Every text field is UTF-8 and NUL-terminated inside its width; fields that a card type does not
/// have are empty. `ReadIDCard::AnalysisID` zeroes the whole record before it fills it. The record
/// takes about a megabyte; it is a local variable of the command that reads the card.
struct IDINFO
{
    /// Bytes of a card's fingerprint block.
    static constexpr int FingerprintBlockBytes = 1024;

    char name[40];              ///< name (the Chinese name of a permanent residence card)
    char englishName[40];       ///< English name, type "I" only
    char gender[10];            ///< "男", "女" or "其他"; empty for type "I"
    char nation[20];            ///< bare name of the nation, resident card only
    char address[200];          ///< address
    char birthday[50];          ///< date of birth, 8 digits YYYYMMDD as on the card
    char effectDate[50];        ///< start of validity, 8 digits YYYYMMDD
    char expireDate[50];        ///< end of validity, 8 characters as on the card, not always digits
    char idNum[40];             ///< identity number (18 characters); permit number for type "I"
    char issueOrg[50];          ///< issuing authority; its code for type "I"
    char nationCode[200];       ///< nationality code, type "I" only
    char reserved[1024 * 1024]; ///< part of the record's layout, always zero
    char passNum[24];           ///< pass number, type "J" only
    char signCount[8];          ///< number of issues, type "J" only
    char CertVersion[8];        ///< card version, type "I" only
    char CardType[136];         ///< the type letter: "I", "J", or what a resident card holds there
    unsigned char figData[1056]; ///< the fingerprint block, the rest zero
};
