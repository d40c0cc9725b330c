// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The virtual terminal as a child process, and the people at it: the signer with the pen, the clerk at the screen.

import assert from "node:assert/strict";
import { spawn, spawnSync } from "node:child_process";
import { once } from "node:events";
import { existsSync, rmSync } from "node:fs";
import { join } from "node:path";
import { createInterface } from "node:readline";
import { setTimeout as pause } from "node:timers/promises";
import { fileURLToPath } from "node:url";
import WebSocket from "ws";

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

/** Starts the terminal; without options every device is plugged in, with a card on each reader and a SIM in its own. */
export async function startTerminal(...options) {
    const child = spawn(join(process.env.DESK_BIN_DIR, "virtual-terminal"), ["--templates", templates, ...options],
        { stdio: ["ignore", "pipe", "inherit"] });
    const exited = once(child, "exit");
    const ended = exited.then(([code]) => { throw new Error(`virtual-terminal ended with ${code}`); });
    ended.catch(() => {}); // whoever waits for the terminal hears of it
    const [ready] = await Promise.race([once(createInterface(child.stdout), "line"), ended]);
    const socket = new WebSocket(ready.match(/ws:\S+$/)[0]); // its control port
    const waiting = new Map();
    let lastId = 0;
    let state;
    socket.on("message", (text) => {
        const message = JSON.parse(text);
        state = message.event === "state" ? message.state : state;
        waiting.get(message.id)?.(message);
    });
    await until(() => state, "the desk's state");
    return {
        get state() { return state; },
        /** Plays the desk; rejects with the terminal's complaint. */
        async play(command, keys = {}) {
            const id = ++lastId;
            socket.send(JSON.stringify({ id, command, ...keys }));
            const { ok, result, error } = await Promise.race([new Promise((resolve) => waiting.set(id, resolve)), ended]);
            if (!ok)
                throw new Error(error);
            return result;
        },
        async stop() {
            socket.close();
            child.kill();
            assert.equal((await exited)[0], 0, "the terminal's end");
        },
    };
}

const xdotool = (...parameters) => spawnSync("xdotool", parameters, { encoding: "utf8" }).stdout.trim();
const windowWithTitle = (title) => xdotool("search", "--onlyvisible", "--name", `^${title}$`).split("\n").at(-1);

/** The X identifiers of the two windows of the service, "" when there is none. */
export const signingWindow = () => windowWithTitle("HandWriting");
export const captureWindow = () => windowWithTitle("Tarvex高拍");

/** The area of a signing window, as most tests have it. */
export const area = { x: 240, y: 150, width: 800, height: 500 };

/** Has somebody write until ink shows: an opening window takes what comes too early for somebody else's. */
export async function writeInk(terminal, write) {
    await until(signingWindow, "the signing window");
    const screen = async () => (await terminal.play("screenshot", { display: "pad" })).png;
    let blank;
    await until(async () => blank === (blank = await screen()), "the whole window");
    let looks = 0;
    await until(async () => {
        if (looks++ % 20 === 0)
            await write();
        return await screen() !== blank;
    }, "the ink");
}

/** The signer writes a line and confirms it. */
export async function signWithPen(terminal, { x, y, width, height } = area) {
    const line = Array.from({ length: 30 }, (_, step) => [x + 150 + 10 * step, y + 150 + step, 700]);
    const okButton = [Math.round(x + width * 5 / 6), y + height - 30];
    await writeInk(terminal, () => terminal.play("pen", { points: [...line, [x + 440, y + 179, 0]] }));
    await terminal.play("pen", { points: [[...okButton, 500], [...okButton, 500], [...okButton, 0]] });
}

/** The operator takes a picture in the capture window, once there is one to take, and hands it over. */
export async function operateCaptureWindow() {
    const identifier = await until(captureWindow, "the capture window");
    const press = (x, y) => xdotool("mousemove", "--window", identifier, String(x), String(y), "click", "1");
    const pictureFile = "/tmp/kvo_cv.jpg";
    rmSync(pictureFile, { force: true });
    await until(async () => {
        press(670, 438);
        await pause(100);
        return existsSync(pictureFile);
    }, "a picture");
    press(910, 438);
}
