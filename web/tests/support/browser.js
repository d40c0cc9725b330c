// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The console page in a headless browser, opened from disk: Chromium, or Firefox with DESK_BROWSER=firefox.

import assert from "node:assert/strict";
import { mkdirSync } from "node:fs";
import { join } from "node:path";
import { after } from "node:test";
import { fileURLToPath } from "node:url";
import { chromium, firefox } from "playwright-core";

import { until } from "./desk.js";

export const consolePage = new URL("../../console/index.html", import.meta.url).href;

const launchers = {
    chromium: ({ args = [] }) => chromium.launch({ executablePath: "/usr/bin/chromium", args: ["--no-sandbox", "--disable-gpu",
        "--disable-quic", "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync",
        ...args] }),
    // Firefox as the distribution has it, over WebDriver BiDi.
    firefox: ({ firefoxUserPrefs }) => firefox.launch({ channel: "moz-firefox", executablePath: "/usr/bin/firefox-esr",
        firefoxUserPrefs }),
};

/** Starts a browser with an empty profile, for a file's tests. */
export async function startBrowser({ name = process.env.DESK_BROWSER ?? "chromium", ...options } = {}) {
    const browser = await launchers[name](options);
    after(() => browser.close());
    return browser;
}

/**
 * Opens the console and waits for the connection's state; `page.complaints` keeps what its scripts complain of,
 * `page.sent` what it sends to the service and to the control port.
 */
export async function openConsole(browser, { url = consolePage, state = "open", ...options } = {}) {
    const usual = { locale: "en-GB", viewport: { width: 1280, height: 900 }, screen: { width: 3840, height: 1080 } };
    const context = await browser.newContext({ ...usual, ...options });
    context.setDefaultTimeout(60000); // machines that run tests pause
    const page = await context.newPage();
    Object.assign(page, { complaints: [], sent: [] });
    page.on("websocket", (socket) => socket.on("framesent", ({ payload }) => page.sent.push(payload)));
    page.on("pageerror", (error) => page.complaints.push(String(error)));
    page.on("console", (message) => {
        if (message.type() === "error" && !/(WebSocket connection|the server at ws:)/.test(message.text()))
            page.complaints.push(message.text());
    });
    await page.goto(url);
    await hasState(page, state);
    return page;
}

/** Waits for a state of the connection; a page without one has none. */
export const hasState = (page, state) =>
    until(async () => !state || await page.locator("#state").getAttribute("data-state") === state, state);

/** Keeps a picture of the page for whoever looks at a run's output. */
export async function keepScreenshot(page, name, options = {}) {
    mkdirSync(process.env.DESK_SCREENSHOTS, { recursive: true });
    await page.screenshot({ path: join(process.env.DESK_SCREENSHOTS, `${name}.png`), fullPage: true, ...options });
}

/** Waits until the locator's text holds what a person should read, or is empty where nothing is expected. */
export async function reads(locator, expected) {
    const text = () => locator.textContent();
    await until(async () => expected ? (await text()).includes(expected) : await text() === "", expected).catch(async () =>
        assert.fail(`reads "${await text()}", not "${expected}"`));
}

/** Runs a command of a panel with the page's own button, and gives the panel's result, which reads as expected. */
export async function runCommand(page, name, expected = `${name} succeeded`) {
    const form = page.locator(`form[data-command="${name}"]`);
    await form.getByRole("button").click();
    const result = form.locator("xpath=..").locator(".result");
    await reads(result, expected);
    return result;
}

/** In each tab nothing is wider than the window, and axe finds nothing: contrast, names, roles, the keyboard. */
export async function assertReadable(page) {
    await page.addScriptTag({ path: fileURLToPath(new URL("../../node_modules/axe-core/axe.min.js", import.meta.url)) });
    const tabs = page.locator("#tabs button:visible");
    for (let tab = 0; tab < Math.max(await tabs.count(), 1); ++tab) {
        if (await tabs.count() > 0)
            await tabs.nth(tab).click();
        assert.deepEqual(await page.evaluate(() => [...document.querySelectorAll("html, main > section")]
            .filter((part) => part.scrollWidth > part.clientWidth).map(({ id }) => id)), []);
        const { violations } = await page.evaluate(() => globalThis.axe.run({ preload: false }));
        assert.deepEqual(violations.map(({ id, nodes }) => [id, nodes.map(({ html }) => html)]), []);
    }
    assert.deepEqual(page.complaints, []);
}
