// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The virtual terminal of this build, and what the tests of the page and of the client library share.

import assert from "node:assert/strict";
import { join } from "node:path";
import { setTimeout as pause } from "node:timers/promises";
import { fileURLToPath } from "node:url";
import WebSocket from "ws";

import { VirtualTerminal } from "../../testing/index.js";

const templates = fileURLToPath(new URL("../../../packaging/templates", import.meta.url));

/** Waits until `look` gives something. */
export async function until(look, what) {
    const end = Date.now() + 60000;
    let seen;
    while (!(seen = await look())) {
        assert.ok(Date.now() < end, `not within a minute: ${what}`);
        await pause(25);
    }
    return seen;
}

/** What a failed command rejects with. */
export const failure = (step, code, reason = String(code)) => ({ name: "DeskError", step, code, reason });

/** The virtual terminal of this build. */
export const terminalCommand = [join(process.env.DESK_BIN_DIR, "virtual-terminal"), "--templates", templates];

/** Starts the terminal; without options every device is plugged in, with a card on each reader and a SIM in its own. */
export const startTerminal = (...options) => VirtualTerminal.start(
    { WebSocket, command: [...terminalCommand, "--control-port", "12345", ...options] });

/** The area of a signing window, as most tests have it. */
export const area = { x: 240, y: 150, width: 800, height: 500 };
