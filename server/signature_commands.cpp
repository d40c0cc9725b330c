// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/text_message_processor.h"

// Accepted and logged for pages that still send it; there is nothing to open and nothing to answer.
void CTextMessageProcessor::ZCReadHIDOpen(QString /*functionName*/, QWebSocket* /*client*/,
                                          QString /*request*/)
{
}
