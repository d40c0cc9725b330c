// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A page in TypeScript; only compiled. Each line after an @ts-expect-error must not compile.

import {
    DeskError, DeskTerminal, commands, defaultUrl, encodeRequest, likelyReason, picture,
} from "../../desk-terminal.js";
import type { Card, CommandName, KnownReason, LikelyReason, Picture, Reason, Reply } from "../../desk-terminal.js";

export async function page(signal: AbortSignal): Promise<string[]> {
    const desk = new DeskTerminal({ url: defaultUrl, firstDelay: 100 });
    desk.addEventListener("state", ({ state, delay }) => state === "waiting" && delay);
    desk.addEventListener("frame", ({ direction, time, text }) => direction + time.toISOString() + text);
    desk.addEventListener("stray", ({ text }) => text.length);
    await desk.connect({ signal });
    const card: Card = await desk.waitForCard({ reader: "hid", pace: 100, signal });
    const photo: Picture | null = card.photo;
    const area = { x: 0, y: 0, width: 400, height: 300 };
    const signature: Picture = await desk.sign(area, { timeout: 60000, endOpenSession: true, stopPad: false, signal });
    const reply: Reply = await desk.request("ZCDeviceExist", {}, { timeout: 100 });
    const reason: LikelyReason = await likelyReason(desk.url);
    await desk.request("ZCBeginSignAB", area);
    await desk.request("ZCOfALaterService", { any: "thing" });
    await desk.request(Object.keys(commands)[0] as CommandName);
    commands.ZCSetPenWidth.parameters.Width[1].toFixed();
    // @ts-expect-error: a rectangle needs its size
    await desk.beginSigning({ x: 0, y: 0 });
    // @ts-expect-error: so does the command's
    await desk.request("ZCBeginSignAB", { x: 0, y: 0 });
    // @ts-expect-error: the parameter is Percent
    await desk.request("ZCSetTransparency", { percent: 50 });
    // @ts-expect-error: its value is a number
    await desk.request("ZCSetPenWidth", { Width: "5" });
    // @ts-expect-error: a command without parameters
    await desk.request("ZCReadIDCard", { reader: "hid" });
    // @ts-expect-error: no such reader
    await desk.waitForCard({ reader: "nfc" });
    // @ts-expect-error: the controller is not its signal
    await desk.readSim({ signal: new AbortController() });
    // @ts-expect-error: no such command
    commands.ZCNothing;
    // @ts-expect-error: no such event member
    desk.addEventListener("state", ({ status }) => status);
    try {
        await desk.setTransparency(50, { signal });
    } catch (error) {
        if (error instanceof DeskError)
            return [error.step, String(error.code), error.text, texts[error.reason as KnownReason] ?? error.message];
    }
    return [photo?.dataUrl ?? "", signature.type, reply.msg ?? "", reason, encodeRequest({}), picture("").base64];
}

const texts: Partial<Record<KnownReason, string>> = { "pad-absent": "no pad" };
// @ts-expect-error: a misspelt reason
export const misspelt: typeof texts = { "pad-abscent": "no pad" };
export const later: Reason = "a reason of a later release";
