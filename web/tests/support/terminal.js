// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The virtual terminal as a child process: the service with every device, and the port that plays the desk.

import { spawn } from "node:child_process";
import { once } from "node:events";
import { existsSync, rmSync } from "node:fs";
import { join } from "node:path";
import { createInterface } from "node:readline";
import { setTimeout as pause } from "node:timers/promises";
import { fileURLToPath } from "node:url";
import WebSocket from "ws";

import { clickWindow, programs, until, windowWithTitle } from "./service.js";

const templates = fileURLToPath(new URL("../../../packaging/templates", import.meta.url));

/** Starts the terminal with every device plugged in, a card on each reader and a SIM in its own. */
export async function startTerminal() {
    const child = spawn(join(programs, "virtual-terminal"), ["--templates", templates],
        { stdio: ["ignore", "pipe", "inherit"] });
    const exited = once(child, "exit");
    const ended = exited.then(([code]) => { throw new Error(`virtual-terminal ended with ${code}`); });
    ended.catch(() => {}); // whoever waits for the terminal hears of it
    await Promise.race([once(createInterface(child.stdout), "line"), ended]);
    const socket = new WebSocket("ws://localhost:12345");
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
            const { ok, result, error } = await Promise.race(
                [new Promise((resolve) => waiting.set(id, resolve)), ended]);
            if (!ok)
                throw new Error(error);
            return result;
        },
        async stop() {
            socket.close();
            child.kill();
            const [code] = await exited;
            if (code !== 0)
                throw new Error(`virtual-terminal ended with ${code}`);
        },
    };
}

// The capture window's title, and the centres of its buttons.
export const captureTitle = "Tarvex高拍";
const captureButtons = { takePicture: [670, 438], handOver: [910, 438] };

const pictureFile = "/tmp/kvo_cv.jpg";

/** The operator takes a picture in the capture window, once there is one to take, and hands it over. */
export async function operateCaptureWindow() {
    const identifier = await until(() => windowWithTitle(captureTitle), "the capture window");
    rmSync(pictureFile, { force: true });
    await until(async () => {
        clickWindow(identifier, ...captureButtons.takePicture);
        await pause(100);
        return existsSync(pictureFile);
    }, "a picture");
    clickWindow(identifier, ...captureButtons.handOver);
}
