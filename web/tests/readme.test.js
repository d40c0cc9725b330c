// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The example of the README, run as it stands.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createServer } from "node:http";
import { after, test } from "node:test";

import { openConsole, startBrowser } from "./support/browser.js";
import { startTerminal, until } from "./support/desk.js";

const [, example] = readFileSync(new URL("../../README.md", import.meta.url), "utf8").match(/```js\n([^]*?)```/);
const files = {
    "/": ["text/html", `<p id="name"></p><img id="signature"><script type="module">${example}</script>`],
    "/desk-terminal.js": ["text/javascript", readFileSync(new URL("../desk-terminal.js", import.meta.url))],
};

test("the ten lines read a card and take a signature", async () => {
    const server = createServer((request, response) => {
        const [type, content] = files[request.url] ?? ["text/plain", ""];
        response.setHeader("content-type", `${type}; charset=utf-8`).end(content);
    }).listen(8080);
    const terminal = await startTerminal();
    after(() => Promise.all([server.closeAllConnections(), server.close(), terminal.stop()]));
    const page = await openConsole(await startBrowser(), { url: "http://localhost:8080/", state: "" });
    await terminal.sign();
    await terminal.press("确定");
    assert.equal(await page.locator("#name").textContent(), terminal.state.devices.usbReader.card.name);
    const signature = page.locator("#signature");
    await until(() => signature.getAttribute("src"), "the signature");
    assert.ok(await signature.evaluate((image) => image.decode().then(() => image.naturalWidth > 700)));
    assert.deepEqual(page.complaints, []);
});
