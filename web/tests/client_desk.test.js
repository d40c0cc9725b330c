// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The client library on the service and a desk with every device: where the two must agree.

import assert from "node:assert/strict";
import { after, afterEach, beforeEach, test } from "node:test";
import WebSocket from "ws";

import { DeskTerminal } from "../desk-terminal.js";
import { area, failure, startTerminal, until } from "./support/desk.js";

const terminal = await startTerminal();
after(() => terminal.stop());
const begin = "ZCBeginSignAB";
const iccid = "89860198765432109875";
const connect = (options) => new DeskTerminal({ WebSocket, firstDelay: 20, longestDelay: 200, ...options });
let desk;
beforeEach(() => { desk = connect({ sessionCheck: 100 }); });
afterEach(() => desk.close());

test("every device answers, in whatever order the commands are asked", async () => {
    const strays = [];
    desk.addEventListener("stray", ({ text }) => strays.push(text));
    await terminal.play("insertSim", { iccid });
    for (const [type, method, device] of [["permanentResidence", "readIdCard", "usbReader"], ["residencePermit", "readHidIdCard", "hidReader"]]) {
        await terminal.play("putCard", { device, card: { type } });
        const { idNum, photo } = await desk[method]();
        assert.deepEqual([idNum, photo.type], [terminal.state.devices[device].card.idNum, "image/bmp"]);
    }
    const signature = desk.sign(area);
    await terminal.sign();
    await terminal.press("确定");
    const { base64 } = await signature;
    const asked = ["samNumber", "readSim", "readSim", "openHidReader", "ping", "padPresent", "lastSignature"];
    const [number, ...others] = await Promise.all(asked.map((method) => desk[method]()));
    assert.match(number, /^[0-9A-Fa-f]{32}$/);
    assert.deepEqual([...others.slice(0, 5), others[5].base64], [iccid, iccid, undefined, undefined, true, base64]);
    await assert.rejects(desk.takePicture({ timeout: 300 }), { code: "timeout" });
    await terminal.waitForWindow("capture");
    await assert.rejects(desk.takePicture(), { reason: "no-picture", message: /earlier window still has it/ });
    await terminal.takePicture();
    await until(() => strays.length > 0, "the late picture");
    assert.equal(JSON.parse(strays[0]).functionName, "ZCCameraPic");
    const photo = desk.takePicture();
    await terminal.takePicture();
    assert.equal((await photo).type, "image/jpeg");
    await assert.rejects(desk.request("ZCnothing"), failure("ZCnothing", "unknown-command"));
    assert.equal(strays.length, 1);
});

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

test("a page's session is its own until another ends it on purpose", async () => {
    const other = connect();
    const ended = assert.rejects(desk.beginSigning(area), failure(begin, "ended"));
    await terminal.waitForWindow("signing");
    await assert.rejects(other.sign(area), failure(begin, 0, "signing-in-progress"));
    const controller = new AbortController();
    const aborted = assert.rejects(other.beginSigning(area, { signal: controller.signal }), failure(begin, "aborted"));
    controller.abort(); // before the service has refused
    await Promise.all([aborted, other.ping(), other.padPresent()]);
    assert.equal(terminal.state.windows.length, 1);
    const next = assert.rejects(other.beginSigning(area, { endOpenSession: true }), failure(begin, "closed"));
    await until(() => other.isSigning, "the other's session");
    other.close();
    await Promise.all([next, ended]);
    await until(() => terminal.state.windows.length === 0, "the windows' end");
});

test("a session does not outlive its connection, nor the client its service", async () => {
    const lost = assert.rejects(desk.sign(area), failure(begin, "connection-lost"));
    await terminal.waitForWindow("signing");
    await terminal.play("killService");
    await lost;
    await terminal.play("startService");
    await until(() => desk.state === "open" && terminal.state.windows.length === 0, "the connection, without the window");
    assert.equal(await desk.padPresent(), true);
});
