// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// Bare name (UTF-8, static) of the nation with a code of 1 to 56; an empty text for any other
/// code.
const char* nationName(long code);
