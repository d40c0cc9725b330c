// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The example of the README, run as it stands.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createServer } from "node:http";
import { after, before, test } from "node:test";

import { openConsole, startBrowser } from "./support/browser.js";
import { signingTitle, until, windowWithTitle } from "./support/service.js";
import { startTerminal } from "./support/terminal.js";

const readme = readFileSync(new URL("../../README.md", import.meta.url), "utf8");
const example = readme.match(/```js\n([^]*?)```/)[1];
const files = {
    "/": ["text/html", `<p id="name"></p><img id="signature"><script type="module">${example}</script>`],
    "/desk-terminal.js": ["text/javascript", readFileSync(new URL("../desk-terminal.js", import.meta.url))],
};

let terminal;
let browser;
const server = createServer((request, response) => {
    const [type, content] = files[request.url] ?? ["text/plain", ""];
    response.setHeader("content-type", `${type}; charset=utf-8`);
    response.end(content);
});
before(async () => {
    terminal = await startTerminal();
    browser = await startBrowser();
    server.listen(8080);
});
after(async () => {
    await browser.close();
    server.closeAllConnections();
    server.close();
    await terminal.stop();
});

test("the ten lines read a card and take a signature", async () => {
    const page = await openConsole(browser, { url: "http://localhost:8080/" });
    await until(() => windowWithTitle(signingTitle), "the signing window");
    assert.equal(await page.locator("#name").textContent(), terminal.state.devices.usbReader.card.name);
    const ok = [930, 620]; // the window's button
    const stroke = Array.from({ length: 20 }, (_, step) => [400 + 20 * step, 300 + 5 * step, 700]);
    await terminal.play("pen", { points: [...stroke, [780, 395, 0], [...ok, 500], [...ok, 500], [...ok, 0]] });
    await until(() => page.locator("#signature").getAttribute("src"), "the signature");
    const isPicture = await page.locator("#signature").evaluate(async (image) => {
        await image.decode();
        return image.naturalWidth > 700;
    });
    assert.ok(isPicture);
    assert.deepEqual(page.complaints, []);
});
