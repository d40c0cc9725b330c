// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The client on the built service with nothing plugged in: the protocol's own rules, sessions, failures.

import assert from "node:assert/strict";
import { createServer } from "node:net";
import { after, afterEach, before, describe, test } from "node:test";
import { setTimeout as pause } from "node:timers/promises";
import WebSocket from "ws";

import { DeskTerminal, encodeRequest, likelyReason } from "../desk-terminal.js";
import { clickWindow, signingTitle, startService, until, windowWithTitle } from "./support/service.js";

const area = { x: 100, y: 100, width: 600, height: 400 };
const signingWindow = () => windowWithTitle(signingTitle);

class BreakableSocket extends WebSocket {
    static last;
    constructor(url) {
        super(url);
        BreakableSocket.last = this;
    }
}

let service;
const desks = [];

function connect(options = {}) {
    const desk = new DeskTerminal({ WebSocket, firstDelay: 20, longestDelay: 200, ...options });
    desk.frames = [];
    desk.strays = [];
    desk.addEventListener("frame", ({ direction, text, bytes }) => desk.frames.push({ direction, text, bytes }));
    desk.addEventListener("stray", ({ text }) => desk.strays.push(text));
    desks.push(desk);
    return desk;
}

const failure = (step, code, reason) => ({ name: "DeskError", step, code, reason });

before(async () => { service = await startService(); });
afterEach(() => { for (const desk of desks.splice(0)) desk.close(); });
after(() => service.stop());

describe("protocol", () => {
    test("connecting leaves another page's session open; it is ended when beginning asks for that", async () => {
        const first = connect({ sessionCheck: 100 });
        const ended = assert.rejects(first.beginSigning(area), failure("ZCBeginSignAB", "ended", "ended"));
        await until(signingWindow, "the signing window");
        const second = connect();
        await assert.rejects(second.setPenWidth(5), failure("ZCSetPenWidth", 0, "signing-in-progress"));
        await assert.rejects(second.beginSigning(area), failure("ZCBeginSignAB", 0, "signing-in-progress"));
        const closed = assert.rejects(second.beginSigning({ ...area, x: 200 }, { endOpenSession: true }),
            failure("ZCBeginSignAB", "closed", "closed"));
        const begun = () => second.frames.filter(({ text }) => text?.includes('"function":"ZCBeginSignAB"')).length;
        await until(() => begun() === 3 && signingWindow(), "the second page's window");
        second.close();
        await closed;
        await ended;
        assert.equal(signingWindow(), "");
    });

    test("ends the session that a lost connection left open, as soon as there is a new one", async () => {
        const desk = connect({ WebSocket: BreakableSocket });
        const lost = assert.rejects(desk.beginSigning(area),
            failure("ZCBeginSignAB", "connection-lost", "connection-lost"));
        await until(signingWindow, "the signing window");
        BreakableSocket.last.terminate();
        await lost;
        await until(() => !signingWindow(), "the window's end");
    });

    test("keeps each command's reply apart, in whatever order they are asked", async () => {
        const desk = connect();
        const asked = ["ZCDeviceExist", "ZCSIMCard", "ZCResignAB", "ZCSIMCard", "ZCStopDeviceAB", "ZCGetSAMNum"];
        const replies = await Promise.all(asked.map((name) => desk.request(name)));
        assert.deepEqual(replies.map((reply) => reply.functionName), asked);
        assert.deepEqual(desk.strays, []);
    });

    test("resolves the command that is never answered once the service has taken it", async () => {
        const desk = connect();
        await desk.openHidReader();
        assert.match(desk.frames.at(-3).text, /ZCReadHIDOpen/);
        assert.deepEqual(desk.frames.at(-1).bytes, desk.frames.at(-2).bytes);
        await desk.ping();
    });

    test("names a command that the service does not know", async () => {
        const desk = connect();
        await assert.rejects(desk.request("ZCnothing", { text: "it's 'quoted'" }),
            failure("ZCnothing", "unknown-command", "unknown-command"));
        assert.equal(encodeRequest({ text: "it's" }), '{"text":"it\\u0027s"}');
    });

    test("hands replies to raw frames out as strays", async () => {
        const desk = connect();
        await desk.connect();
        for (const text of ["null", "5", "[]", "{}", "no JSON", "{'function':'ZCResignAB','_tflag':'mine'}"])
            desk.sendRaw(text);
        await desk.ping();
        assert.deepEqual(desk.strays, ["null", "5", "[]", "{}", "no JSON",
            '{"_tflag":"mine","functionName":"ZCResignAB","msg":"","success":1}']);
    });

    test("refuses parameters that the service would take for zero", async () => {
        const desk = connect();
        for (const percent of [undefined, "50", 1.5, -1, 101, NaN])
            await assert.rejects(desk.setTransparency(percent), RangeError);
        await assert.rejects(desk.beginSigning({ ...area, height: 0 }), RangeError);
        await desk.setTransparency(100);
        await desk.setPenWidth(3);
        await desk.setPadScreen({ x: 1921, y: 0, width: 1280, height: 800 });
    });
});

describe("signing session", () => {
    // Where the window's three buttons stand, in its own coordinates.
    const buttons = { cancel: [100, 365], confirm: [500, 365] };

    async function press(button) {
        const identifier = await until(signingWindow, "the signing window");
        await pause(100);
        clickWindow(identifier, ...button);
    }

    test("answers under another name, while other commands are served", async () => {
        const desk = connect();
        const signature = desk.beginSigning(area);
        await until(signingWindow, "the signing window");
        assert.equal(desk.isSigning, true);
        await assert.rejects(desk.lastSignature(), failure("ZCOutputImageBase64AB", 0, "not-signed"));
        await assert.rejects(desk.beginSigning(area), failure("ZCBeginSignAB", "busy", "busy"));
        await desk.clearSignature();
        await press(buttons.confirm);
        const { dataUrl, type, base64 } = await signature;
        assert.equal(type, "image/png");
        assert.ok(dataUrl.startsWith("data:image/png;base64,iVBORw"));
        assert.equal((await desk.lastSignature()).base64, base64);
        assert.equal(desk.isSigning, false);
        assert.deepEqual(desk.strays, []);
    });

    test("tells that the signer cancelled", async () => {
        const desk = connect();
        const refused = assert.rejects(desk.beginSigning(area), failure("ZCBeginSignAB", 0, "cancelled"));
        await press(buttons.cancel);
        await refused;
    });

    test("notices that another page ended the session", async () => {
        const desk = connect({ sessionCheck: 100 });
        const ended = assert.rejects(desk.beginSigning(area), failure("ZCBeginSignAB", "ended", "ended"));
        await until(signingWindow, "the signing window");
        await pause(300);
        assert.equal(desk.isSigning, true);
        await connect().endSigning();
        await ended;
    });

    test("is over when the pad is stopped", async () => {
        const desk = connect();
        const ended = assert.rejects(desk.beginSigning(area), failure("ZCBeginSignAB", "ended", "ended"));
        await until(signingWindow, "the signing window");
        await desk.stopPad();
        assert.equal(desk.isSigning, false);
        await ended;
    });

    test("ends a session whose time is over", async () => {
        const desk = connect();
        await assert.rejects(desk.beginSigning(area, { timeout: 300 }),
            failure("ZCBeginSignAB", "timeout", "timeout"));
        await until(() => !signingWindow(), "the window's end");
    });

    test("names the step that failed", async () => {
        await assert.rejects(connect().sign(area), failure("ZCStartDeviceAB", -1, "pad-absent"));
    });
});

describe("devices that are not there", () => {
    const missing = [
        ["samNumber", failure("ZCGetSAMNum", -1, "reader-absent")],
        ["readIdCard", failure("ZCReadIDCard", 431003, "reader-absent")],
        ["readHidIdCard", failure("ZCReadHIDIDCard", -12, "reader-absent")],
        ["readSim", failure("ZCSIMCard", 0, "reader-absent")],
        ["takePicture", failure("ZCCameraPic", 0, "no-picture")],
    ];
    for (const [method, error] of missing)
        test(method, () => assert.rejects(connect()[method](), error));

    test("the message holds step, code, the service's text and a hint", () => assert.rejects(
        connect().readSim(), { message: "ZCSIMCard failed (0): 打开设备端口失败: no smart-card reader" }));
});

describe("connection", () => {
    test("says that the service is not running, goes on trying, and comes back", async () => {
        await service.stop();
        const desk = connect();
        const closed = connect();
        await assert.rejects(closed.connect(), failure("connect", "unreachable", "service-not-running"));
        closed.close();
        const states = [];
        desk.addEventListener("state", ({ state, delay }) => states.push([state, delay]));
        await assert.rejects(desk.connect(), failure("connect", "unreachable", "service-not-running"));
        await assert.rejects(desk.readSim(), failure("ZCSIMCard", "unreachable", "service-not-running"));
        await until(() => states.filter(([state]) => state === "waiting").length >= 4, "four attempts");
        const delays = states.filter(([state]) => state === "waiting").map(([, delay]) => delay);
        assert.ok(delays[3] > 2 * delays[0], `back-off: ${delays}`);
        service = await startService();
        await until(() => desk.state === "open", "the connection");
        assert.equal(await desk.padPresent(), false);
        assert.equal(closed.state, "closed");
    });

    test("gives up a server that does not answer", async () => {
        const silent = createServer().listen(12399);
        await assert.rejects(connect({ url: "ws://localhost:12399/", connectTimeout: 100, reconnect: false }).connect(),
            { code: "unreachable", text: "no answer" });
        silent.close();
    });

    test("waits for each command as long as its device may take, and for a person without end", async (context) => {
        const timers = [];
        context.mock.method(globalThis, "setTimeout", (expire, delay) => {
            timers.push({ expire, delay });
            return {};
        });
        class DeafSocket {
            constructor() { queueMicrotask(() => this.onopen()); }
            send() {}
            close() {}
        }
        const seconds = { ZCDeviceExist: 15, ZCGetSAMNum: 20, ZCReadIDCard: 60, ZCReadHIDIDCard: 60, ZCSIMCard: 30 };
        for (const name of [...Object.keys(seconds), "ZCCameraPic", "ZCBeginSignAB"]) {
            timers.length = 0;
            const gaveUp = context.mock.fn();
            connect({ WebSocket: DeafSocket }).request(name).catch(gaveUp);
            await new Promise(setImmediate);
            const [, ...waits] = timers; // the first is the connection's
            assert.deepEqual(waits.map(({ delay }) => delay), name in seconds ? [seconds[name] * 1000] : [], name);
            waits.forEach(({ expire }) => expire());
            await new Promise(setImmediate);
            assert.equal(gaveUp.mock.calls.length, waits.length, name);
        }
    });

    test("fails what waits when the service dies, and connects to the next one", async () => {
        const desk = connect();
        const lost = assert.rejects(desk.beginSigning(area),
            failure("ZCBeginSignAB", "connection-lost", "connection-lost"));
        await until(signingWindow, "the signing window");
        await service.stop("SIGKILL");
        await lost;
        service = await startService();
        await until(() => desk.state === "open", "the connection");
        await desk.ping();
    });

    test("gives up a command in time and is not confused by its late reply", async () => {
        const desk = connect();
        await desk.ping();
        service.child.kill("SIGSTOP");
        const late = assert.rejects(desk.request("ZCDeviceExist", {}, { timeout: 100 }),
            failure("ZCDeviceExist", "timeout", "timeout"));
        await late;
        service.child.kill("SIGCONT");
        const reply = await desk.request("ZCDeviceExist");
        assert.equal(JSON.parse(desk.frames.filter(({ direction }) => direction === "sent").at(-1).text)._tflag,
            reply._tflag);
        assert.equal(desk.strays.length, 1);
    });

    test("does not connect again after close, nor when told not to", async () => {
        const desk = connect({ reconnect: false });
        await desk.connect();
        await service.stop("SIGKILL");
        await until(() => desk.state === "closed", "the loss");
        await pause(300);
        assert.equal(desk.state, "closed");
        service = await startService();
        const other = connect();
        await other.connect();
        other.close();
        await pause(300);
        assert.equal(other.state, "closed");
    });

    const pages = [
        ["file:", "", "service-not-running"],
        ["http:", "localhost", "service-not-running"],
        ["http:", "192.168.1.20", "service-not-running"],
        ["http:", "counter", "service-not-running"],
        ["http:", "shop.example.com", "public-http"],
        ["https:", "shop.example.com", "service-not-running"], // of a platform without the permission
        ["https:", "counter.intranet", "service-not-running"],
        ["https:", "shop.example.com", "mixed-content", "10.0.0.5"],
        ["https:", "localhost", "mixed-content", "10.0.0.5"],
        ["https:", "localhost", "service-not-running"],
    ];
    for (const [protocol, hostname, reason, machine = "localhost"] of pages)
        test(`the likely reason for a page of ${protocol}//${hostname} and ${machine}`, async () =>
            assert.equal(await likelyReason(`ws://${machine}:12343/`, { protocol, hostname }), reason));
});
