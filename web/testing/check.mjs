#!/usr/bin/env node
// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// desk-terminal-check URL: whether a page copes with what happens at a counter.

import { readFile } from "node:fs/promises";
import { resolve } from "node:path";
import { pathToFileURL } from "node:url";
import { parseArgs } from "node:util";

import { checkPage, VirtualTerminal } from "./index.js";

const usage = `desk-terminal-check [OPTION...] URL
URL: the page, or its file

What to click (CSS selectors; "" when the page begins by itself, by default a button with a fitting text):
  --start-card SELECTOR     begins to read an identity card
  --start-sign SELECTOR     begins a signature
  --start-camera SELECTOR   begins to take a picture
  --cancel-sign SELECTOR    ends a signature
  --message SELECTOR        where the page shows messages; its whole body otherwise
The rest:
  --options FILE            these options as JSON, {"startCard": "#read", ...}; the command line goes first
  --only NAME               this scenario alone; may be repeated
  --patience SECONDS        until something must have happened (15)
  --browser FILE            Chromium or Chrome; otherwise looked for
  --terminal COMMAND        starts the virtual terminal ("virtual-terminal")
  --control URL             uses a running one, by its control port
Ends with 0 when there is no finding, with 1 when there is one, with 2 when nothing could be checked.
`;

const text = { type: "string" };
const flags = { "start-card": text, "start-sign": text, "start-camera": text, "cancel-sign": text, message: text, options: text,
    only: { type: "string", multiple: true }, patience: text, browser: text, terminal: text, control: text,
    help: { type: "boolean", short: "h" } };
const inCamelCase = (flag) => flag.replace(/-(\w)/g, (_, letter) => letter.toUpperCase());
const inKebabCase = (option) => option.replace(/[A-Z]/g, (letter) => `-${letter.toLowerCase()}`);

async function readOptions() {
    const { values, positionals } = parseArgs({ options: flags, allowPositionals: true });
    const given = Object.fromEntries(Object.entries(values).map(([flag, value]) => [inCamelCase(flag), value]));
    const stored = given.options ? JSON.parse(await readFile(resolve(given.options), "utf8")) : {};
    const { options, help, url = positionals[0], ...rest } = { ...stored, ...given };
    return { help, url, ...rest, patience: rest.patience === undefined ? undefined : Number(rest.patience) };
}

function print({ name, title, tried, shown, findings, options }) {
    const outcome = !tried ? "-" : findings.length === 0 ? "ok" : "FINDING";
    console.log(`${outcome.padEnd(8)} ${name.padEnd(19)} ${title}`);
    if (!tried)
        console.log(`${" ".repeat(9)}not tried: the page cannot do it undisturbed, or needs ${
            options.map((option) => `--${inKebabCase(option)}`).join(" or ")}`);
    for (const line of shown)
        console.log(`${" ".repeat(9)}shown: ${line}`);
    for (const finding of findings)
        console.log(`${" ".repeat(9)}finding: ${finding}`);
}

async function main() {
    const { help, url, terminal: command = "virtual-terminal", control, ...options } = await readOptions();
    if (help || !url) {
        (help ? process.stdout : process.stderr).write(usage);
        return help ? 0 : 2;
    }
    const terminal = control ? await VirtualTerminal.connect(control)
        : await VirtualTerminal.start({ command: [command].flat().flatMap((words) => words.split(" ")) });
    try {
        const tried = (await checkPage(url, { ...options, terminal, report: print })).filter((result) => result.tried);
        const faulty = tried.filter(({ findings }) => findings.length > 0);
        console.log(`${tried.length} tried, ${faulty.length} with findings`);
        return tried.length === 0 ? 2 : Math.min(1, faulty.length);
    } finally {
        await terminal.stop();
    }
}

main().then((code) => process.exit(code), (error) => {
    console.error(`desk-terminal-check: ${error.message}`);
    process.exit(2);
});
