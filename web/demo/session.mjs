// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Uses every device of the virtual terminal once, through the client library as a page would: a SIM card, a signature,
// a card on each reader, a picture. Writes the pictures, the frames and index.html to a folder.
//
//     session.mjs FOLDER      run in tests/sandbox, with DESK_BIN_DIR set to the folder of the programs

import { copyFileSync, mkdirSync, rmSync, writeFileSync } from "node:fs";
import { join, resolve } from "node:path";
import { setTimeout as pause } from "node:timers/promises";

import WebSocket from "ws";

import { DeskTerminal } from "../desk-terminal.js";
import { area, captureWindow, operateCaptureWindow, signingWindow, startTerminal, until } from "../tests/support/desk.js";
import { reportPage } from "./report.mjs";

// In the signing window on the pad's display: the strokes of 王, and the button 确定.
const strokes = [[[420, 270], [860, 262]], [[440, 380], [840, 374]], [[390, 500], [890, 494]], [[640, 264], [644, 496]]];
const okButton = [905, 615];
const stepsOfAStroke = 40;

class Session {
    results = [];
    frames = [];

    #folder;
    #terminal;
    #desk;
    #begin = Date.now();

    constructor(folder, terminal) {
        this.#folder = folder;
        this.#terminal = terminal;
        this.#desk = new DeskTerminal({ WebSocket });
        this.#desk.addEventListener("frame", ({ direction, text }) => {
            const seconds = ((Date.now() - this.#begin) / 1000).toFixed(3).padStart(8);
            this.frames.push(`${seconds} ${direction === "sent" ? "->" : "<-"} ${text}`);
        });
    }

    async play() {
        await this.#step("SIM card", () => this.#readSim());
        await this.#step("Signature", () => this.#sign());
        await this.#step("Identity card, USB reader", () => this.#readCard("readIdCard", "photo-usb.bmp", true));
        await this.#step("Identity card, HID reader", () => this.#readCard("readHidIdCard", "photo-hid.bmp", false));
        await this.#step("Document camera", () => this.#takePicture());
        this.#desk.close();
    }

    async #step(title, action) {
        const result = { title, succeeded: true, files: [] };
        try {
            result.summary = await action.call(this, result);
            result.files = this.#kept;
        } catch (error) {
            Object.assign(result, { succeeded: false, summary: error.message });
        }
        this.#kept = [];
        this.results.push(result);
        console.log(`  ${result.succeeded ? "ok    " : "FAILED"} ${title.padEnd(28)} ${result.summary}`);
    }

    #kept = [];

    #keep(name, base64) {
        writeFileSync(join(this.#folder, name), Buffer.from(base64, "base64"));
        this.#kept.push(name);
    }

    async #keepScreen(name, display) {
        this.#keep(name, (await this.#terminal.play("screenshot", { display })).png);
    }

    async #readSim() {
        return `ICCID ${await this.#desk.readSim()}`;
    }

    async #sign() {
        const signature = this.#desk.sign(area);
        signature.catch(() => {}); // awaited below
        await until(signingWindow, "the signing window");
        await pause(200); // the window ignores samples from before it was opened
        for (const [from, to] of strokes) {
            const points = Array.from({ length: stepsOfAStroke }, (_, step) => [0, 1].map(
                (axis) => Math.round(from[axis] + (to[axis] - from[axis]) * step / stepsOfAStroke)));
            await this.#terminal.play("pen", {
                points: [...points.map(([x, y], step) => [x, y, 300 + 15 * step]), [...to, 0]],
            });
        }
        await pause(500);
        await this.#keepScreen("pad.png", "pad");
        await this.#terminal.play("pen", { points: [[...okButton, 500], [...okButton, 0]] });
        this.#keep("signature.png", (await signature).base64);
        await this.#desk.stopPad();
        return "signed on the pad, confirmed with the pen";
    }

    async #readCard(method, photo, withFaces) {
        const card = await this.#desk[method]();
        this.#keep(photo, card.photo.base64);
        if (withFaces) {
            for (const face of ["frontNew.jpg", "backNew.jpg"]) {
                copyFileSync(`/proc/${this.#terminal.state.service.processId}/cwd/${face}`, join(this.#folder, face));
                this.#kept.push(face);
            }
        }
        return `${card.name}, ${card.idNum}`;
    }

    async #takePicture() {
        const asked = this.#desk.takePicture();
        asked.catch(() => {}); // awaited below
        await until(captureWindow, "the capture window");
        await pause(500);
        await this.#keepScreen("capture-window.png", "main");
        await operateCaptureWindow();
        this.#keep("document.jpg", (await asked).base64);
        return "taken by the clerk with two clicks";
    }
}

const folder = resolve(process.argv[2]);
rmSync(folder, { recursive: true, force: true });
mkdirSync(folder, { recursive: true });
const terminal = await startTerminal();
const session = new Session(folder, terminal);
console.log("\nWhat came of it:");
await session.play();
await terminal.stop();
writeFileSync(join(folder, "frames.log"), `${session.frames.join("\n")}\n`);
writeFileSync(join(folder, "index.html"), reportPage(session.results, session.frames));
console.log(`\nPictures, faces and frames: ${folder}\nAs one page: ${join(folder, "index.html")}`);
process.exit(session.results.every(({ succeeded }) => succeeded) ? 0 : 1);
