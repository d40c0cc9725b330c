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
import { after, test } from "node:test";

import { consolePage, openConsole, reads, startBrowser } from "./support/browser.js";
import { startTerminal } from "./support/desk.js";

const types = { ".html": "text/html", ".css": "text/css", ".js": "text/javascript" };
function serve({ url }, response) {
    const file = new URL(`.${new URL(url, "http://any").pathname}`, consolePage);
    response.setHeader("content-type", types[extname(file.pathname)]);
    if (url.endsWith("?policy"))
        response.setHeader("content-security-policy", "connect-src 'self'");
    response.end(readFileSync(file));
}

execFileSync("openssl", ["req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=shop.test",
    "-keyout", "key.pem", "-out", "certificate.pem"], { stdio: "ignore" });
const keys = { key: readFileSync("key.pem"), cert: readFileSync("certificate.pem") };
const networks = { 8081: "public", 8082: "local", 8083: "loopback", 8443: "public", 8444: "local" };
const servers = Object.keys(networks).map((port) =>
    (port.startsWith("84") ? createSecureServer(keys, serve) : createPlainServer(serve)).listen(port));
const args = ["--ignore-certificate-errors", "--host-resolver-rules=MAP *.test 127.0.0.1",
    `--ip-address-space-overrides=${Object.entries(networks).map(([port, name]) => `127.0.0.1:${port}=${name}`)}`];
const terminal = await startTerminal("--bare");
const browser = await startBrowser(...args);
after(async () => {
    servers.forEach((server) => server.close().closeAllConnections());
    await terminal.stop();
});

const publicHttp = "http://shop.test:8081/index.html";
const publicHttps = "https://shop.test:8443/index.html";
const noHttp = "A public http page cannot connect";

/** Opens the page; it connects, or tells the reason why it may not. */
async function open(inBrowser, url, reason, options = {}) {
    const state = reason ? "waiting" : "open";
    const page = await openConsole(inBrowser, { url, state, ignoreHTTPSErrors: true, ...options });
    await reads(page.locator("#reason"), reason ?? "");
    await page.context().close();
}

for (const [name, ...expected] of [
    ["from disk", consolePage],
    ["from this machine", "http://localhost:8083/index.html"],
    ["from this machine, under a policy", "http://localhost:8083/index.html?policy", "Add the address to connect-src"],
    ["from the intranet, http", "http://counter.test:8082/index.html"],
    ["from the intranet, https", "https://counter.test:8444/index.html"],
    ["public, https, allowed", publicHttps, undefined, { permissions: ["local-network-access"] }],
    ["public, https, refused", publicHttps, "Allow access to the local network in the site settings"],
    ["public, http", publicHttp, noHttp],
])
    test(`a page ${name}`, () => open(browser, ...expected));

test("a managed policy stands for the permission, and does not help http", async () => {
    execFileSync("mount", ["-t", "tmpfs", "tmpfs", "/etc/chromium"]); // the sandbox has mounts of its own
    mkdirSync("/etc/chromium/policies/managed", { recursive: true });
    const LoopbackNetworkAllowedForUrls = [publicHttps, publicHttp].map((url) => new URL(url).origin);
    writeFileSync("/etc/chromium/policies/managed/desk.json", JSON.stringify({ LoopbackNetworkAllowedForUrls }));
    const managed = await startBrowser(...args);
    await open(managed, publicHttps);
    await open(managed, publicHttp, noHttp);
});
