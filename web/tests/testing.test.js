// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The testing library as a page's developer has it: from the packed npm package, in a project of its own. What it does to
// the devices is seen in the other tests, which use it.

import assert from "node:assert/strict";
import { execFile, execFileSync } from "node:child_process";
import { mkdtempSync, symlinkSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";

import { terminalCommand } from "./support/desk.js";

const web = fileURLToPath(new URL("..", import.meta.url));
const project = mkdtempSync(join(tmpdir(), "project-"));
const run = (program, ...parameters) => execFileSync(program, parameters, { cwd: project, encoding: "utf8", stdio: ["ignore", "pipe", 2] });
const packed = run(process.execPath, join(web, "make_package.mjs"), project).trim();
run("npm", "install", "--silent", "--offline", "--no-audit", "--no-fund", packed);
for (const peer of ["playwright-core", "ws"])
    symlinkSync(join(web, "node_modules", peer), join(project, "node_modules", peer));

/** Runs the installed check. Gives its exit code, and each line as "OUTCOME NAME" or "finding: …". */
const check = (page, ...options) => new Promise((resolve) => execFile(join(project, "node_modules/.bin/desk-terminal-check"),
    [join(web, page), "--terminal", terminalCommand.join(" "), ...options], { cwd: project },
    (error, output) => resolve([error?.code ?? 0, output.split("\n")
        .map((line) => (line.match(/^\S+ +[a-z-]+(?=  )|finding: .*(?= \()/) ?? [""])[0].replace(/ +/, " ")).filter(Boolean)])));

test("the example page says what happens and passes every scenario", async () => {
    const passed = ["card", "sign", "camera", "card-pulled", "pad-unplugged", "service-restarted", "camera-busy",
        "permission-refused", "page-reloaded"].map((name) => `ok ${name}`);
    assert.deepEqual(await check("examples/open-account/index.html", "--patience", "30"), [0, passed]);
});

test("a page that knows success alone is found to say nothing and to leave the desk in use", async () => {
    writeFileSync(join(project, "check.json"), JSON.stringify({ only: ["card-pulled", "camera-busy", "page-reloaded"], patience: 10 }));
    assert.deepEqual(await check("tests/support/careless_page.html", "--options", "check.json"), [1, [
        "ok card", "FINDING sign", "finding: the page is gone, and the pad is still read",
        "FINDING card-pulled", "finding: it showed nothing",
        "- camera-busy",
        "FINDING page-reloaded", "finding: its window stays open", "finding: the page is gone, and its window stays open",
        "finding: the page is gone, and the pad is still read",
    ]]);
});

test("the types fit a test, which signs in a project without types of Node", () => {
    writeFileSync(join(project, "sign.test.mts"), `
        import { checkPage, VirtualTerminal, type TerminalState } from "desk-terminal/testing";
        await using terminal = await VirtualTerminal.start({ command: ["virtual-terminal", "--bare"], timeout: 1 });
        await terminal.putCard("usbReader", { name: "王" });
        await terminal.sign("王", { timeout: 1 });
        await terminal.press("确定", { window: "signing" });
        const state: TerminalState = terminal.state;
        const card: string | undefined = await terminal.waitFor(({ devices }) => devices.usbReader.card?.name);
        terminal.addEventListener("service", ({ line }) => line.length);
        const shown: string[] = (await checkPage("page.html", { terminal }))[0].shown;
        export { card, shown, state };`);
    run(join(web, "node_modules/.bin/tsc"), "--strict", "--noEmit", "--target", "ES2022", "--module", "NodeNext", "sign.test.mts");
});
