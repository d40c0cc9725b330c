// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The client library on a stub of the service: what it sends, how it takes what comes, and when it gives up.

import assert from "node:assert/strict";
import { afterEach, test } from "node:test";
import { setTimeout as pause } from "node:timers/promises";

import { DeskTerminal, commands, likelyReason } from "../desk-terminal.js";
import { area, failure, until } from "./support/desk.js";

const png = { base64: "iVBORw0KGgo=", type: "image/png", dataUrl: "data:image/png;base64,iVBORw0KGgo=" };
const signed = { functionName: "ZCOutputImageBase64AB", _tflag: "another", success: 1, Base64: png.base64 };
const inProgress = { success: 0, msg: "签名进行中" };
const [start, begin, end, stop] = ["ZCStartDeviceAB", "ZCBeginSignAB", "ZCEndSignAB", "ZCStopDeviceAB"];
const methods = {
    [start]: "startPad", [begin]: "beginSigning", [end]: "endSigning", [stop]: "stopPad", ZCDeviceExist: "padPresent",
    ZCOutputImageBase64AB: "lastSignature", ZCResignAB: "clearSignature", ZCSetPenWidth: "setPenWidth", ZCSetModeAB: "setMode",
    ZCSetTransparency: "setTransparency", ZCSetSignScreenPosSizeAB: "setPadScreen", ZCCameraPic: "takePicture",
    ZCReadIDCard: "readIdCard", ZCReadHIDIDCard: "readHidIdCard", ZCGetSAMNum: "samNumber", ZCReadHIDOpen: "openHidReader",
    ZCSIMCard: "readSim",
};
const soon = () => new Promise(setImmediate);
const openAtOnce = (socket) => queueMicrotask(() => socket.onopen());
const failAtOnce = (socket) => queueMicrotask(() => socket.onclose({ code: 1006, reason: "gone" }));
const desks = [];
afterEach(() => desks.splice(0).forEach((desk) => desk.close()));

/** A test for each row. */
const each = (rows, title, run) => rows.forEach((row) => test(`${title}: ${JSON.stringify(row)}`, () => run(...row)));

/**
 * A client on a stub that answers each command at once with `replies[its name]`: a reply, a list of them, or null for none.
 * `opens` says what becomes of a new socket. The client's additional members tell what happened.
 */
function connect(answers = {}, { opens = openAtOnce, ...options } = {}) {
    const replies = { [begin]: null, ZCCameraPic: null, ZCReadHIDOpen: null, ...answers };
    function WebSocket(url) {
        const socket = {
            url,
            send(data) {
                if (typeof data !== "string")
                    return queueMicrotask(() => socket.onmessage({ data: data.buffer }));
                const request = JSON.parse(data);
                desk.sent.push(request);
                const { [request.function]: reply = { success: 1 } } = replies;
                return [reply].flat().forEach((one) => one && queueMicrotask(() => socket.answer(request, one)));
            },
            answer: ({ function: functionName, _tflag }, reply) =>
                socket.onmessage({ data: JSON.stringify({ functionName, _tflag, ...reply }) }),
            close() { socket.isClosed = true; },
        };
        desk.sockets.push(socket);
        desk.opens(socket);
        return socket;
    }
    const desk = Object.assign(new DeskTerminal({ WebSocket, firstDelay: 5, longestDelay: 40, ...options }),
        { replies, opens, sockets: [], sent: [], strays: [], frames: [], states: [] });
    desk.names = () => desk.sent.map((request) => request.function);
    desk.answerLast = (reply) => desk.sockets.at(-1).answer(desk.sent.at(-1), reply);
    desk.addEventListener("frame", (event) => desk.frames.push(event));
    desk.addEventListener("stray", ({ text }) => desk.strays.push(text));
    desk.addEventListener("state", (event) => desk.states.push(event));
    desks.push(desk);
    return desk;
}

/** Makes Node a page for the test; gives what sends an event to it. */
function bePage(context) {
    const page = new EventTarget();
    const methodsOfPages = ["addEventListener", "removeEventListener"];
    methodsOfPages.forEach((name) => { globalThis[name] = page[name].bind(page); });
    context.after(() => methodsOfPages.forEach((name) => delete globalThis[name]));
    return (type, details = {}) => page.dispatchEvent(Object.assign(new Event(type), details));
}

// --- Commands ---------------------------------------------------------------------------------------------------

const place = { x: [-32768, 32767], y: [-32768, 32767], width: [1, 32767], height: [1, 32767] };
each([
    ["ZCSetTransparency", { Percent: [0, 100] }], ["ZCSetPenWidth", { Width: [0, 1000] }], ["ZCSetModeAB", { mode: [0, 32767] }],
    ["ZCSetSignScreenPosSizeAB", place], [begin, place],
], "parameters in range are sent, nothing else", async (name, ranges) => {
    const desk = connect({ [begin]: signed });
    for (const [key, [least, greatest]] of Object.entries(ranges)) {
        const send = (value) => desk[methods[name]](ranges === place ? { ...area, [key]: value } : value);
        for (const value of [least, greatest]) {
            await send(value);
            const { _tflag, ...request } = desk.sent.at(-1);
            assert.deepEqual(request, { function: name, ...(ranges === place && area), [key]: value });
        }
        for (const value of [least - 1, greatest + 1, 1.5, NaN, "5", undefined])
            await assert.rejects(send(value), RangeError);
    }
    assert.equal(desk.sent.length, 2 * Object.keys(ranges).length);
});

const card = {
    CardType: " ", name: "陈一", idNum: "11010519491231002X", birthday: "19491231", effectDate: "20200101", expireDate: "20400101",
};
const picture = (base64, type) => ({ base64, type, dataUrl: `data:${type};base64,${base64}` });
each([
    ["ZCDeviceExist", { success: 1 }, true],
    ["ZCDeviceExist", { success: 0 }, false],
    [start, { success: 1 }],
    ["ZCResignAB", { success: 1 }],
    ["ZCReadHIDOpen", null],
    ["ZCOutputImageBase64AB", { success: 1, Base64: png.base64 }, png],
    ["ZCCameraPic", { success: 1, Base64: "/9j/" }, picture("/9j/", "image/jpeg")],
    ["ZCCameraPic", { success: 1, Base64: "R0lG" }, picture("R0lG", "application/octet-stream")],
    ["ZCGetSAMNum", { success: 1, data: "0503" }, "0503"],
    ["ZCGetSAMNum", { success: 1 }, ""],
    ["ZCSIMCard", [{ success: 1, data: "8986" }, { success: 1, data: "8986" }], "8986"],
    ["ZCSIMCard", [{ success: 1 }, { success: 1 }], ""],
    ["ZCReadIDCard", { success: 1, data: { ...card, photo: "Qk0=" } }, { ...card, photo: picture("Qk0=", "image/bmp") }],
    ["ZCReadIDCard", { success: 1, data: { ...card, photo: "" } }, { ...card, photo: null }],
    ...[{ expireDate: "长期" }, { expireDate: "长期  " }, { CardType: "J" }, { CardType: "I", idNum: "ABC123456789012" }].map(
        (fields) => ["ZCReadHIDIDCard", { err_code: 0, data: { ...card, ...fields } }, { ...card, ...fields, photo: null }]),
], "a reply gives a result", async (name, reply, result) => {
    const desk = connect({ [name]: reply });
    assert.deepEqual(await desk[methods[name]](), result);
    assert.deepEqual([desk.names(), desk.strays], [[name], []]);
});

each([
    [start, -1, "", "pad-absent"],
    [start, -2, "", "pad-busy"],
    [start, -3, "", "-3"],
    ["ZCSetPenWidth", 0, "签名进行中", "signing-in-progress", 5],
    [begin, 0, "用户已取消", "cancelled", area],
    ["ZCOutputImageBase64AB", 0, "未签名", "not-signed"],
    ["ZCReadIDCard", 431003, "读卡失败", "reader-absent"],
    ["ZCReadIDCard", 431004, "读卡失败", "card-unreadable"],
    ["ZCReadIDCard", 0, "", "reader-failed"],
    ["ZCGetSAMNum", -1, "libusb_open_device failed", "reader-absent"],
    ["ZCGetSAMNum", -1, "claim interface failed", "reader-absent"],
    ["ZCGetSAMNum", -1, "libusb_bulk_transfer read failed", "reader-failed"],
    ["ZCReadHIDIDCard", -12, "寻卡失败", "reader-absent"],
    ["ZCReadHIDIDCard", -2, "选卡失败", "card-unreadable"],
    ["ZCSIMCard", 0, "打开设备端口失败", "reader-absent"],
    ["ZCSIMCard", 0, "设备上电失败", "card-absent"],
    ["ZCSIMCard", 0, "设备通讯失败", "card-unreadable"],
    ["ZCCameraPic", 0, "", "no-picture"],
], "a failure has its reason, and the next command is served", async (name, success, msg, reason, ...parameters) => {
    const desk = connect({ [name]: { success, msg } });
    await assert.rejects(desk[methods[name]](...parameters), (error) => {
        assert.equal(error.reply.success, success);
        const hint = /^\d|-\d/.test(reason) ? "" : "(: )?[a-z][^:]+";
        assert.match(error.message, new RegExp(`^${name} failed \\(${success}\\)(: )?${msg}${hint}$`));
        return Object.entries({ ...failure(name, success, reason), text: msg }).every(([key, value]) => error[key] === value);
    });
    assert.equal(await desk.padPresent(), true);
});

each([
    ["CardType", { CardType: "" }], ["idNum", { idNum: "1101" }], ["birthday", { birthday: "" }], ["effectDate", { effectDate: "" }],
    ["expireDate", { expireDate: "2040" }], ["idNum", { CardType: "I" }],
], "a card that was not read to its end is a failure", (field, fields) =>
    assert.rejects(connect({ ZCReadHIDIDCard: { err_code: 0, data: { ...card, ...fields } } }).readHidIdCard(),
        { reason: "card-unreadable", text: `only a part of the card was read, not ${field}` }));

// --- Replies ----------------------------------------------------------------------------------------------------

test("commands are sent one after another, and each has its own reply", async () => {
    const desk = connect({ ZCDeviceExist: null, ZCResignAB: null });
    const asked = ["ZCDeviceExist", "ZCResignAB", "ZCDeviceExist"].map((name) => desk.request(name));
    for (const [at, promise] of asked.entries()) {
        await soon();
        assert.equal(desk.sent.length, at + 1);
        desk.answerLast({ success: at });
        assert.equal((await promise).success, at);
    }
    assert.equal(new Set(desk.sent.map(({ _tflag }) => _tflag)).size, 3);
});

test("a SIM card's reply comes twice, and the next command waits for the second", async () => {
    const desk = connect({ ZCSIMCard: null });
    const [first, second] = [desk.readSim(), desk.padPresent()];
    await soon();
    desk.answerLast({ success: 1, data: "8986" });
    assert.equal(await first, "8986");
    assert.deepEqual(desk.names(), ["ZCSIMCard"]);
    desk.answerLast({ success: 1, data: "8986" });
    assert.equal(await second, true);
    assert.deepEqual(desk.strays, []);
});

test("windows answer under other tags and names, while other commands are served", async () => {
    const desk = connect({ ZCOutputImageBase64AB: { success: 0, msg: "未签名" } });
    const [signature, photo] = [desk.beginSigning(area), desk.takePicture()];
    await soon();
    const refused = [assert.rejects(desk.beginSigning(area), failure(begin, "busy")),
        assert.rejects(desk.takePicture(), failure("ZCCameraPic", "busy"))];
    assert.equal(await desk.padPresent(), true);
    await Promise.all(refused);
    await assert.rejects(desk.lastSignature(), failure("ZCOutputImageBase64AB", 0, "not-signed"));
    assert.equal(desk.isSigning, true);
    desk.sockets[0].answer({ function: "ZCCameraPic", _tflag: "another" }, { success: 1, Base64: "/9j/" });
    desk.sockets[0].answer({}, signed);
    assert.deepEqual([await signature, (await photo).type, desk.isSigning, desk.strays], [png, "image/jpeg", false, []]);
});

test("replies to nobody and to raw texts are strays, and bytes of others no echo", async () => {
    const desk = connect();
    assert.throws(() => desk.sendRaw("{}"), failure("connect", "closed"));
    await desk.connect();
    const texts = ["null", "5", "[]", "no JSON", '{"functionName":"ZCResignAB","_tflag":"mine"}'];
    const echoed = desk.ping();
    for (const data of [new TextEncoder().encode("another").buffer, ...texts])
        desk.sockets[0].onmessage({ data });
    await echoed;
    desk.sendRaw('{"function":"ZCResignAB"}');
    await soon();
    assert.deepEqual(desk.strays, [...texts, '{"functionName":"ZCResignAB","success":1}']);
    const [sent, foreign] = desk.frames;
    assert.deepEqual([sent.direction, foreign.direction, Buffer.from(foreign.bytes).toString()], ["sent", "received", "another"]);
    assert.ok(sent.time instanceof Date && desk.frames.some(({ bytes }, at) => at > 1 && bytes?.join() === sent.bytes.join()));
});

test("a request that comes back is a command that the service does not know", async () => {
    const desk = connect({ ZCnothing: null });
    const unknown = assert.rejects(desk.request("ZCnothing", { text: "it's 'quoted'" }), failure("ZCnothing", "unknown-command"));
    await soon();
    const { text } = desk.frames.at(-1);
    assert.ok(!text.includes("'") && JSON.parse(text).text === "it's 'quoted'", text);
    desk.sockets[0].onmessage({ data: text });
    await unknown;
});

// --- Waiting ----------------------------------------------------------------------------------------------------

test("a command has as long as its device may take, and a person has no end", async (context) => {
    const waits = { ZCGetSAMNum: [20000], ZCReadIDCard: [60000], ZCReadHIDIDCard: [60000], ZCSIMCard: [30000],
        [begin]: [], ZCCameraPic: [] };
    const timers = context.mock.method(globalThis, "setTimeout"); // only looks on
    for (const name of [...Object.keys(commands), "ZCnothing"]) {
        const desk = connect({ [name]: null });
        await desk.connect();
        timers.mock.resetCalls();
        desk.request(name).catch(() => {});
        await soon();
        assert.deepEqual(timers.mock.calls.map((call) => call.arguments[1]), waits[name] ?? [15000], name);
    }
});

test("a late reply is not taken for the next command's", async () => {
    const desk = connect({ ZCDeviceExist: null });
    await assert.rejects(desk.request("ZCDeviceExist", {}, { timeout: 20 }),
        { ...failure("ZCDeviceExist", "timeout"), text: "no answer within 0.02 s" });
    const next = desk.padPresent();
    await soon();
    desk.sockets[0].answer(desk.sent[0], { success: 0 });
    desk.answerLast({ success: 1 });
    assert.equal(await next, true);
    assert.equal(desk.strays.length, 1);
});

test("a signature that takes too long closes its window, a picture leaves it, one in time stops the clock", async () => {
    const desk = connect();
    await assert.rejects(desk.beginSigning(area, { timeout: 20 }), failure(begin, "timeout"));
    await assert.rejects(desk.takePicture({ timeout: 20 }), { code: "timeout", message: /window stays open/ });
    desk.replies[begin] = signed;
    await desk.beginSigning(area, { timeout: 20 });
    await pause(60);
    assert.deepEqual(desk.names(), [begin, end, "ZCCameraPic", begin]);
});

// --- Signing sessions -------------------------------------------------------------------------------------------

each([["endSigning"], ["stopPad"]], "a command ends the session", async (method) => {
    const desk = connect();
    const ended = assert.rejects(desk.beginSigning(area), failure(begin, "ended"));
    await desk[method]();
    assert.equal(desk.isSigning, false);
    await ended;
});

test("another page's end of the session is noticed by setting the mode again, between other commands", async () => {
    const desk = connect({ ZCDeviceExist: null }, { sessionCheck: 10 });
    const looks = () => desk.sent.filter(({ mode }) => mode === 7).length;
    await desk.setMode(7);
    desk.replies.ZCSetModeAB = inProgress;
    const ended = assert.rejects(desk.beginSigning(area), failure(begin, "ended"));
    await until(() => looks() > 3, "the looks");
    assert.equal(looks(), desk.sent.length - 1);
    const command = desk.padPresent();
    await pause(60);
    const before = looks();
    desk.answerLast({ success: 1 });
    await command;
    assert.ok(looks() <= before + 1, "they do not queue behind a command");
    assert.equal(desk.isSigning, true);
    desk.replies.ZCSetModeAB = { success: 1 };
    await until(() => !desk.isSigning, "the end");
    await ended;
    const after = looks();
    await pause(40);
    assert.equal(looks(), after);
    const unwatched = connect({}, { sessionCheck: 0 });
    unwatched.beginSigning(area).catch(() => {});
    await pause(20);
    assert.deepEqual(unwatched.names(), [begin]);
});

test("a session ends with its page, and with the connection that its page closes", async (context) => {
    const happens = bePage(context);
    const desk = connect();
    for (const [leave, code] of [[() => happens("pagehide"), "ended"], [() => desk.close(), "closed"]]) {
        const ended = assert.rejects(desk.beginSigning(area), failure(begin, code));
        await soon();
        leave();
        await ended;
        happens("pagehide");
    }
    assert.deepEqual(desk.names(), [begin, end, begin, end]);
});

test("a session that a lost connection left open is ended first of all on the next, once", async () => {
    const desk = connect();
    const lost = assert.rejects(desk.sign(area), failure(begin, "connection-lost"));
    await until(() => desk.isSigning, "the session");
    for (const made of [2, 3]) {
        desk.sockets.at(-1).onclose({ code: 1006 });
        await lost;
        assert.equal(await desk.padPresent(), true);
        assert.equal(desk.sockets.length, made);
    }
    assert.deepEqual(desk.names(), [start, begin, end, "ZCDeviceExist", "ZCDeviceExist"]);
});

const cancelled = { [begin]: { success: 0, msg: "用户已取消" } };
each([
    [{}, [start, begin, stop]],
    [{ [stop]: { success: 0 } }, [start, begin, stop]],
    [cancelled, [start, begin, stop], "cancelled"],
    [cancelled, [start, begin, stop], "cancelled", { endOpenSession: true }],
    [{ [start]: { success: -1 } }, [start], "pad-absent"],
    [{ [begin]: inProgress }, [start, begin], "signing-in-progress"],
    [{ [begin]: inProgress, afterwards: signed }, [start, begin, end, begin, stop], undefined, { endOpenSession: true }],
    [{ [begin]: null }, [start, begin, end, stop], "timeout", { timeout: 20 }],
], "a whole session", async (answers, sent, reason, options) => {
    const desk = connect({ [begin]: signed, ...answers });
    desk.addEventListener("frame", ({ text }) => { if (text.includes(end)) desk.replies[begin] = answers.afterwards; });
    await (reason ? assert.rejects(desk.sign(area, options), { reason })
        : desk.sign(area, options).then((signature) => assert.deepEqual(signature, png)));
    await soon();
    assert.deepEqual(desk.names(), sent);
});

test("a second signature leaves the page's open session alone", async () => {
    const desk = connect();
    desk.beginSigning(area).catch(() => {});
    await assert.rejects(desk.sign(area), failure(begin, "busy"));
    assert.deepEqual([desk.names(), desk.isSigning], [[begin, start], true]);
});

// --- Connection -------------------------------------------------------------------------------------------------

test("one connection is made for all who ask, at the usual address, and outlasts the time to make it", async () => {
    const desk = connect({}, { connectTimeout: 20 });
    await Promise.all([desk.connect(), desk.connect(), desk.ping()]);
    await pause(60);
    await desk.connect();
    assert.deepEqual([desk.url, desk.sockets.map(({ url }) => url)], ["ws://localhost:12343/", ["ws://localhost:12343/"]]);
    assert.deepEqual([desk.states.map(({ state }) => state), desk.state], [["connecting", "open"], "open"]);
});

test("attempts follow after longer and longer pauses, and anew after a success", async () => {
    const desk = connect({}, { opens: failAtOnce });
    const reason = "service-not-running";
    await assert.rejects(desk.connect(), { ...failure("connect", "unreachable", reason), text: "closed, code 1006, gone" });
    await assert.rejects(desk.readSim(), failure("ZCSIMCard", "unreachable", reason));
    const waits = () => desk.states.filter(({ state }) => state === "waiting");
    await until(() => waits().length > 5, "the attempts");
    desk.opens = openAtOnce;
    await until(() => desk.state === "open", "the connection");
    const attempts = waits().length;
    desk.sockets.at(-1).onclose({ code: 1006 });
    await until(() => waits().length > attempts, "the loss");
    for (const [at, { delay, error }] of waits().entries()) {
        const [wanted, code] = at === attempts ? [5, "connection-lost"] : [Math.min(40, 5 * 2 ** at), "unreachable"];
        assert.ok(delay >= 0.8 * wanted && delay <= 1.2 * wanted, `pause ${at}: ${delay}`);
        assert.equal(error.code, code);
    }
});

each([["no answer"], ["refused"]], "an attempt is given up in time, without others where they are not wanted", async (text) => {
    const opens = () => { if (text === "refused") throw new Error(text); };
    const desk = connect({}, { opens, connectTimeout: 20, reconnect: false });
    await assert.rejects(desk.connect(), { code: "unreachable", text });
    await pause(40);
    assert.deepEqual(desk.states.map(({ state, delay }) => [state, delay]), [["connecting", undefined], ["closed", undefined]]);
});

test("a lost connection fails what waits, and what its socket still says is not heard", async () => {
    const desk = connect({ ZCReadIDCard: null }, { firstDelay: 60000, longestDelay: 60000 });
    const lost = ["ZCReadIDCard", "ZCDeviceExist", "ZCCameraPic"].map((name) =>
        assert.rejects(desk.request(name), failure(name, "connection-lost")));
    await soon();
    desk.sockets[0].onclose({ code: 1006 });
    await Promise.all(lost);
    assert.equal(desk.state, "waiting");
    await desk.connect(); // at once
    desk.sockets[0].onmessage({ data: "{}" });
    desk.sockets[0].onclose({ code: 1006 });
    assert.deepEqual([desk.state, desk.strays, desk.sockets[0].isClosed], ["open", [], true]);
});

each([["connecting"], ["open"], ["waiting"]], "a connection that the page closes stays closed", async (state) => {
    const desk = connect({ ZCReadIDCard: null }, { opens: { connecting: () => {}, open: openAtOnce, waiting: failAtOnce }[state] });
    const code = state === "waiting" ? "unreachable" : "closed";
    const reading = assert.rejects(desk.request("ZCReadIDCard"), { step: "ZCReadIDCard", code });
    await until(() => desk.states.some((event) => event.state === state), state);
    desk.close();
    await reading;
    const made = desk.sockets.length;
    desk.sockets[0].onopen();
    await pause(40);
    assert.deepEqual([desk.state, desk.states.at(-1).state, desk.sockets.length], ["closed", "closed", made]);
});

test("a policy that blocks the service is named, no other", async (context) => {
    const happens = bePage(context);
    const blocked = { disposition: "enforce", effectiveDirective: "connect-src", blockedURI: "ws://localhost:12343" };
    for (const details of [{}, { disposition: "report" }, { effectiveDirective: "img-src" }, { blockedURI: "ws://elsewhere/" }]) {
        const desk = connect({}, { opens: () => {}, connectTimeout: 20, reconnect: false });
        const reason = Object.keys(details).length === 0 ? "content-security-policy" : "service-not-running";
        const refused = assert.rejects(desk.connect(), failure("connect", "unreachable", reason));
        happens("securitypolicyviolation", { ...blocked, ...details });
        await refused;
    }
});

const here = "service-not-running";
const isPermission = (...states) => async ({ name }) => {
    const state = states[["loopback-network", "local-network-access"].indexOf(name)];
    return state ? { state } : Promise.reject(new TypeError("no such permission"));
};
const intranet = ["10.1.2.3", "192.168.1.20", "172.16.0.1", "172.20.0.1", "172.31.0.1", "169.254.1.1", "counter", "a.local", "a.lan",
    "a.intranet", "a.internal", "localhost", "127.0.0.1", "[::1]", "shop.localhost"];
each([
    ["file:", "", here],
    ...intranet.map((name) => ["http:", name, here]),
    ["http:", "172.32.0.1", "public-http"],
    ["http:", "shop.example.com", "public-http"],
    ["https:", "counter.intranet", here, isPermission("denied")],
    ["https:", "localhost", here, isPermission("denied")],
    ["https:", "shop.example.com", here, isPermission()],
    ["https:", "shop.example.com", here, isPermission("granted", "denied")],
    ["https:", "shop.example.com", "permission-denied", isPermission("denied")],
    ["https:", "shop.example.com", "permission-needed", isPermission("prompt")],
    ["https:", "shop.example.com", "permission-denied", isPermission(undefined, "denied")],
    ["https:", "shop.example.com", "mixed-content", isPermission(), "10.0.0.5"],
    ["https:", "localhost", "mixed-content", isPermission(), "10.0.0.5"],
    ["http:", "localhost", here, isPermission(), "10.0.0.5"],
], "the likely reason for a page", async (protocol, hostname, reason, query, machine = "localhost") => {
    Object.defineProperty(globalThis, "navigator", { value: { permissions: { query } }, configurable: true });
    assert.equal(await likelyReason(`ws://${machine}:12343/`, { protocol, hostname }), reason);
});

test("a platform without WebSocket needs to be given one", () => {
    delete globalThis.WebSocket;
    assert.throws(() => new DeskTerminal(), TypeError);
});
