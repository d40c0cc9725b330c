// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The built service as a child process, and a person at the terminal's screen.

import { execFileSync, spawn } from "node:child_process";
import { once } from "node:events";
import { createConnection } from "node:net";
import { join } from "node:path";
import { setTimeout as pause } from "node:timers/promises";

export const programs = process.env.DESK_BIN_DIR;

/** Waits until `look` gives something. */
export async function until(look, what, timeoutMs = 20000) {
    const end = Date.now() + timeoutMs;
    for (;;) {
        const seen = await look();
        if (seen)
            return seen;
        if (Date.now() > end)
            throw new Error(`not within ${timeoutMs} ms: ${what}`);
        await pause(25);
    }
}

export function portOpen(port) {
    return new Promise((resolve) => {
        const socket = createConnection(port, "127.0.0.1");
        socket.once("connect", () => { socket.destroy(); resolve(true); });
        socket.once("error", () => resolve(false));
    });
}

/** Starts the service with nothing plugged in. */
export async function startService(environment = {}) {
    const child = spawn(join(programs, "desk-terminal-service"), [], {
        env: { ...process.env, ...environment },
        stdio: ["ignore", "ignore", "ignore"],
    });
    await until(() => portOpen(12343), "the service's port");
    return {
        child,
        async stop(signal = "SIGTERM") {
            if (child.exitCode === null && child.signalCode === null) {
                child.kill(signal);
                await once(child, "exit");
            }
        },
    };
}

function xdotool(...parameters) {
    try {
        return execFileSync("xdotool", parameters, { encoding: "utf8", stdio: ["ignore", "pipe", "ignore"] }).trim();
    } catch {
        return ""; // no such window
    }
}

/** The X identifier of the visible window with this title, "" when there is none. */
export function windowWithTitle(title) {
    return xdotool("search", "--onlyvisible", "--name", `^${title}$`).split("\n").at(-1);
}

/** Clicks a point of the window, in its own coordinates. */
export function clickWindow(identifier, x, y) {
    xdotool("mousemove", "--window", identifier, String(x), String(y), "click", "1");
}

export const signingTitle = "HandWriting";
