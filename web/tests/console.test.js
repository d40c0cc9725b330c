// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The console page in a browser, on the service with nothing plugged in: languages, colours, sizes, the keyboard,
// failures in words, sessions.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { after, before, describe, test } from "node:test";
import vm from "node:vm";

import {
    assertReadable, connectedConsole, keepScreenshot, reads, runCommand, startBrowser,
} from "./support/browser.js";
import { clickWindow, signingTitle, startService, until, windowWithTitle } from "./support/service.js";

let service;
let browser;
before(async () => {
    service = await startService();
    browser = await startBrowser();
});
after(async () => {
    await browser.close();
    await service.stop();
});

const signingWindow = () => windowWithTitle(signingTitle);

describe("texts", () => {
    test("stand in both languages", () => {
        const source = ["texts.js", "virtual_texts.js"].map((name) =>
            readFileSync(new URL(`../console/${name}`, import.meta.url), "utf8"));
        const { zh, en } = vm.runInNewContext(`${source.join("")}; texts`);
        assert.deepEqual(Object.keys(zh), Object.keys(en));
    });

    test("follow the browser's language, and the button, for good", async () => {
        const page = await connectedConsole(browser, { locale: "zh-CN" });
        await reads(page.locator("h1"), "桌面终端控制台");
        await page.locator("#language").click();
        await reads(page.locator("h1"), "Desk terminal console");
        await page.reload();
        await reads(page.locator("h1"), "Desk terminal console");
        await page.context().close();
    });
});

describe("appearance", () => {
    const views = {
        "light-en": {},
        "dark-zh": { colorScheme: "dark", locale: "zh-CN" },
        "zoom-200": { viewport: { width: 640, height: 450 }, deviceScaleFactor: 2 },
        "narrow": { viewport: { width: 360, height: 640 }, locale: "zh-CN", colorScheme: "dark" },
    };
    for (const [name, options] of Object.entries(views)) {
        test(`${name}: nothing is cut off, every text is told from its ground`, async () => {
            const page = await connectedConsole(browser, options);
            for (const command of ["ZCDeviceExist", "ZCReadIDCard", "ZCSIMCard"])
                await reads(await runCommand(page, command), command);
            await until(async () => await page.locator("#frames tr").count() >= 6, "the frames");
            await keepScreenshot(page, `console-${name}`);
            await assertReadable(page);
            await page.context().close();
        });
    }
});

describe("keyboard", () => {
    test("reaches and presses every button", async () => {
        const page = await connectedConsole(browser);
        const buttons = await page.locator("button:visible").count();
        const reached = new Set();
        await page.keyboard.press("Tab");
        for (let step = 0; step < 120; ++step) {
            const [key, outlined] = await page.evaluate(() => {
                const element = document.activeElement;
                const all = [...document.querySelectorAll("button")];
                return [all.indexOf(element), getComputedStyle(element).outlineStyle !== "none"];
            });
            if (key >= 0) {
                assert.ok(outlined, "the focus is seen");
                reached.add(key);
            }
            await page.keyboard.press("Tab");
        }
        assert.equal(reached.size, buttons);
        const form = page.locator('form[data-command="ZCSetPenWidth"]');
        await form.locator("input").focus();
        await page.keyboard.press("ControlOrMeta+A");
        await page.keyboard.type("7");
        await page.keyboard.press("Enter");
        await reads(page.locator('[data-device="settings"] .result'), "ZCSetPenWidth succeeded");
        await reads(page.locator("#frames"), '"Width":7');
        await page.context().close();
    });
});

describe("commands", () => {
    test("without devices each tells in words what is missing", async () => {
        const page = await connectedConsole(browser);
        const expected = {
            ZCDeviceExist: "No signature pad is attached",
            ZCStartDeviceAB: "No signature pad is attached.",
            ZCResignAB: "ZCResignAB succeeded",
            ZCEndSignAB: "ZCEndSignAB succeeded",
            ZCStopDeviceAB: "ZCStopDeviceAB succeeded",
            ZCSetTransparency: "ZCSetTransparency succeeded",
            ZCSetModeAB: "ZCSetModeAB succeeded",
            ZCSetSignScreenPosSizeAB: "ZCSetSignScreenPosSizeAB succeeded",
            ZCReadIDCard: "The card reader is not attached, or in use.431003 读卡失败",
            ZCReadHIDIDCard: "The card reader is not attached, or in use.-12 寻卡失败",
            ZCGetSAMNum: "The card reader is not attached, or in use.",
            ZCReadHIDOpen: "ZCReadHIDOpen succeeded",
            ZCSIMCard: "The card reader is not attached, or in use.0 打开设备端口失败",
            ZCCameraPic: "There is no camera, or an earlier window still has it",
        };
        for (const [name, text] of Object.entries(expected))
            await reads(await runCommand(page, name), text);
        await page.locator("#raw-text").fill("hello");
        await page.locator("#raw button").click();
        await until(async () => (await page.locator("#frames .received").first().textContent()).endsWith("hello"), "the echo");
        await page.context().close();
    });

    test("a signing session ends in a picture", async () => {
        const page = await connectedConsole(browser);
        const result = await runCommand(page, "ZCBeginSignAB");
        await reads(result, "ZCBeginSignAB is running");
        const window = await until(signingWindow, "the signing window");
        await until(() => {
            clickWindow(window, 700, 465); // the window's OK button
            return !signingWindow();
        }, "the window's end");
        await reads(result, "ZCBeginSignAB succeeded");
        const size = await result.locator("img").evaluate(async (image) => {
            await image.decode();
            return [image.naturalWidth, image.naturalHeight];
        });
        assert.ok(size[0] > 700 && size[1] > 300, `${size}`);
        await reads(await runCommand(page, "ZCOutputImageBase64AB"), "succeeded");
        await page.context().close();
    });

    const departures = {
        "reloaded": (page) => page.reload(),
        "left for another": (page) => page.goto("about:blank"),
        "closed": (page) => page.close({ runBeforeUnload: true }),
    };
    for (const [name, leave] of Object.entries(departures)) {
        test(`a page that is ${name} during its session ends it, one that is opened does not`, async () => {
            const page = await connectedConsole(browser);
            await runCommand(page, "ZCBeginSignAB");
            await until(signingWindow, "the signing window");
            const other = await connectedConsole(browser);
            await reads(await runCommand(other, "ZCSetPenWidth"), "A signing session is open; end it first.");
            await leave(page);
            await until(() => !signingWindow(), "the window's end");
            await reads(await runCommand(other, "ZCSetPenWidth"), "ZCSetPenWidth succeeded");
            assert.deepEqual(page.complaints, []);
            await page.context().close();
            await other.context().close();
        });
    }
});

describe("connection", () => {
    test("says that the service has gone, why, and when it is back", async () => {
        const page = await connectedConsole(browser);
        await service.stop("SIGKILL");
        await reads(page.locator("#state"), "trying again in");
        await reads(page.locator("#reason"), "Most likely the service is not running on this machine");
        await keepScreenshot(page, "console-no-service", { fullPage: false });
        await page.locator("#language").click();
        await reads(page.locator("#reason"), "本机的服务没有运行");
        await reads(await runCommand(page, "ZCSIMCard"), "ZCSIMCard");
        service = await startService();
        await until(async () => await page.locator("#state").getAttribute("data-state") === "open", "the connection");
        assert.equal(await page.locator("#reason").isVisible(), false);
        await page.context().close();
    });

    test("two consoles at once get a reply each", async () => {
        const pages = [await connectedConsole(browser), await connectedConsole(browser)];
        const results = await Promise.all(pages.map((page) => runCommand(page, "ZCSIMCard")));
        for (const result of results)
            await reads(result, "The card reader is not attached");
        for (const page of pages)
            await page.context().close();
    });
});
