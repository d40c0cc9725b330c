// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// For tests of pages, in Node.js: the virtual terminal, and a check of a page on it.

export { checkPage } from "./check_page.js";
export { VirtualTerminal } from "./virtual_terminal.js";
