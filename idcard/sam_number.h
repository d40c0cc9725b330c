// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/// The result of a query for the security module's number.
struct SamNumber
{
    bool success = false; ///< the reader answered, with or without a number
    QString message;      ///< for the user: the step that failed, or the success
    QString number;       ///< 32 upper-case hexadecimal digits; empty when there is none
};

/// Asks the USB identity-card reader for its security module's number, in the frames of the "0503"
/// module. Opens and closes the reader; blocks for up to 3 seconds.
SamNumber querySamNumber();
