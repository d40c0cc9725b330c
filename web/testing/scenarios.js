// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// What a page lives through in a check: each of its actions undisturbed, and then the scenarios.

import { restingCards } from "./virtual_terminal.js";

const readers = ["usbReader", "hidReader"];
const cameras = ["documentCamera", "portraitCamera"];
const slowReply = 300; // milliseconds: time to look at the page, and to take the card away, in the middle

async function slowDown(terminal) {
    for (const device of readers)
        await terminal.break(device, "slow", { milliseconds: slowReply });
}

/**
 * What a page does: the option and the text of the button that begin it, how it is seen on the desk, and how people there
 * bring it to its good end.
 */
export const actions = {
    card: {
        title: "An identity card is read",
        prepare: slowDown,
        option: "startCard",
        button: /身份证|读卡|(id|identity)[ -]?card|read.*card/i,
        isUnderWay: async (terminal) =>
            (await Promise.all(readers.map((device) => terminal.log(device)))).some((lines) => lines.length > 0),
        finish: async () => {},
    },
    sign: {
        title: "A customer signs",
        option: "startSign",
        button: /签名|签字|\bsign/i,
        isUnderWay: async ({ state }) => state.windows.some(({ window }) => window === "signing"),
        finish: async (terminal, timeout) => {
            await terminal.sign("王", { timeout });
            await terminal.press("确定", { timeout });
        },
    },
    camera: {
        title: "A picture is taken",
        option: "startCamera",
        button: /拍照|高拍|摄像|picture|photo|camera/i,
        isUnderWay: async ({ state }) => state.windows.some(({ window }) => window === "capture"),
        finish: (terminal, timeout) => terminal.takePicture({ timeout }),
    },
};

/** The page's own way to end a signature. */
export const cancelButton = /取消|结束|停止|cancel|\bend\b|\bstop|abort/i;

// The page answers every WebSocket to the service as a browser does whose user has refused the permission.
function refuseService() {
    const Native = globalThis.WebSocket;
    globalThis.WebSocket = class extends Native {
        constructor(url, ...rest) {
            // No service is at port 1; a browser ends a refused connection in the same way as one to nobody.
            super(new URL(url, location.href).port === "12343" ? "ws://127.0.0.1:1/" : url, ...rest);
        }
    };
    const query = navigator.permissions?.query.bind(navigator.permissions);
    if (query)
        navigator.permissions.query = async (descriptor) => /network/.test(descriptor.name)
            ? { name: descriptor.name, state: "denied", onchange: null } : query(descriptor);
}

/**
 * The scenarios. `actions`: the first of these that the page can do is begun. `prepare` comes before the page is opened,
 * `disturb` when the action is under way (without it the action is refused from the start), `amend` after it.
 * `isSilent`: the page need not say anything. `again`: afterwards the action succeeds on the same page.
 */
export const scenarios = [
    {
        name: "card-pulled",
        title: "The card is taken away while it is read",
        actions: ["card"],
        prepare: slowDown,
        disturb: async ({ terminal }) => {
            for (const device of readers)
                await terminal.takeCard(device);
        },
        amend: async (terminal) => {
            for (const device of readers) {
                await terminal.repair(device);
                await terminal.putCard(device, restingCards[device]);
            }
        },
        again: true,
    },
    {
        name: "pad-unplugged",
        title: "The pad is unplugged during the signature",
        actions: ["sign"],
        disturb: async ({ terminal, cancel }) => {
            await terminal.unplug("pad");
            await cancel();
        },
        amend: (terminal) => terminal.plug("pad"),
        again: true,
    },
    {
        name: "service-restarted",
        title: "The service ends in the middle and starts again",
        actions: ["sign", "camera"],
        disturb: ({ terminal }) => terminal.killService(),
        amend: (terminal) => terminal.startService(),
        again: true,
    },
    {
        name: "camera-busy",
        title: "Another program has the camera",
        actions: ["camera"],
        prepare: async (terminal) => {
            for (const device of cameras)
                await terminal.break(device, "held");
        },
        amend: async (terminal) => {
            for (const device of cameras)
                await terminal.repair(device);
        },
        again: true,
    },
    {
        name: "permission-refused",
        title: "The browser does not let the page connect",
        actions: ["card", "sign", "camera"],
        inPage: refuseService,
    },
    {
        name: "page-reloaded",
        title: "The page is reloaded in the middle",
        actions: ["sign"],
        disturb: ({ page }) => page.reload(),
        isSilent: true,
        again: true,
    },
];
