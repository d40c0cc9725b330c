// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The client library on the service and a desk with every device: where the two must agree.

import assert from "node:assert/strict";
import { after, afterEach, beforeEach, test } from "node:test";
import WebSocket from "ws";

import { DeskTerminal } from "../desk-terminal.js";
import {
    area, captureWindow, failure, operateCaptureWindow, signWithPen, signingWindow, startTerminal, until,
} from "./support/desk.js";

const terminal = await startTerminal();
after(() => terminal.stop());
const begin = "ZCBeginSignAB";
const connect = (options) => new DeskTerminal({ WebSocket, firstDelay: 20, longestDelay: 200, ...options });
let desk;
let strays;
beforeEach(() => {
    desk = connect({ sessionCheck: 100 });
    strays = [];
    desk.addEventListener("stray", ({ text }) => strays.push(text));
});
afterEach(() => {
    desk.close();
    assert.deepEqual(strays, []);
});

test("every device answers, in whatever order the commands are asked", async () => {
    await terminal.play("insertSim", { iccid: "89860198765432109875" });
    const signature = desk.sign(area);
    await signWithPen(terminal);
    const { base64 } = await signature;
    const asked = ["samNumber", "readSim", "readSim", "openHidReader", "ping", "lastSignature", "padPresent"];
    const [number, ...others] = await Promise.all(asked.map((method) => desk[method]()));
    assert.match(number, /^[0-9A-Fa-f]{32}$/);
    const iccid = "89860198765432109875";
    assert.deepEqual(others, [iccid, iccid, undefined, undefined, await desk.lastSignature(), true]);
    assert.equal((await desk.lastSignature()).base64, base64);
    const photo = desk.takePicture();
    await until(captureWindow, "the capture window");
    assert.equal(await desk.padPresent(), true);
    await operateCaptureWindow();
    assert.equal((await photo).type, "image/jpeg");
    await assert.rejects(desk.request("ZCnothing"), failure("ZCnothing", "unknown-command"));
});

// The checks of the invented holders' numbers that pages make.
const weigh = (number, weights) => [...number].reduce((sum, character, at) =>
    sum + (character === "X" && at === 17 ? 10 : parseInt(character, 36)) * weights(at), 0);
const isResidents = (number) => weigh(number, (at) => 2 ** (17 - at)) % 11 === 1;
const isForeigners = (number) => weigh(number.slice(0, 14), (at) => [7, 3, 1][at % 3]) % 10 === Number(number[14]);
const kinds = { resident: isResidents, residencePermit: isResidents, permanentResidence: isForeigners };
for (const [method, device] of [["readIdCard", "usbReader"], ["readHidIdCard", "hidReader"]]) {
    test(`${method} gives each kind of card with its photo`, async () => {
        for (const [type, isRight] of Object.entries(kinds)) {
            await terminal.play("putCard", { device, card: { type } });
            const { name, idNum, photo } = await desk[method]();
            assert.deepEqual([name, photo.type], [terminal.state.devices[device].card.name, "image/bmp"]);
            assert.ok(isRight(idNum), idNum);
        }
    });
}

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

test("an invented SIM card's number ends in its Luhn digit", async () => {
    await terminal.play("insertSim");
    const number = await desk.readSim();
    const digits = [...number].reverse().map((digit, at) => at % 2 ? [0, 2, 4, 6, 8, 1, 3, 5, 7, 9][digit] : Number(digit));
    assert.equal(digits.reduce((sum, digit) => sum + digit) % 10, 0, number);
});

const faults = [
    ["readIdCard", "usbReader", "break", { fault: "held" }, "reader-absent"],
    ["readIdCard", "usbReader", "break", { fault: "status", of: "readCard", status: "000041" }, "card-unreadable"],
    ["readHidIdCard", "hidReader", "break", { fault: "result", of: "selectCard", result: 1 }, "card-unreadable"],
    ["startPad", "pad", "break", { fault: "held" }, "pad-busy"],
    ["startPad", "pad", "unplug", {}, "pad-absent"],
    ["samNumber", "usbReader", "unplug", {}, "reader-absent"],
    ["readHidIdCard", "hidReader", "unplug", {}, "reader-absent"],
    ["readSim", undefined, "pullSim", {}, "card-absent"],
    ["readSim", "simReader", "unplug", {}, "reader-absent"],
];
for (const [method, device, command, keys, reason] of faults) {
    test(`${method} names the failure after ${command} ${JSON.stringify(keys)}`, async () => {
        await terminal.play(command, { device, ...keys });
        await assert.rejects(desk[method](), { reason });
        await terminal.play({ break: "repair", unplug: "plug", pullSim: "insertSim" }[command], { device });
    });
}

test("a picture that was given up in time leaves the window open, and both errors say so", async () => {
    await assert.rejects(desk.takePicture({ timeout: 300 }), { code: "timeout", message: /window stays open/ });
    await until(captureWindow, "the capture window");
    await assert.rejects(desk.takePicture(), { reason: "no-picture", message: /earlier window still has it/ });
    await operateCaptureWindow();
    await until(() => strays.length > 0, "the late picture");
    assert.match(strays.pop(), /ZCCameraPic/);
});

test("a page's session is its own until another ends it on purpose", async () => {
    const other = connect();
    const ended = assert.rejects(desk.beginSigning(area), failure(begin, "ended"));
    await until(signingWindow, "the signing window");
    await assert.rejects(other.sign(area), failure(begin, 0, "signing-in-progress"));
    assert.ok(signingWindow());
    const next = assert.rejects(other.beginSigning(area, { endOpenSession: true }), failure(begin, "closed"));
    await until(() => other.isSigning, "the other's session");
    other.close();
    await Promise.all([next, ended]);
    await until(() => !signingWindow(), "the windows' end");
    await assert.rejects(desk.beginSigning(area, { timeout: 300 }), failure(begin, "timeout"));
    await until(() => !signingWindow(), "the end of time");
});

test("a session does not outlive its connection, nor the client its service", async () => {
    for (const breakOff of [() => desk.socket.terminate(), () => terminal.play("killService")]) {
        desk.close();
        desk = connect({ WebSocket: function Socket(url) { return (desk.socket = new WebSocket(url)); } });
        const lost = assert.rejects(desk.sign(area), failure(begin, "connection-lost"));
        await until(signingWindow, "the signing window");
        await breakOff();
        await lost;
        if (!terminal.state.service.running)
            await terminal.play("startService");
        await until(() => desk.state === "open" && !signingWindow(), "the connection, without the window");
        assert.equal(await desk.padPresent(), true);
    }
});
