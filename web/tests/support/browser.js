// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The console page in headless Chromium, opened from disk.

import { mkdirSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { chromium } from "playwright-core";

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
