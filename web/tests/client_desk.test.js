// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The client on a desk with every device: results, faults, plugs that are pulled, a service that dies.

import assert from "node:assert/strict";
import { after, afterEach, before, beforeEach, describe, test } from "node:test";
import { setTimeout as pause } from "node:timers/promises";
import WebSocket from "ws";

import { DeskTerminal } from "../desk-terminal.js";
import { signingTitle, until, windowWithTitle } from "./support/service.js";
import { captureTitle, operateCaptureWindow, startTerminal } from "./support/terminal.js";

const area = { x: 100, y: 100, width: 600, height: 400 };
const okButton = [600, 465]; // of the signing window in that area
const signingWindow = () => windowWithTitle(signingTitle);
const failure = (step, code, reason) => ({ name: "DeskError", step, code, reason });

let terminal;
let desk;
let frames;
let strays;
before(async () => { terminal = await startTerminal(); });
after(() => terminal.stop());
beforeEach(() => {
    desk = new DeskTerminal({ WebSocket, firstDelay: 20, longestDelay: 200 });
    [frames, strays] = [[], []];
    desk.addEventListener("frame", ({ direction, text }) => direction === "received" && frames.push(text));
    desk.addEventListener("stray", ({ text }) => strays.push(text));
});
afterEach(() => {
    desk.close();
    assert.deepEqual(strays, []);
});

describe("identity cards", () => {
    const readers = { readIdCard: "usbReader", readHidIdCard: "hidReader" };
    for (const [method, device] of Object.entries(readers)) {
        test(`${method} gives the card's fields and its photo`, async () => {
            const card = { type: "residencePermit", name: "陈一", passNum: "H12345678", portrait: 2 };
            await terminal.play("putCard", { device, card });
            const { photo, ...fields } = await desk[method]();
            assert.deepEqual([fields.CardType, fields.name, fields.passNum], ["J", "陈一", "H12345678"]);
            assert.equal(photo.type, "image/bmp");
            const picture = Buffer.from(photo.base64, "base64");
            assert.deepEqual([picture.readInt32LE(18), Math.abs(picture.readInt32LE(22))], [102, 126]);
        });
    }

    test("the invented holders' numbers pass the checks of pages", async () => {
        const weigh = (number, weights) => [...number].reduce((sum, character, at) =>
            sum + (character === "X" && at === 17 ? 10 : parseInt(character, 36)) * weights(at), 0);
        const residents = (number) => weigh(number, (at) => 2 ** (17 - at)) % 11 === 1;
        const foreigners = (number) =>
            weigh(number.slice(0, 14), (at) => [7, 3, 1][at % 3]) % 10 === Number(number[14]);
        const checks = { resident: residents, residencePermit: residents, permanentResidence: foreigners };
        for (const [type, isRight] of Object.entries(checks)) {
            await terminal.play("putCard", { device: "usbReader", card: { type } });
            const { idNum } = await desk.readIdCard();
            assert.ok(isRight(idNum), idNum);
        }
    });

    test("the security module tells its number", async () => assert.match(await desk.samNumber(), /^[0-9A-Fa-f]{32}$/));

    test("a HID reader that is unplugged in the middle gives no half of a card", async () => {
        await terminal.play("putCard", { device: "hidReader", card: {} });
        const whole = await desk.readHidIdCard();
        // Transfer 5 brings the first 27 bytes of the card, each one after it 31 more: the type letter is in 13.
        for (let transfer = 0; transfer < 47; ++transfer) {
            await terminal.play("break", { device: "hidReader", fault: "unplugAt", transfer });
            const read = desk.readHidIdCard();
            if (transfer <= 13)
                await assert.rejects(read, ({ reason, reply }) => reason === "card-unreadable" && reply.err_code === 0);
            else
                assert.deepEqual(await read, { ...whole, photo: null, figData: (await read).figData });
            await terminal.play("repair", { device: "hidReader" });
            await terminal.play("plug", { device: "hidReader" });
        }
    });

    const faults = [
        ["readIdCard", "usbReader", { fault: "held" }, 431003, "reader-absent"],
        ["readIdCard", "usbReader", { fault: "status", of: "readCard", status: "000041" }, 431004, "card-unreadable"],
        ["readHidIdCard", "hidReader", { fault: "held" }, -12, "reader-absent"],
        ["readHidIdCard", "hidReader", { fault: "result", of: "selectCard", result: 1 }, -2, "card-unreadable"],
    ];
    const steps = { readIdCard: "ZCReadIDCard", readHidIdCard: "ZCReadHIDIDCard" };
    for (const [method, device, fault, code, reason] of faults) {
        test(`${method} names the failure: ${fault.fault}`, async () => {
            await terminal.play("break", { device, ...fault });
            await assert.rejects(desk[method](), failure(steps[method], code, reason));
            await terminal.play("repair", { device });
            assert.ok((await desk[method]()).name);
        });
    }

    test("a reader that is late holds up the next command, and both are answered", async () => {
        await terminal.play("break", { device: "hidReader", fault: "slow", milliseconds: 30 });
        const [card, present] = await Promise.all([desk.readHidIdCard(), desk.padPresent()]);
        await terminal.play("repair", { device: "hidReader" });
        assert.equal(card.name, terminal.state.devices.hidReader.card.name);
        assert.equal(present, true);
    });
});

describe("SIM card", () => {
    test("takes the reply that comes twice for one, also when read twice at once", async () => {
        await terminal.play("insertSim", { iccid: "89860198765432109875" });
        const [first, second] = await Promise.all([desk.readSim(), desk.request("ZCSIMCard")]);
        assert.equal(first, "89860198765432109875");
        assert.equal(second.success, 1);
        await desk.ping();
        assert.equal(frames.filter((text) => text?.includes("ZCSIMCard")).length, 4);
    });

    test("the invented card's number ends in its Luhn digit", async () => {
        await terminal.play("insertSim");
        const number = await desk.readSim();
        const sum = [...number].reverse().reduce((total, digit, at) =>
            total + (at % 2 ? [0, 2, 4, 6, 8, 1, 3, 5, 7, 9][digit] : Number(digit)), 0);
        assert.equal(sum % 10, 0, number);
    });

    test("tells that no card is in the reader", async () => {
        await terminal.play("pullSim");
        await assert.rejects(desk.readSim(), failure("ZCSIMCard", 0, "card-absent"));
    });
});

describe("signature pad", () => {
    const line = Array.from({ length: 30 }, (_, step) => [250 + 10 * step, 250 + step, 700]);

    test("a session from the pad's start to the picture, signed with the pen", async () => {
        const signature = desk.sign(area);
        await until(signingWindow, "the signing window");
        await pause(200);
        await terminal.play("pen", { points: [...line, [540, 279, 0]] });
        await terminal.play("pen", { points: [[...okButton, 500], [...okButton, 500], [...okButton, 0]] });
        const { type, base64 } = await signature;
        assert.equal(type, "image/png");
        assert.match(frames.at(-1), /ZCStopDeviceAB.*"success":1/, "the pad is not read any longer");
        assert.equal((await desk.lastSignature()).base64, base64);
    });

    test("a pad that another program holds, or that is not there", async () => {
        await terminal.play("break", { device: "pad", fault: "held" });
        await assert.rejects(desk.sign(area), failure("ZCStartDeviceAB", -2, "pad-busy"));
        await terminal.play("repair", { device: "pad" });
        await terminal.play("unplug", { device: "pad" });
        await assert.rejects(desk.sign(area), failure("ZCStartDeviceAB", -1, "pad-absent"));
        assert.equal(await desk.padPresent(), false);
        await terminal.play("plug", { device: "pad" });
        assert.equal(await desk.padPresent(), true);
    });

    test("signing that is refused leaves the other page's session open", async () => {
        const other = new DeskTerminal({ WebSocket });
        const first = assert.rejects(desk.beginSigning(area), failure("ZCBeginSignAB", "ended", "ended"));
        await until(signingWindow, "the signing window");
        await assert.rejects(other.sign(area), failure("ZCBeginSignAB", 0, "signing-in-progress"));
        other.close();
        assert.ok(signingWindow(), "the window is there");
        await desk.endSigning();
        await first;
    });
});

describe("camera", () => {
    test("the operator's picture comes as a JPEG, while other commands are served", async () => {
        const asked = desk.takePicture();
        await until(() => windowWithTitle(captureTitle), "the capture window");
        assert.equal(await desk.padPresent(), true);
        await operateCaptureWindow();
        const { type, base64 } = await asked;
        assert.equal(type, "image/jpeg");
        assert.ok(base64.length > 10000, `a picture of ${base64.length} characters`);
    });

    test("a picture that was given up in time leaves the window open, and both errors say so", async () => {
        await assert.rejects(desk.takePicture({ timeout: 300 }), { code: "timeout", message: /window stays open/ });
        await until(() => windowWithTitle(captureTitle), "the capture window");
        await assert.rejects(desk.takePicture(), { reason: "no-picture", message: /earlier window still has it/ });
        await operateCaptureWindow();
        await until(() => strays.length > 0, "the late picture");
        assert.match(strays.pop(), /ZCCameraPic/);
    });
});

describe("service", () => {
    test("that dies in a session fails it and is connected to when it is back", async () => {
        const lost = assert.rejects(desk.sign(area), failure("ZCBeginSignAB", "connection-lost", "connection-lost"));
        await until(signingWindow, "the signing window");
        await terminal.play("killService");
        await lost;
        await terminal.play("startService");
        await until(() => desk.state === "open", "the connection");
        assert.equal(await desk.padPresent(), true);
    });
});
