// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Uses every device of the virtual terminal once: the client library is the page, the testing library is the people at
// the counter. Writes the pictures, the frames and index.html to a folder.
//
//     session.mjs FOLDER      run in tests/sandbox, with DESK_BIN_DIR set to the folder of the programs

import { copyFileSync, mkdirSync, rmSync, writeFileSync } from "node:fs";
import { join, resolve } from "node:path";

import WebSocket from "ws";

import { DeskTerminal } from "../desk-terminal.js";
import { area, startTerminal } from "../tests/support/desk.js";
import { reportPage } from "./report.mjs";

const folder = resolve(process.argv[2]);
rmSync(folder, { recursive: true, force: true });
mkdirSync(folder, { recursive: true });

const terminal = await startTerminal();
const page = new DeskTerminal({ WebSocket });
const [begin, frames] = [Date.now(), []];
page.addEventListener("frame", ({ direction, text }) => {
    const seconds = ((Date.now() - begin) / 1000).toFixed(3).padStart(8);
    frames.push(`${seconds} ${direction === "sent" ? "->" : "<-"} ${text}`);
});

/** Reads a card, and gives its photo with what there is to say. */
async function readCard(method, photo) {
    const card = await page[method]();
    return [`${card.name}, ${card.idNum}`, { [photo]: card.photo.base64 }];
}

// Each step gives a summary, and the files that it leaves: Base64, bytes, or a path.
const steps = {
    "SIM card": async () => [`ICCID ${await page.readSim()}`],
    "Signature": async () => {
        const signature = page.sign(area);
        await terminal.sign("王");
        const pad = await terminal.screenshot("pad");
        await terminal.press("确定");
        const { base64 } = await signature;
        await page.stopPad();
        return ["signed on the pad, confirmed with the pen", { "pad.png": pad, "signature.png": base64 }];
    },
    "Identity card, USB reader": async () => {
        const [summary, files] = await readCard("readIdCard", "photo-usb.bmp");
        for (const face of ["frontNew.jpg", "backNew.jpg"])
            copyFileSync(`/proc/${terminal.state.service.processId}/cwd/${face}`, join(folder, face));
        return [summary, { ...files, "frontNew.jpg": null, "backNew.jpg": null }];
    },
    "Identity card, HID reader": () => readCard("readHidIdCard", "photo-hid.bmp"),
    "Document camera": async () => {
        const picture = page.takePicture();
        await terminal.takePicture({ handOver: false });
        const desktop = await terminal.screenshot("main");
        await terminal.press("关闭退出");
        return ["taken by the clerk with two clicks", { "capture-window.png": desktop, "document.jpg": (await picture).base64 }];
    },
};

console.log("\nWhat came of it:");
const results = [];
for (const [title, step] of Object.entries(steps)) {
    const [succeeded, summary, files = {}] = await step().then((outcome) => [true, ...outcome], ({ message }) => [false, message]);
    for (const [name, content] of Object.entries(files).filter(([, content]) => content))
        writeFileSync(join(folder, name), content, "base64");
    results.push({ title, succeeded, summary, files: Object.keys(files) });
    console.log(`  ${succeeded ? "ok    " : "FAILED"} ${title.padEnd(28)} ${summary}`);
}
page.close();
await terminal.stop();
writeFileSync(join(folder, "frames.log"), `${frames.join("\n")}\n`);
writeFileSync(join(folder, "index.html"), reportPage(results, frames));
console.log(`\nPictures, faces and frames: ${folder}\nAs one page: ${join(folder, "index.html")}`);
process.exit(results.every(({ succeeded }) => succeeded) ? 0 : 1);
