// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Which pages may connect, and what the console says when one may not. The pages come from this machine; the
// browser is told which network each port belongs to.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { createServer as createPlainServer } from "node:http";
import { createServer as createSecureServer } from "node:https";
import { extname } from "node:path";
import { after, before, test } from "node:test";

import { consolePage, openConsole, startBrowser } from "./support/browser.js";
import { startService, until } from "./support/service.js";

const ports = { publicHttp: 8081, localHttp: 8082, loopbackHttp: 8083, publicHttps: 8443, localHttps: 8444 };
const types = { ".html": "text/html", ".css": "text/css", ".js": "text/javascript" };

function serve(request, response) {
    const file = new URL(`.${new URL(request.url, "http://any").pathname}`, consolePage);
    response.setHeader("content-type", types[extname(file.pathname)]);
    if (request.url.endsWith("?policy"))
        response.setHeader("content-security-policy", "connect-src 'self'");
    response.end(readFileSync(file));
}

const networks = Object.entries(ports).map(([name, port]) => `127.0.0.1:${port}=${name.replace(/Https?/, "")}`);
const args = ["--ignore-certificate-errors", "--host-resolver-rules=MAP *.test 127.0.0.1",
    `--ip-address-space-overrides=${networks.join(",")}`];

let service;
let browser;
const servers = [];
before(async () => {
    execFileSync("openssl", ["req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=shop.test",
        "-keyout", "key.pem", "-out", "certificate.pem"], { stdio: "ignore" });
    const keys = { key: readFileSync("key.pem"), cert: readFileSync("certificate.pem") };
    for (const [name, port] of Object.entries(ports)) {
        const server = name.endsWith("Https") ? createSecureServer(keys, serve) : createPlainServer(serve);
        servers.push(server.listen(port));
    }
    service = await startService();
    browser = await startBrowser({ args });
});
after(async () => {
    await browser.close();
    for (const server of servers) {
        server.closeAllConnections?.();
        server.close();
    }
    await service.stop();
});

const pages = [
    ["from disk", consolePage],
    ["from this machine", `http://localhost:${ports.loopbackHttp}/index.html`],
    ["from this machine, under a policy", `http://localhost:${ports.loopbackHttp}/index.html?policy`,
        { refused: "Add the address to connect-src" }],
    ["from the intranet, http", `http://counter.test:${ports.localHttp}/index.html`],
    ["from the intranet, https", `https://counter.test:${ports.localHttps}/index.html`],
    ["public, https, allowed", `https://shop.test:${ports.publicHttps}/index.html`, { permitted: true }],
    ["public, https, refused", `https://shop.test:${ports.publicHttps}/index.html`,
        { refused: "Allow access to the local network in the site settings" }],
    ["public, http", `http://shop.test:${ports.publicHttp}/index.html`,
        { refused: "A public http page cannot connect" }],
];
async function opensAsExpected(inBrowser, url, { permitted, refused } = {}) {
    const grant = permitted ? { permissions: ["local-network-access"] } : {};
    const page = await openConsole(inBrowser, { url, ignoreHTTPSErrors: true, ...grant });
    const state = refused ? "waiting" : "open";
    await until(async () => await page.locator("#state").getAttribute("data-state") === state, state);
    if (refused)
        assert.match(await page.locator("#reason").textContent(), new RegExp(refused));
    await page.context().close();
}

for (const [name, url, expected] of pages)
    test(`a page ${name}`, () => opensAsExpected(browser, url, expected));

test("a managed policy stands for the permission, and does not help http", async () => {
    // The sandbox has mounts of its own.
    execFileSync("mount", ["-t", "tmpfs", "tmpfs", "/etc/chromium"]);
    const secure = `https://shop.test:${ports.publicHttps}`;
    const plain = `http://shop.test:${ports.publicHttp}`;
    mkdirSync("/etc/chromium/policies/managed", { recursive: true });
    writeFileSync("/etc/chromium/policies/managed/desk.json",
        JSON.stringify({ LoopbackNetworkAllowedForUrls: [secure, plain] }));
    const managed = await startBrowser({ args });
    await opensAsExpected(managed, `${secure}/index.html`);
    await opensAsExpected(managed, `${plain}/index.html`, { refused: "A public http page cannot connect" });
    await managed.close();
});
