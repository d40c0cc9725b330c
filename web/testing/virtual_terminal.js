// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A virtual terminal, as a test starts it and operates its devices.

import { spawn } from "node:child_process";
import { once } from "node:events";
import { stat } from "node:fs/promises";
import { createInterface } from "node:readline";
import { setTimeout as pause } from "node:timers/promises";

import { handwriting } from "./handwriting.js";

const defaultTimeout = 30000;
const pictureFile = "/tmp/kvo_cv.jpg"; // of the service, for every picture that is taken
const pictureWait = 300; // until a click on 拍照 is repeated
const mostSamples = 5000; // of one command "pen"
/** The cards that lie on the readers at the start. */
export const restingCards = { usbReader: {}, hidReader: { type: "permanentResidence", portrait: 1 } };
const restingState = [
    ["setPicture", { device: "documentCamera", scene: "document" }],
    ["setPicture", { device: "portraitCamera", scene: "portrait" }],
    ["setModule", { module: "0503" }],
    ...Object.entries(restingCards).map(([device, card]) => ["putCard", { device, card }]),
    ["insertSim", {}],
];

async function webSocketClass(given) {
    if (given ?? globalThis.WebSocket)
        return given ?? globalThis.WebSocket;
    try {
        return (await import("ws")).WebSocket;
    } catch {
        throw new Error("This Node.js has no WebSocket: install the npm package ws, or pass the option WebSocket.");
    }
}

/** Starts the program, and gives its process and the control port's URL when it is ready. */
async function launch(command, timeout) {
    const [program, ...given] = [command].flat();
    const port = given.includes("--control-port") ? [] : ["--control-port", "0"];
    // It ends when its input is closed: also when this process is killed.
    const child = spawn(program, [...given, ...port, "--end-with-input"], { stdio: "pipe" });
    child.stdin.on("error", () => {});
    let complaints = "";
    const collect = (text) => { complaints += text; };
    child.stderr.setEncoding("utf8").on("data", collect);
    const timer = setTimeout(() => {
        complaints += `not ready within ${timeout} ms`;
        child.stdin.end();
        child.kill();
    }, timeout);
    try {
        const ready = new Promise((resolve) => createInterface(child.stdout).on("line", (line) => {
            const [, url] = line.match(/^virtual-terminal: .*control on (ws:\S+)$/) ?? [];
            if (url)
                resolve(url);
        }));
        const failed = once(child, "close").then(([code]) => { throw new Error(`ended with ${code}`); });
        failed.catch(() => {});
        const url = await Promise.race([ready, failed]);
        child.stderr.off("data", collect).on("data", (text) => process.stderr.write(text));
        process.stderr.write(complaints);
        return { child, url };
    } catch (error) {
        throw new Error(`${[command].flat().join(" ")}: ${error.message}\n${complaints}`.trim());
    } finally {
        clearTimeout(timer);
    }
}

/** The area of the signing window's canvas in pixels of the pad's display. */
function canvasOnPad({ place, canvas, padDisplay }) {
    return { ...canvas, x: place.x + canvas.x - padDisplay.x, y: place.y + canvas.y - padDisplay.y };
}

export class VirtualTerminal extends EventTarget {
    #socket;
    #child;
    #exited;
    #state;
    #lastId = 0;
    #waiting = new Map();
    #ended;
    #end;

    /** Use `start` or `connect`. */
    constructor(socket, child) {
        super();
        this.#socket = socket;
        this.#child = child;
        this.#exited = child && once(child, "exit");
        this.#ended = new Promise((_, reject) => { this.#end = reject; });
        this.#ended.catch(() => {}); // whoever waits for the terminal hears of it
        socket.addEventListener("message", ({ data }) => this.#take(JSON.parse(data)));
        for (const type of ["close", "error"])
            socket.addEventListener(type, () => this.#end(new Error("The connection to the virtual terminal has ended.")));
    }

    static async start({ command = "virtual-terminal", WebSocket, timeout = 60000 } = {}) {
        const constructor = await webSocketClass(WebSocket);
        const { child, url } = await launch(command, timeout);
        return new VirtualTerminal(new constructor(url), child).#opened();
    }

    static async connect(url = "ws://localhost:12345", { WebSocket } = {}) {
        return new VirtualTerminal(new (await webSocketClass(WebSocket))(url)).#opened();
    }

    async #opened() {
        await this.waitFor(() => true, { message: "its state" });
        return this;
    }

    #take(message) {
        if (message.event === "state") {
            this.#state = message.state;
            this.dispatchEvent(new Event("state"));
        } else if (message.event === "service") {
            this.dispatchEvent(Object.assign(new Event("service"), { line: message.line, stream: message.stream }));
        } else {
            this.#waiting.get(message.id)?.(message);
            this.#waiting.delete(message.id);
        }
    }

    get url() { return this.#socket.url; }

    get state() { return this.#state; }

    async play(command, keys = {}) {
        const id = ++this.#lastId;
        const reply = new Promise((resolve) => this.#waiting.set(id, resolve));
        this.#socket.send(JSON.stringify({ id, command, ...keys }));
        const { ok, result, error } = await Promise.race([reply, this.#ended]);
        if (!ok)
            throw new Error(`${command}: ${error}`);
        return result;
    }

    async waitFor(condition, { timeout = defaultTimeout, message = String(condition) } = {}) {
        const aborter = new AbortController();
        const { signal } = aborter;
        try {
            const seen = new Promise((resolve, reject) => {
                const look = () => {
                    try {
                        const found = this.#state && condition(this.#state);
                        if (found)
                            resolve(found);
                    } catch (error) {
                        reject(error);
                    }
                };
                this.addEventListener("state", look, { signal });
                look();
            });
            const late = pause(timeout, undefined, { signal }).then(() => {
                const { windows = [], service } = this.#state ?? {};
                throw new Error(`Not within ${timeout} ms: ${message}. The service ${service?.running ? "runs" : "does not run"}; ` +
                    `open windows: ${windows.map(({ window }) => window).join(", ") || "none"}.`);
            });
            late.catch(() => {});
            return await Promise.race([seen, late, this.#ended]);
        } finally {
            aborter.abort();
        }
    }

    waitForWindow(name, { timeout } = {}) {
        return this.waitFor(({ windows }) => windows.filter(({ window }) => window === name).at(-1),
            { timeout, message: `a window "${name}"` });
    }

    async plug(device) { await this.play("plug", { device }); }

    async unplug(device) { await this.play("unplug", { device }); }

    async break(device, fault, keys = {}) { await this.play("break", { device, fault, ...keys }); }

    async repair(device) { await this.play("repair", { device }); }

    async putCard(device, card = {}) { await this.play("putCard", { device, card }); }

    async changeCard(device, card) { await this.play("changeCard", { device, card }); }

    async takeCard(device) { await this.play("takeCard", { device }); }

    async setModule(module) { await this.play("setModule", { module }); }

    async insertSim(iccid) { await this.play("insertSim", iccid === undefined ? {} : { iccid }); }

    async pullSim() { await this.play("pullSim"); }

    async setPicture(device, picture) {
        const keys = typeof picture === "string" ? { scene: picture } : { image: Buffer.from(picture).toString("base64") };
        await this.play("setPicture", { device, ...keys });
    }

    async log(device, { clear } = {}) {
        return (await this.play("log", { device, ...(clear === undefined ? {} : { clear }) })).lines;
    }

    async screenshot(of = "main") {
        const { png } = await this.play("screenshot", { [of === "main" || of === "pad" ? "display" : "window"]: of });
        return Buffer.from(png, "base64");
    }

    async startService() { await this.play("startService"); }

    async stopService() { await this.play("stopService"); }

    async killService() { await this.play("killService"); }

    async pen(points, { display } = {}) {
        for (let begin = 0; begin < points.length; begin += mostSamples) {
            const { read } = await this.play("pen",
                { points: points.slice(begin, begin + mostSamples), ...(display ? { display } : {}) });
            if (!read)
                throw new Error("pen: No program reads the pad: the page has not started it, or has stopped it.");
        }
    }

    async sign(text = "王", { timeout } = {}) {
        const window = await this.waitForWindow("signing", { timeout });
        const { width, height } = window.padDisplay;
        await this.pen(handwriting(text, canvasOnPad(window)), { display: [width, height] });
        await this.waitFor(({ devices }) => devices.pad.waiting === 0, { timeout, message: "the whole name read" });
    }

    async press(button, { window: name, timeout } = {}) {
        const { window } = await this.waitFor(({ windows }) => windows
            .filter(({ window, buttons }) => (name ?? window) === window && buttons.some((each) => each.button === button))
            .at(-1), { timeout, message: `a button "${button}"` });
        await this.play("press", { window, button });
    }

    async takePicture({ timeout = defaultTimeout, handOver = true } = {}) {
        await this.waitForWindow("capture", { timeout });
        const written = async () => (await stat(pictureFile, { bigint: true }).catch(() => undefined))?.mtimeNs;
        const before = await written();
        // A click before the camera's first frame takes no picture.
        for (const end = Date.now() + timeout; await written() === before;) {
            if (Date.now() > end)
                throw new Error(`The capture window took no picture within ${timeout} ms.`);
            await this.press("拍照", { timeout });
            for (const next = Date.now() + pictureWait; await written() === before && Date.now() < next;)
                await pause(20);
        }
        if (handOver)
            await this.press("关闭退出", { timeout });
    }

    async reset() {
        if (this.#state.service.running)
            await this.stopService();
        for (const [device, { plugged, fault }] of Object.entries(this.#state.devices)) {
            if (fault)
                await this.repair(device);
            if (!plugged)
                await this.plug(device);
        }
        for (const [command, keys] of restingState)
            await this.play(command, keys);
        await this.startService();
    }

    async stop() {
        this.#socket.close();
        if (!this.#child)
            return;
        this.#child.stdin.end();
        this.#child.kill();
        const [code] = await this.#exited;
        if (code !== 0)
            throw new Error(`The virtual terminal ended with ${code}.`);
    }
}

if (Symbol.asyncDispose)
    VirtualTerminal.prototype[Symbol.asyncDispose] = VirtualTerminal.prototype.stop;
