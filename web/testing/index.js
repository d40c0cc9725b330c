// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// For tests of pages, in Node.js: the virtual terminal.

export { VirtualTerminal } from "./virtual_terminal.js";
