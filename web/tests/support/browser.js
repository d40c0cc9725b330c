// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The console page in headless Chromium, opened from disk.

import assert from "node:assert/strict";
import { mkdirSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { chromium } from "playwright-core";

import { until } from "./service.js";

export const consolePage = new URL("../../console/index.html", import.meta.url).href;
const screenshots = process.env.DESK_SCREENSHOTS;

/** Starts a browser with an empty profile. */
export async function startBrowser({ args = [] } = {}) {
    return chromium.launch({
        executablePath: "/usr/bin/chromium",
        args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync", ...args],
    });
}

/** Opens the console; what a script of it throws or complains of is kept in `page.complaints`. */
export async function openConsole(browser, { url = consolePage, query = "", ...options } = {}) {
    const context = await browser.newContext({
        locale: "en-GB", viewport: { width: 1280, height: 900 }, ...options,
    });
    const page = await context.newPage();
    page.complaints = [];
    page.on("pageerror", (error) => page.complaints.push(String(error)));
    page.on("console", (message) => {
        if (message.type() === "error" && !/WebSocket connection to/.test(message.text()))
            page.complaints.push(message.text());
    });
    await page.goto(url + query);
    return page;
}

/** Keeps a picture of the page for whoever looks at a run's output. */
export async function keepScreenshot(page, name, options = {}) {
    mkdirSync(screenshots, { recursive: true });
    await page.screenshot({ path: join(screenshots, `${name}.png`), fullPage: true, ...options });
}

/** Runs a command of a panel with the page's own button, and gives the panel's result. */
export async function runCommand(page, name) {
    const form = page.locator(`form[data-command="${name}"]`);
    await form.getByRole("button").click();
    return form.locator("xpath=..").locator(".result");
}

/** Opens the console and waits until it is connected. */
export async function connectedConsole(browser, options) {
    const page = await openConsole(browser, options);
    await until(async () => await page.locator("#state").getAttribute("data-state") === "open", "the connection");
    return page;
}

/** Waits until the locator's text holds what a person should read. */
export async function reads(locator, expected) {
    await until(async () => (await locator.textContent())?.includes(expected), `"${expected}"`).catch(async () =>
        assert.fail(`reads "${await locator.textContent()}", not "${expected}"`));
}

/** Nothing is wider than the window, every text is told from its ground, and no script complains. */
export async function assertReadable(page) {
    assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), page.viewportSize().width);
    assert.deepEqual(await page.evaluate(textsOfLowContrast), []);
    assert.deepEqual(page.complaints, []);
}

/** In the page: texts whose contrast with their ground is less than 4.5 to 1 (WCAG 2, level AA). */
function textsOfLowContrast() {
    const channels = (colour) => colour.match(/[\d.]+/g).map(Number);
    const luminance = (colour) => {
        const [red, green, blue] = channels(colour).map((value) => {
            const part = value / 255;
            return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
        });
        return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
    };
    const ground = (element) => {
        const colour = getComputedStyle(element).backgroundColor;
        return channels(colour)[3] === 0 ? ground(element.parentElement) : colour;
    };
    const low = [];
    for (const element of document.querySelectorAll("body *")) {
        const isText = [...element.childNodes].some((node) => node.nodeType === 3 && node.data.trim());
        if (!isText || !element.checkVisibility() || element.disabled)
            continue;
        const [dark, light] = [luminance(getComputedStyle(element).color), luminance(ground(element))].sort((a, b) => a - b);
        const contrast = (light + 0.05) / (dark + 0.05);
        if (contrast < 4.5)
            low.push(`${element.tagName} "${element.textContent.slice(0, 30)}" ${contrast.toFixed(2)}`);
    }
    return low;
}
