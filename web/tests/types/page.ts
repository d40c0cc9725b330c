// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A page in TypeScript; only compiled.

import {
    DeskError, DeskTerminal, commands, defaultUrl, encodeRequest, likelyReason, picture,
} from "../../desk-terminal.js";
import type { Card, LikelyReason, Picture, Reply } from "../../desk-terminal.js";

export async function page(): Promise<string[]> {
    const desk = new DeskTerminal({ url: defaultUrl, firstDelay: 100 });
    desk.addEventListener("state", ({ state, delay }) => state === "waiting" && delay);
    desk.addEventListener("frame", ({ direction, time, text }) => direction + time.toISOString() + text);
    desk.addEventListener("stray", ({ text }) => text.length);
    const card: Card = await desk.readIdCard();
    const photo: Picture | null = card.photo;
    const signature: Picture = await desk.sign({ x: 0, y: 0, width: 400, height: 300 }, { timeout: 60000, endOpenSession: true });
    const reply: Reply = await desk.request("ZCDeviceExist");
    const reason: LikelyReason = await likelyReason(desk.url);
    // @ts-expect-error: a rectangle needs its size
    await desk.beginSigning({ x: 0, y: 0 });
    // @ts-expect-error: no such command
    commands.ZCNothing;
    try {
        await desk.setTransparency(50);
    } catch (error) {
        if (error instanceof DeskError)
            return [error.step, String(error.code), error.text, error.reason];
    }
    return [photo?.dataUrl ?? "", signature.type, reply.msg ?? "", reason, encodeRequest({}), picture("").base64];
}
