// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Which pages may connect, and what the console says when one may not. The pages come from this machine; the
// browsers are told which network each port belongs to.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { createServer as createPlainServer } from "node:http";
import { createServer as createSecureServer } from "node:https";
import { dirname, extname, join } from "node:path";
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
const of = (...names) => Object.keys(networks).filter((port) => names.includes(networks[port])).map((port) => `127.0.0.1:${port}`);
const browsers = {
    chromium: { args: ["--ignore-certificate-errors", "--host-resolver-rules=MAP *.test 127.0.0.1",
        `--ip-address-space-overrides=${Object.keys(networks).map((port) => `127.0.0.1:${port}=${networks[port]}`)}`] },
    firefox: { firefoxUserPrefs: { "network.dns.localDomains": "shop.test,counter.test",
        "network.lna.address_space.public.override": of("public").join(), "network.lna.address_space.private.override": of("local").join() } },
};
const start = (name) => startBrowser({ name, ...browsers[name] });
const terminal = await startTerminal("--bare");
const started = { chromium: await start("chromium"), firefox: await start("firefox") };
after(async () => {
    servers.forEach((server) => server.close().closeAllConnections());
    await terminal.stop();
});

const publicHttp = "http://shop.test:8081/index.html";
const publicHttps = "https://shop.test:8443/index.html";
const noHttp = "A public http page cannot connect";
const noPermission = "Allow access to the local network in the site settings";
const policy = "Add the address to connect-src";

/** Opens the page; it connects, or tells the reason why it may not. */
async function open(browser, url, reason, options = {}) {
    const state = reason ? "waiting" : "open";
    const page = await openConsole(browser, { url, state, ignoreHTTPSErrors: true, ...options });
    await reads(page.locator("#reason"), reason ?? "");
    await page.context().close();
}

// As the browsers come, in Debian's packages. Firefox lets every page connect.
for (const [name, url, { chromium, firefox, options } = {}] of [
    ["from disk", consolePage],
    ["from this machine", "http://localhost:8083/index.html"],
    ["from this machine, under a policy", "http://localhost:8083/index.html?policy", { chromium: policy, firefox: policy }],
    ["from the intranet, http", "http://counter.test:8082/index.html"],
    ["from the intranet, https", "https://counter.test:8444/index.html"],
    ["public, https", publicHttps, { chromium: noPermission }],
    ["public, http", publicHttp, { chromium: noHttp }],
]) {
    test(`a page ${name}, in Chromium`, () => open(started.chromium, url, chromium));
    test(`a page ${name}, in Firefox`, () => open(started.firefox, url, firefox));
}

test("a public page with the user's permission, in Chromium", () =>
    open(started.chromium, publicHttps, undefined, { permissions: ["local-network-access"] }));

/** A browser under a managed policy. The sandbox has mounts of its own, so that the machine's policies stay as they are. */
async function startManaged(name, folder, file, content) {
    execFileSync("mount", ["-t", "tmpfs", "tmpfs", folder]);
    mkdirSync(dirname(join(folder, file)), { recursive: true });
    writeFileSync(join(folder, file), JSON.stringify(content));
    return start(name);
}

test("Chromium's managed policy stands for the permission, and does not help http", async () => {
    const LoopbackNetworkAllowedForUrls = [publicHttps, publicHttp].map((url) => new URL(url).origin);
    const managed = await startManaged("chromium", "/etc/chromium", "policies/managed/desk.json", { LoopbackNetworkAllowedForUrls });
    await open(managed, publicHttps);
    await open(managed, publicHttp, noHttp);
});

test("Firefox's managed policy has public pages ask, but for the counter's", async () => {
    const managed = await startManaged("firefox", "/usr/lib/firefox-esr/distribution", "policies.json", { policies: {
        LocalNetworkAccess: { Enabled: true, EnablePrompting: true, SkipDomains: ["counter.test"] },
        Preferences: { "network.lna.websocket.enabled": { Value: true } } } });
    await open(managed, publicHttps, "The browser needs your permission");
    await open(managed, publicHttps.replace("shop", "counter"));
    await open(managed, publicHttp.replace("shop", "counter"));
});
