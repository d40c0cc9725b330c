// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The client library on a stub of the service: what it sends, how it takes what comes, and when it gives up.

import assert from "node:assert/strict";
import { getEventListeners } from "node:events";
import { afterEach, test } from "node:test";
import { setTimeout as pause } from "node:timers/promises";

import { DeskTerminal, commands, likelyReason } from "../desk-terminal.js";
import { area, failure, until } from "./support/desk.js";

const picture = (base64, type) => ({ base64, type, dataUrl: `data:${type};base64,${base64}` });
const png = picture("iVBORw0KGgo=", "image/png");
const signed = { functionName: "ZCOutputImageBase64AB", success: 1, Base64: png.base64 };
const inProgress = { success: 0, msg: "签名进行中" };
const [start, begin, end, stop, resign] = ["ZCStartDeviceAB", "ZCBeginSignAB", "ZCEndSignAB", "ZCStopDeviceAB", "ZCResignAB"];
const [exist, usb, hid, sim, camera] = ["ZCDeviceExist", "ZCReadIDCard", "ZCReadHIDIDCard", "ZCSIMCard", "ZCCameraPic"];
const methods = {
    [start]: "startPad", [begin]: "beginSigning", [exist]: "padPresent", ZCOutputImageBase64AB: "lastSignature",
    [resign]: "clearSignature", ZCSetPenWidth: "setPenWidth", ZCSetModeAB: "setMode", ZCSetTransparency: "setTransparency",
    ZCSetSignScreenPosSizeAB: "setPadScreen", [camera]: "takePicture", [usb]: "readIdCard", [sim]: "readSim", [end]: "endSigning",
    [hid]: "readHidIdCard", ZCGetSAMNum: "samNumber", ZCReadHIDOpen: "openHidReader", [stop]: "stopPad",
};
const soon = () => new Promise(setImmediate);
const openAtOnce = (socket) => queueMicrotask(() => socket.onopen());
const failAtOnce = (socket) => queueMicrotask(() => socket.onclose({ code: 1006, reason: "gone" }));
const desks = [];
afterEach(() => desks.splice(0).forEach((desk) => desk.close()));

/** A test for each row. */
const each = (rows, title, run) => rows.forEach((row) => test(`${title}: ${JSON.stringify(row)}`, () => run(...row)));

/** The rows of a table in groups, each after its group's name. */
const grouped = (groups) => Object.entries(groups).flatMap(([name, rows]) => rows.map((row) => [name, ...row]));

/**
 * A client on a stub that answers each command at once with `replies[its name]`: a reply, a list of them, or null for none.
 * `opens` says what becomes of a new socket. The client's additional members tell what happened.
 */
function connect(answers = {}, { opens = openAtOnce, ...options } = {}) {
    class WebSocket {
        constructor(url) {
            desk.sockets.push(Object.assign(this, { url }));
            desk.opens(this);
        }
        send(data) {
            if (typeof data !== "string")
                return queueMicrotask(() => this.onmessage({ data: this.binaryType === "arraybuffer" && data.buffer }));
            const request = JSON.parse(data);
            desk.sent.push(request);
            const { [request.function]: reply = { success: 1 } } = desk.replies;
            return [reply].flat().forEach((one) => one && queueMicrotask(() => this.answer(request, one)));
        }
        answer({ function: functionName, _tflag }, reply) {
            this.onmessage({ data: JSON.stringify({ functionName, _tflag, ...reply }) });
        }
        close() { throw new Error(this.isClosed = "as some that never opened do"); }
    }
    const replies = { [begin]: null, [camera]: null, ZCReadHIDOpen: null, ...answers };
    const desk = Object.assign(new DeskTerminal({ WebSocket, ...options }), { replies, opens, sockets: [], sent: [] });
    desk.names = () => desk.sent.map((request) => request.function);
    desk.answerLast = (reply) => desk.sockets.at(-1).answer(desk.sent.at(-1), reply);
    for (const type of ["frame", "stray", "state"]) {
        desk[`${type}s`] = [];
        desk.addEventListener(type, (event) => desk[`${type}s`].push(event));
    }
    desks.push(desk);
    return desk;
}

// Node as a page, and what sends an event to it.
const page = new EventTarget();
for (const name of ["addEventListener", "removeEventListener"])
    globalThis[name] = page[name].bind(page);
const happens = (type, details) => page.dispatchEvent(Object.assign(new Event(type), details));

// --- Commands ---------------------------------------------------------------------------------------------------

const place = { x: [-32768, 32767], y: [-32768, 32767], width: [1, 32767], height: [1, 32767] };
each([
    ["ZCSetTransparency", { Percent: [0, 100] }], ["ZCSetPenWidth", { Width: [0, 1000] }], ["ZCSetModeAB", { mode: [0, 32767] }],
    ["ZCSetSignScreenPosSizeAB", place], [begin, place],
], "parameters in range are sent, nothing else", async (name, ranges) => {
    const desk = connect({ [begin]: signed });
    for (const [key, [least, greatest]] of Object.entries(ranges)) {
        const send = (value) => desk[methods[name]](ranges === place ? { ...area, [key]: value } : value);
        for (const value of [least - 1, greatest + 1, 1.5, "5"])
            await assert.rejects(send(value), RangeError);
        for (const value of [least, greatest]) {
            await send(value);
            const { _tflag, ...request } = desk.sent.pop();
            assert.deepEqual([request, desk.sent], [{ function: name, ...(ranges === place && area), [key]: value }, []]);
        }
    }
});

const card = { CardType: " ", idNum: "11010519491231002X", birthday: "19491231", effectDate: "20200101", expireDate: "20400101" };
each(grouped({
    [exist]: [[{ success: 1 }, true], [{ success: 0 }, false]],
    [camera]: [["/9j/", "image/jpeg"], ["R0lG", "application/octet-stream"]].map(([Base64, type]) =>
        [{ success: 1, Base64 }, picture(Base64, type)]),
    ZCGetSAMNum: [[{ success: 1, data: "0503" }, "0503"], [{ success: 1 }, ""]],
    [sim]: ["8986", ""].map((data) => [[{ success: 1, data }, { success: 1, data }], data]),
    [usb]: [["Qk0=", picture("Qk0=", "image/bmp")], ["", null]].map(([photo, shown]) =>
        [{ success: 1, data: { ...card, photo } }, { ...card, photo: shown }]),
    [hid]: [{ expireDate: "长期" }, { expireDate: "长期  " }, { CardType: "J" }, { CardType: "I", idNum: "ABC123456789012" }]
        .map((fields) => [{ err_code: 0, data: { ...card, ...fields } }, { ...card, ...fields, photo: null }]),
}), "a reply gives a result", async (name, reply, result) => {
    const desk = connect({ [name]: reply });
    assert.deepEqual(await desk[methods[name]](), result);
    assert.deepEqual([desk.names(), desk.strays], [[name], []]);
});

const partly = (fields) => [undefined, undefined, "card-unreadable", { err_code: 0, data: { ...card, ...fields } }];
each(grouped({
    [start]: [[-1, "", "pad-absent"], [-2, "", "pad-busy"], [-3, "", "-3"]],
    [resign]: [[0, "签名进行中", "signing-in-progress"]],
    ZCOutputImageBase64AB: [[0, "未签名", "not-signed"]],
    [usb]: [[431003, "读卡失败", "reader-absent"], [431004, "读卡失败", "card-unreadable"], [0, "", "reader-failed"]],
    ZCGetSAMNum: [[-1, "libusb_open_device failed", "reader-absent"], [-1, "claim interface failed", "reader-absent"],
        [-1, "libusb_bulk_transfer read failed", "reader-failed"]],
    [hid]: [[-12, "寻卡失败", "reader-absent"], [-2, "选卡失败", "card-unreadable"],
        ...[{ CardType: "" }, { birthday: "" }, { effectDate: "" }, { idNum: "1" }, { CardType: "I" }, { expireDate: "2040" }].map(partly)],
    [sim]: [[0, "打开设备端口失败", "reader-absent"], [0, "设备上电失败", "card-absent"], [0, "设备通讯失败", "card-unreadable"]],
    [camera]: [[0, "", "no-picture"]],
}), "a failure has its reason, and the next command is served", async (name, success, msg, reason, reply = { success, msg }) => {
    const desk = connect({ [name]: reply });
    const hint = reason === "-3" ? "" : "(: )?[a-z][^:]+";
    const [code, text] = reply.data ? [reason, /^only a part of the card was read, not / ] : [success, new RegExp(`^${msg}$`)];
    const message = new RegExp(`^${name} failed \\(${code}\\)(: )?${msg ?? ""}${hint}$`);
    await assert.rejects(desk[methods[name]](), { ...failure(name, code, reason), text, message });
    desk.padPresent();
    assert.deepEqual(desk.names(), [name, exist]);
});

const readers = [["usb", usb, 431004], ["hid", hid, -2]];
each(readers, "a card is waited for, without holding up others", async (reader, name, success) => {
    const desk = connect({ [name]: { success, msg: "寻卡失败" }, [exist]: null });
    const read = desk.waitForCard({ reader, pace: 40 });
    await until(() => desk.sent.length > 1, "the second read");
    const [first, second] = desk.frames.filter(({ direction }) => direction === "sent");
    assert.ok(second.time - first.time >= 38, `${second.time - first.time} ms between the reads`);
    const reads = desk.sent.length;
    const others = [desk.padPresent()];
    await pause(60);
    others.push(desk.padPresent());
    desk.answerLast({ success: 1 });
    assert.deepEqual(desk.names().slice(reads), [exist, exist], "no read has come between");
    desk.replies[name] = { err_code: 0, data: card };
    desk.answerLast({ success: 1 });
    assert.deepEqual([await read, await Promise.all(others)], [{ ...card, photo: null }, [true, true]]);
});

const abort = (desk, controller) => controller.abort();
each([
    [{}, { success: 431003 }, "reader-absent"], [{ reader: "hid" }, { success: -12 }, "reader-absent"], [{ reader: "nfc" }, null],
    [{ pace: 300 }, { success: 431004 }, "closed", (desk) => desk.close()],
    [{}, null, "aborted", abort], [{}, { success: 431004 }, "aborted", abort],
], "what no card mends ends the wait", async (options, reply, reason, happens = () => {}) => {
    const desk = connect({ [usb]: reply, [hid]: reply });
    const controller = new AbortController();
    const wait = desk.waitForCard({ pace: 60000, signal: controller.signal, ...options });
    const refused = assert.rejects(wait, reason ? { reason } : RangeError);
    await soon();
    happens(desk, controller);
    await refused;
    assert.deepEqual([desk.sent.length, desk.sockets.length], reason ? [1, 1] : [0, 0]);
    assert.deepEqual(getEventListeners(controller.signal, "abort"), []);
});

// --- Replies ----------------------------------------------------------------------------------------------------

test("commands are sent one after another, each has its own reply, and a SIM card's comes twice", async () => {
    const desk = connect({ [sim]: null, [exist]: null });
    const both = Promise.all([desk.request(sim, { text: "it's", function: "another", _tflag: "another" }), desk.padPresent()]);
    await soon();
    for (const sent of [[sim], [sim], [sim, exist]]) {
        assert.deepEqual(desk.names(), sent);
        desk.answerLast({ success: 1, data: "8986" });
    }
    const [{ data }, isPresent] = await both;
    assert.deepEqual([data, isPresent, desk.sent[0].text], ["8986", true, "it's"]);
    assert.equal(new Set([...desk.sent.map(({ _tflag }) => _tflag), "another"]).size, 3);
    assert.ok(!desk.frames[0].text.includes("'"), "the service would take it for a double quote");
});

test("windows answer under other tags and names, while other commands are served", async () => {
    const desk = connect({ ZCOutputImageBase64AB: { success: 0, msg: "未签名" } });
    const [, signature, photo] = [desk.padPresent(), desk.beginSigning(area), desk.takePicture()];
    await soon();
    for (const [name, method] of [[begin, "beginSigning"], [camera, "takePicture"], [begin, "sign"]])
        await assert.rejects(desk[method](area), failure(name, "busy"));
    await Promise.all([desk.clearSignature(), desk.takePicture().catch(() => {}), desk.padPresent()]);
    await assert.rejects(desk.lastSignature(), failure("ZCOutputImageBase64AB", 0, "not-signed"));
    assert.equal(desk.isSigning, true);
    desk.replies[exist] = [{ functionName: camera, success: 1, Base64: "/9j/" }, signed, { success: 0 }];
    assert.equal(await desk.padPresent(), false);
    assert.deepEqual([await signature, (await photo).type, desk.isSigning, desk.strays], [png, "image/jpeg", false, []]);
});

test("replies to nobody and to raw texts are strays, and bytes of others no echo", async () => {
    const desk = connect();
    assert.throws(() => desk.sendRaw("{}"), failure("connect", "closed"));
    await desk.connect();
    const texts = ["null", "5", "[]", "no JSON", '{"functionName":"ZCResignAB","_tflag":"mine"}'];
    const echoed = Promise.all([desk.ping(), desk.padPresent()]);
    for (const data of [new TextEncoder().encode("another").buffer, ...texts])
        desk.sockets[0].onmessage({ data });
    assert.deepEqual(desk.sent, []);
    await echoed;
    desk.sendRaw('{"function":"ZCResignAB"}');
    await soon();
    assert.deepEqual(desk.strays.map(({ text }) => text), [...texts, '{"functionName":"ZCResignAB","success":1}']);
    const [{ direction, time, bytes }, foreign, ...others] = desk.frames;
    assert.deepEqual([direction, time instanceof Date, foreign.direction, foreign.bytes.length], ["sent", true, "received", 7]);
    assert.ok(others.some((frame) => frame.bytes?.join() === bytes.join()));
});

// --- Waiting ----------------------------------------------------------------------------------------------------

test("a command has as long as its device may take, and a person has no end", async (context) => {
    const waits = { ZCGetSAMNum: [20000], [usb]: [60000], [hid]: [60000], [sim]: [30000], [begin]: [], [camera]: [] };
    const look = (name) => context.mock.method(globalThis, name).mock;
    const [timers, repeated] = [look("setTimeout"), look("setInterval")];
    const last = (mock) => mock.calls.at(-1).arguments[1];
    for (const name of [...Object.keys(commands), "ZCnothing"]) {
        const desk = connect({ [name]: null });
        await desk.connect();
        assert.equal(last(timers), 5000, "to connect");
        timers.resetCalls();
        desk.request(name).catch(() => {});
        await soon();
        assert.deepEqual(timers.calls.map((call) => call.arguments[1]), waits[name] ?? [15000], name);
    }
    connect({ [usb]: { success: 431004 } }).waitForCard().catch(() => {});
    await soon();
    assert.deepEqual([last(repeated), last(timers)], [10000, 700], "between looks after a session, between reads of a card");
});

test("a late reply is not taken for the next command's, nor does a timer of one in time strike", async () => {
    const desk = connect({ [exist]: null, [begin]: signed });
    await desk.beginSigning(area, { timeout: 20 });
    await assert.rejects(desk.takePicture({ timeout: 20 }), { code: "timeout", message: /window stays open/ });
    const late = assert.rejects(desk.padPresent({ timeout: 20 }), { code: "timeout", text: "no answer within 0.02 s" });
    const next = desk.padPresent();
    await late;
    desk.sockets[0].answer(desk.sent[2], { success: 0 });
    desk.answerLast({ success: 1 });
    assert.deepEqual([await next, desk.strays.length, desk.names()], [true, 1, [begin, camera, exist, exist]]);
});

each([...Object.values(methods), "ping", "connect", "sign", "waitForCard"].map((method) => [method]),
    "an aborted signal sends nothing", async (method) => {
        const desk = connect();
        const first = { beginSigning: area, sign: area, setPadScreen: area, setMode: 1, setPenWidth: 1, setTransparency: 1 }[method];
        await assert.rejects(desk[method](...[first, { signal: AbortSignal.abort() }].filter(Boolean)),
            { name: "DeskError", code: "aborted", reason: "aborted" });
        assert.equal(desk.sockets.length, 0);
    });

test("an aborted command is dropped while it waits; one that is sent keeps its place until its reply", async () => {
    const desk = connect({ [usb]: null }, { opens: () => {} });
    const controllers = [new AbortController(), new AbortController(), new AbortController()];
    const [early, late, never] = controllers.map(({ signal }) => ({ signal }));
    const are = (step, promise) => assert.rejects(promise, failure(step, "aborted"));
    const connecting = [are("connect", desk.connect(early)), are(sim, desk.readSim(early))];
    controllers[0].abort();
    await Promise.all(connecting);
    desk.sockets[0].onopen();
    const aborted = [are(camera, desk.takePicture(late)), are(usb, desk.readIdCard(late)), are(sim, desk.readSim(late))];
    const next = [desk.readIdCard(never), desk.takePicture()];
    controllers[1].abort();
    await Promise.all(aborted);
    desk.replies[camera] = { success: 1, Base64: "/9j/" };
    for (const effectDate of ["20200101", "20210101"]) {
        assert.equal(desk.names().at(-1), usb);
        desk.answerLast({ err_code: 0, data: { ...card, effectDate } });
    }
    const [{ effectDate }] = await Promise.all(next);
    assert.deepEqual([effectDate, desk.names(), desk.strays], ["20210101", [camera, usb, usb, camera], []]);
    assert.deepEqual(controllers.flatMap(({ signal }) => getEventListeners(signal, "abort")), []);
});

// --- Signing sessions -------------------------------------------------------------------------------------------

test("another page's end of the session is noticed by setting the mode again, between other commands", async () => {
    const [desk, unwatched] = [connect({ [exist]: null }, { sessionCheck: 10 }), connect({}, { sessionCheck: 0 })];
    unwatched.beginSigning(area).catch(() => {});
    const looks = () => desk.sent.filter(({ mode }) => mode === 7).length;
    await desk.setMode(7);
    desk.replies.ZCSetModeAB = inProgress;
    const ended = assert.rejects(desk.beginSigning(area), failure(begin, "ended"));
    await until(() => looks() > 3, "the looks");
    const command = desk.padPresent();
    const before = looks();
    await pause(60);
    assert.deepEqual([looks(), desk.isSigning], [before, true], "none while a command is under way");
    desk.replies.ZCSetModeAB = { success: 1 };
    desk.answerLast({ success: 1 });
    await until(() => !desk.isSigning, "the end"); // the client's own timer does not keep Node running
    await Promise.all([command, ended, pause(40)]);
    assert.deepEqual([looks(), unwatched.names()], [before + 1, [begin]]);
});

test("a session ends by a command, with its page, and with the connection that its page closes", async () => {
    const desk = connect();
    const ways = [() => desk.endSigning(), () => desk.stopPad(), () => happens("pagehide"), () => desk.close()];
    for (const [at, leave] of ways.entries()) {
        const ended = assert.rejects(desk.beginSigning(area), failure(begin, at < 3 ? "ended" : "closed"));
        await soon();
        await leave();
        await ended;
        happens("pagehide");
    }
    assert.deepEqual([desk.names(), desk.isSigning], [[begin, end, begin, stop, begin, end, begin, end], false]);
});

test("a session that a lost connection left open is ended on the next, once", async () => {
    const desk = connect({}, { sessionCheck: 30, firstDelay: 5 });
    const lost = assert.rejects(desk.sign(area), failure(begin, "connection-lost"));
    await until(() => desk.isSigning, "the session");
    for (const made of [2, 3]) {
        desk.sockets.at(-1).onclose({ code: 1006 });
        await until(() => desk.sockets.length === made && desk.state === "open", "the next connection");
    }
    await Promise.all([lost, pause(60)]);
    assert.deepEqual(desk.names(), [start, begin, end]);
});

const cancelled = { [begin]: { success: 0, msg: "用户已取消" } };
const [once, other] = [{ timeout: 20 }, { endOpenSession: true }];
each(grouped({
    sign: [
        [{}, [start, begin, stop]],
        [{}, [start, begin], undefined, { stopPad: false }],
        [{ [stop]: { success: 0 } }, [start, begin, stop]],
        [cancelled, [start, begin, stop], "cancelled", other],
        [{ [start]: { success: -1 } }, [start], "pad-absent"],
        [{ [begin]: inProgress }, [start, begin], "signing-in-progress"],
        [{ [begin]: inProgress, afterwards: signed }, [start, begin, end, begin, stop], undefined, other],
        [{ [begin]: null }, [start, begin, end, stop], "timeout", once],
        [{ [begin]: null }, [start, begin, end, stop], "aborted"],
        [{ [begin]: inProgress }, [start, begin], "aborted"],
    ],
    beginSigning: [
        [{}, [begin]],
        [cancelled, [begin, stop], "cancelled", { stopPad: true }],
        [{ [begin]: null }, [begin, end], "aborted"],
        [{}, [begin], "aborted", { stopPad: true }],
    ],
}), "a session", async (method, answers, sent, reason, options) => {
    const desk = connect({ [begin]: signed, ...answers });
    const controller = new AbortController();
    desk.addEventListener("frame", ({ text }) => {
        if (text?.includes(end))
            desk.replies[begin] = answers.afterwards ?? null;
        if (text?.includes(begin) && reason === "aborted")
            queueMicrotask(() => controller.abort());
    });
    const session = desk[method](area, { signal: controller.signal, ...options });
    await (reason ? assert.rejects(session, { reason }) : session.then((signature) => assert.deepEqual(signature, png)));
    const isGivenUp = reason === "aborted" || reason === "timeout";
    desk.replies[begin] = null;
    if (isGivenUp) // another may begin at once
        await assert.rejects(desk.beginSigning(area, once), { reason: "timeout" });
    await soon();
    assert.deepEqual(desk.names(), [...sent, ...(isGivenUp ? [begin, end] : [])]);
});

// --- Connection -------------------------------------------------------------------------------------------------

test("attempts follow after longer and longer pauses, and anew after a success", async () => {
    const desk = connect({}, { opens: failAtOnce, firstDelay: 5, longestDelay: 40 });
    const reason = "service-not-running";
    await assert.rejects(desk.connect(), { ...failure("connect", "unreachable", reason), text: "closed, code 1006, gone" });
    await assert.rejects(desk.readSim(), failure(sim, "unreachable", reason));
    const waits = () => desk.states.filter(({ state }) => state === "waiting");
    await until(() => waits().length > 5, "the attempts");
    desk.opens = openAtOnce;
    await until(() => desk.state === "open", "the connection");
    const attempts = waits().map((wait, at) => [Math.min(40, 5 * 2 ** at), "unreachable"]);
    desk.sockets.at(-1).onclose({ code: 1006 });
    await until(() => waits().length > attempts.length, "the loss");
    for (const [at, [wanted, code]] of [...attempts, [5, "connection-lost"]].entries()) {
        const { delay, error } = waits()[at];
        assert.ok(delay >= 0.8 * wanted && delay <= 1.2 * wanted && error.code === code, `pause ${at}: ${delay}, ${error.code}`);
    }
});

each([["no answer"], ["refused"]], "an attempt is given up in time, without others where they are not wanted", async (text) => {
    const opens = () => { if (text === "refused") throw new Error(text); };
    const desk = connect({}, { opens, connectTimeout: 20, reconnect: false });
    await assert.rejects(desk.connect(), { code: "unreachable", text });
    await pause(40);
    assert.deepEqual(desk.states.map(({ state, delay }) => [state, delay]), [["connecting", undefined], ["closed", undefined]]);
});

test("one connection is made for all who ask; when it is lost it fails what waits, and is not heard any more", async () => {
    const desk = connect({ [usb]: null }, { connectTimeout: 20 });
    await Promise.all([desk.connect(), desk.connect(), desk.ping()]);
    const lost = [usb, exist, camera].map((name) =>
        assert.rejects(desk.request(name), { ...failure(name, "connection-lost"), text: "closed, code 1006" }));
    desk.sockets[0].onclose({ code: 1006, reason: "" });
    assert.equal(desk.state, "waiting");
    await Promise.all(lost);
    const { delay } = desk.states.at(-1);
    assert.ok(delay >= 400 && delay <= 600, `${delay} ms`);
    assert.equal(await desk.padPresent(), true); // at once, and no second connection after the pause
    desk.sockets[0].onmessage({ data: "{}" });
    desk.sockets[0].onclose({ code: 1006 });
    await pause(delay + 50);
    assert.deepEqual(desk.states.map(({ state }) => state), ["connecting", "open", "waiting", "connecting", "open"]);
    assert.deepEqual([desk.strays, ...desk.sockets.map(({ url }) => url)], [[], desk.url, "ws://localhost:12343/"]);
    assert.ok(desk.sockets[0].isClosed);
});

const ways = [["connecting", () => {}], ["open", openAtOnce], ["waiting", failAtOnce]];
each(ways, "a connection that the page closes stays closed", async (state, opens) => {
    const desk = connect({ [usb]: null }, { opens, firstDelay: 20 });
    const reading = assert.rejects(desk.readIdCard(), { step: usb, code: state === "waiting" ? "unreachable" : "closed" });
    await until(() => desk.states.some((event) => event.state === state), state);
    desk.close();
    await reading;
    const made = desk.sockets.length;
    desk.sockets[0].onopen();
    await pause(40);
    assert.deepEqual([desk.state, desk.states.at(-1).state, desk.sockets.length], ["closed", "closed", made]);
});

test("a policy that blocks the service is named, no other", async () => {
    const desk = connect({}, { opens: () => {}, connectTimeout: 20, reconnect: false });
    const blocked = { disposition: "enforce", effectiveDirective: "connect-src", blockedURI: "ws://localhost:12343" };
    for (const details of [{ disposition: "report" }, { effectiveDirective: "img-src" }, { blockedURI: "ws://elsewhere/" }, {}]) {
        const reason = Object.keys(details).length > 0 ? "service-not-running" : "content-security-policy";
        const text = reason === "content-security-policy" ? /blocked/ : "no answer";
        const refused = assert.rejects(desk.connect(), { ...failure("connect", "unreachable", reason), text });
        happens("securitypolicyviolation", { ...blocked, ...details });
        await refused;
    }
});

const isPermission = (...states) => async ({ name }) => {
    const state = states[["loopback-network", "local-network-access"].indexOf(name)];
    return state ? { state } : Promise.reject(new TypeError("no such permission"));
};
const [shop, denied, elsewhere] = ["shop.example.com", isPermission("denied"), "ws://10.0.0.5/"];
each(grouped({
    "service-not-running": [
        ...["10.1.2.3", "192.168.1.20", "172.16.0.1", "172.20.0.1", "172.31.0.1", "169.254.1.1", "counter", "a.local", "a.lan",
            "a.intranet", "a.internal", "localhost", "127.0.0.1", "[::1]", "shop.localhost"].map((name) => ["http:", name]),
        ["file:", ""], ["https:", "counter.intranet", denied], ["https:", "localhost", denied], ["https:", shop, isPermission()],
        ["https:", shop, isPermission("granted", "denied")], ["http:", "localhost", denied, elsewhere],
        ["https:", "localhost", denied, "wss://10.0.0.5/"]],
    "public-http": [["http:", "172.32.0.1"], ["http:", shop]],
    "permission-denied": [["https:", shop, denied], ["https:", shop, isPermission(undefined, "denied")]],
    "permission-needed": [["https:", shop, isPermission("prompt")]],
    "mixed-content": [["https:", shop, isPermission(), elsewhere], ["https:", "localhost", isPermission(), elsewhere]],
}), "the likely reason for a page", async (reason, protocol, hostname, query, url = "ws://localhost:12343/") => {
    Object.defineProperty(globalThis, "navigator", { value: { permissions: { query } }, configurable: true });
    assert.equal(await likelyReason(url, { protocol, hostname }), reason);
});

test("a platform without WebSocket needs to be given one", () => {
    delete globalThis.WebSocket;
    assert.throws(() => new DeskTerminal(), TypeError);
});
