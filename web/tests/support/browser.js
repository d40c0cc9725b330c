// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The console page in a headless browser, opened from disk: Chromium, or Firefox with DESK_BROWSER=firefox.

import assert from "node:assert/strict";
import { mkdirSync } from "node:fs";
import { join } from "node:path";
import { after } from "node:test";
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

/** Opens the console and waits for the connection's state; what its scripts complain of is kept in `page.complaints`. */
export async function openConsole(browser, { url = consolePage, state = "open", ...options } = {}) {
    const context = await browser.newContext({ locale: "en-GB", viewport: { width: 1280, height: 900 }, ...options });
    context.setDefaultTimeout(60000); // machines that run tests pause
    const page = await context.newPage();
    page.complaints = [];
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

/** Nothing is wider than the window, every text is told from its ground, and no script complains. */
export async function assertReadable(page) {
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth === document.documentElement.clientWidth));
    assert.deepEqual(await page.evaluate(textsOfLowContrast), []);
    assert.deepEqual(page.complaints, []);
}

/** In the page: texts whose contrast with their ground is less than 4.5 to 1 (WCAG 2, level AA). */
function textsOfLowContrast() {
    const channels = (colour) => colour.match(/[\d.]+/g).map(Number);
    const linear = (part) => part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
    const luminance = (colour) => channels(colour).slice(0, 3)
        .reduce((sum, value, at) => sum + [0.2126, 0.7152, 0.0722][at] * linear(value / 255), 0);
    const ground = (element) => {
        const colour = getComputedStyle(element).backgroundColor;
        return channels(colour)[3] === 0 ? ground(element.parentElement) : colour;
    };
    const contrast = (element) => {
        const [dark, light] = [getComputedStyle(element).color, ground(element)].map(luminance).sort((a, b) => a - b);
        return (light + 0.05) / (dark + 0.05);
    };
    const hasText = (element) => [...element.childNodes].some((node) => node.nodeType === 3 && node.data.trim());
    return [...document.querySelectorAll("body *")]
        .filter((element) => hasText(element) && element.checkVisibility() && !element.disabled && contrast(element) < 4.5)
        .map((element) => `${element.tagName} "${element.textContent.slice(0, 30)}" ${contrast(element).toFixed(2)}`);
}
