// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The people at the counter: pages that send commands, a clerk at the devices, a signer, the operator of the camera.

import { createRequire } from "node:module";

import { DeskTerminal } from "../../web/desk-terminal.js";
import { area, until } from "../../web/tests/support/desk.js";

const WebSocket = createRequire(new URL("../../web/package.json", import.meta.url))("ws");

const cardTypes = ["resident", "permanentResidence", "residencePermit"];

/** Plays rounds of everything that happens at a counter, and keeps what went wrong. */
export class Errands {
    answered = 0;
    failures = [];

    #terminal;
    #desk;
    #play;

    constructor(terminal) {
        this.#terminal = terminal;
        this.#play = (command, keys) => terminal.play(command, keys);
        this.#desk = this.#page();
    }

    #page() {
        const page = new DeskTerminal({ WebSocket, firstDelay: 20, longestDelay: 200 });
        page.addEventListener("frame", ({ direction }) => { this.answered += direction === "received" ? 1 : 0; });
        return page;
    }

    leave() { this.#desk.close(); }

    /** Nobody signs, and the pad is not read. */
    async rest() { await this.#step("rest", () => this.#desk.stopPad()); }

    async playRound(number) {
        for (const kind of [this.#readCards, this.#readSim, this.#sign, this.#pullPlugs, this.#vanish])
            await this.#step(`${kind.name}, round ${number}`, () => kind.call(this, number));
        if (number % 2 === 0)
            await this.#step(`camera, round ${number}`, () => this.#takePicture());
        if (number % 4 === 0)
            await this.#step(`daemon, round ${number}`, () => this.#restartDaemon());
    }

    async #step(name, action) {
        try {
            await action();
        } catch (error) {
            this.failures.push(`${name}: ${error.message}`);
            // The next step begins with the desk as it was.
            await this.#desk.stopPad().catch(() => {});
            for (const [device, { plugged, fault }] of Object.entries(this.#terminal.state.devices)) {
                if (fault)
                    await this.#play("repair", { device }).catch(() => {});
                if (!plugged)
                    await this.#play("plug", { device }).catch(() => {});
            }
        }
    }

    /** The command is refused, for this reason. */
    async #refused(command, reason) {
        const outcome = await command.then(() => "success", (error) => error.reason);
        if (outcome !== reason)
            throw new Error(`expected ${reason}, but was answered with ${outcome}`);
    }

    async #readCards(number) {
        const type = cardTypes[number % cardTypes.length];
        await this.#play("setModule", { module: number % 2 === 0 ? "0501" : "0503" });
        for (const [device, method] of [["usbReader", "readIdCard"], ["hidReader", "readHidIdCard"]]) {
            const name = `客${"甲乙丙丁"[number % 4]}`;
            await this.#play("putCard", { device, card: { type, name, portrait: number % 3, fingerprints: true } });
            const card = await this.#desk[method]();
            if (card.name !== name || !card.photo || !card.figData)
                throw new Error(`${method} gave ${card.name}, photo ${Boolean(card.photo)}`);
            await this.#play("takeCard", { device });
            await this.#refused(this.#desk[method](), "card-unreadable");
        }
        await this.#play("setModule", { module: "0503" });
        if (!await this.#desk.samNumber())
            throw new Error("no number of the security module");
    }

    async #readSim(number) {
        const iccid = `8986011345678901${String(number % 10000).padStart(4, "0")}`;
        await this.#play("insertSim", { iccid });
        const read = await this.#desk.readSim();
        if (read !== iccid)
            throw new Error(`read ${read} instead of ${iccid}`);
        await this.#play("pullSim");
        // The daemon notices after a while; until then the card fails later on the way.
        await until(() => this.#desk.readSim().catch(({ reason }) => reason === "card-absent"), "the empty reader");
        await this.#play("insertSim");
    }

    async #restartDaemon() {
        await this.#play("break", { device: "simReader", fault: "crashed" });
        await this.#refused(this.#desk.readSim(), "reader-absent");
        await this.#play("repair", { device: "simReader" });
        if (!await this.#desk.readSim())
            throw new Error("no number after the daemon's restart");
    }

    async #sign(number) {
        await this.#desk.setPadScreen({ x: 0, y: 0, width: 1280, height: 800 });
        const signature = this.#desk.sign(area);
        signature.catch(() => {});
        await this.#terminal.sign();
        if (number % 3 === 1)
            await this.#desk.clearSignature();
        if (number % 3 === 2) {
            await this.#desk.endSigning();
            await this.#refused(signature, "ended");
            return;
        }
        await this.#terminal.press("确定");
        const { base64 } = await signature;
        if ((await this.#desk.lastSignature()).base64 !== base64)
            throw new Error("the last signature is another one");
    }

    async #takePicture() {
        const asked = this.#desk.takePicture();
        asked.catch(() => {});
        await this.#terminal.takePicture();
        if ((await asked).type !== "image/jpeg")
            throw new Error("no JPEG");
    }

    async #pullPlugs() {
        await this.#desk.startPad();
        const attempts = { pad: () => this.#desk.startPad(), usbReader: () => this.#desk.readIdCard(),
            hidReader: () => this.#desk.readHidIdCard(), simReader: () => this.#desk.readSim() };
        for (const [device, attempt] of Object.entries(attempts)) {
            await this.#play("unplug", { device });
            await this.#refused(attempt(), device === "pad" ? "pad-absent" : "reader-absent");
            await this.#play("plug", { device });
        }
        await this.#desk.startPad();
        await this.#desk.stopPad();
    }

    /** Pages that are gone before their answer: in a card's read, in a session, with the camera window open. */
    async #vanish(number) {
        const windows = { ZCReadIDCard: null, ZCReadHIDIDCard: null, ZCBeginSignAB: "signing" };
        if (number % 2 === 1)
            windows.ZCCameraPic = "capture";
        for (const [command, shownWindow] of Object.entries(windows)) {
            const page = this.#page();
            await page.connect();
            page.sendRaw(JSON.stringify({ function: command, ...area }));
            if (shownWindow)
                await this.#terminal.waitForWindow(shownWindow);
            page.close();
            if (command === "ZCBeginSignAB")
                await this.#desk.endSigning();
            else if (command === "ZCCameraPic")
                await this.#terminal.takePicture();
            await this.#desk.ping();
        }
    }
}
