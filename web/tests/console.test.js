// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The console page without devices, and without a virtual terminal in its sight: languages, the keyboard, failures in
// words, the log, the connection.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { after, afterEach, beforeEach, test } from "node:test";
import vm from "node:vm";

import { assertReadable, consolePage, hasState, keepScreenshot, openConsole, reads, runCommand, startBrowser } from "./support/browser.js";
import { signingWindow, startTerminal, until } from "./support/desk.js";

const terminal = await startTerminal("--bare", "--control-port", "12346");
const browser = await startBrowser();
after(() => terminal.stop());
let page;
beforeEach(async () => { page = await openConsole(browser); });
afterEach(async () => {
    assert.deepEqual(page.complaints, []);
    await page.context().close();
});
const rows = () => page.locator("#frames tr");
const press = (name) => page.getByRole("button", { name, exact: true }).click();

test("every text stands in both languages", () => {
    const read = (name) => readFileSync(new URL(name, consolePage), "utf8");
    const { zh, en } = vm.runInNewContext(`${read("texts.js")}${read("virtual_texts.js")}; texts`);
    assert.deepEqual(Object.keys(zh), Object.keys(en));
});

test("the language is the browser's, then the chosen one for good", async () => {
    const chinese = await openConsole(browser, { locale: "zh-CN" });
    await reads(chinese.locator("h1"), "桌面终端控制台");
    await reads(chinese.locator("#virtual .hint").first(), "这台机器上没有运行虚拟终端");
    await runCommand(chinese, "ZCSIMCard", "没有接读卡器，或读卡器被占用。");
    await chinese.locator("#language").click();
    await reads(chinese.locator(".result").filter({ hasText: "ZCSIMCard" }), "The card reader is not attached, or in use.");
    await chinese.reload();
    await reads(chinese.locator("h1"), "Desk terminal console");
    assert.deepEqual([await chinese.title(), await chinese.getAttribute("html", "lang")], ["Desk terminal console", "en"]);
    await chinese.context().close();
});

test("the keyboard reaches and presses every button", async () => {
    const buttons = await page.locator("button:visible").count();
    const reached = new Set();
    for (let step = 0; step < 120; ++step) {
        await page.keyboard.press("Tab");
        const [button, isOutlined] = await page.evaluate(() => [[...document.querySelectorAll("button")]
            .indexOf(document.activeElement), getComputedStyle(document.activeElement).outlineStyle !== "none"]);
        assert.ok(button < 0 || isOutlined, "the focus is seen");
        reached.add(button);
    }
    assert.equal(reached.size - 1, buttons);
    await page.locator('[name="Width"]').focus();
    await page.keyboard.press("ControlOrMeta+A");
    await page.keyboard.type("7");
    await page.keyboard.press("Enter");
    await reads(page.locator('[data-device="settings"] .result'), "ZCSetPenWidth succeeded");
    await reads(page.locator("#frames"), '"Width":7');
    await page.locator('[name="Percent"]').fill("101");
    await page.locator('[data-command="ZCSetTransparency"] button').click();
    assert.equal(await page.locator('[name="Percent"]').evaluate((input) => input.validity.rangeOverflow), true);
    assert.ok(!(await page.locator("#frames").textContent()).includes("ZCSetTransparency"));
});

test("each command without its device tells in words what is missing, once more each time", async () => {
    const expected = {
        ZCDeviceExist: "No signature pad is attached", ZCStartDeviceAB: "No signature pad is attached.", ZCResignAB: undefined,
        ZCEndSignAB: undefined, ZCOutputImageBase64AB: "There is no signature yet.0 未签名", ZCStopDeviceAB: undefined,
        ZCSetTransparency: undefined, ZCSetModeAB: undefined, ZCSetSignScreenPosSizeAB: undefined,
        ZCReadIDCard: "The card reader is not attached, or in use.431003 读卡失败",
        ZCReadHIDIDCard: "The card reader is not attached, or in use.-12 寻卡失败",
        ZCGetSAMNum: "The card reader is not attached, or in use.", ZCReadHIDOpen: undefined,
        ZCSIMCard: "The card reader is not attached, or in use.0 打开设备端口失败",
        ZCCameraPic: "There is no camera, or an earlier window still has it",
    };
    for (const [name, text] of [...Object.entries(expected), ...Object.entries(expected)])
        await runCommand(page, name, text);
    await keepScreenshot(page, "console");
    await assertReadable(page);
});

test("the log shows frames both ways, the newest first, and sends any text", async () => {
    await page.locator("#raw-text").fill("hello");
    await press("Send");
    await until(async () => (await rows().first().textContent()).endsWith("hello"), "the echo");
    assert.deepEqual(await rows().evaluateAll((all) => all.map(({ className }) => className)), ["received", "sent"]);
    assert.match(await rows().first().textContent(), /^\d\d:\d\d:\d\d\.\d{3}← receivedhello$/);
    await page.locator("#raw-text").fill(`<${"x".repeat(700)}>`);
    await press("Send");
    await until(async () => await rows().count() === 4, "the long frames");
    assert.match(await rows().first().textContent(), /<x{299} … x{149}> \(702\)$/);
    const save = async () => {
        const [download] = await Promise.all([page.waitForEvent("download"), press("Save")]);
        return readFileSync(await download.path(), "utf8");
    };
    assert.match(await save(), /^\S+Z sent hello\n\S+Z received hello\n\S+Z sent <x{700}>\n\S+Z received <x{700}>\n$/);
    await press("Clear");
    assert.deepEqual([await rows().count(), await save()], [0, "\n"]);
    for (let frame = 0; frame < 252; ++frame)
        await page.evaluate(() => document.getElementById("ping").click());
    await until(async () => await rows().count() === 500, "as many rows as there is room for");
    await reads(rows().first(), "[");
    await until(async () => (await save()).split("\n").length === 501, "as many lines");
});

test("the connection can be ended, made again, and made elsewhere", async () => {
    await press("Disconnect");
    await reads(page.locator("#state"), "Not connected");
    assert.equal(await page.locator("#reason").isVisible(), false);
    await press("Send");
    await hasState(page, "open");
    await press("Disconnect");
    await press("Connect");
    await hasState(page, "open");
    await page.locator("#url").fill("ws://127.0.0.1:9/");
    await page.locator("#url").press("Enter");
    await reads(page.locator("#reason"), "Cannot connect to ws://127.0.0.1:9/.");
    await page.locator("#url").fill("ws://127.0.0.1:12343/");
    await page.locator("#url").press("Enter");
    await hasState(page, "open");
});

test("a service that has gone, why, and its return are told", async () => {
    await terminal.play("killService");
    await reads(page.locator("#state"), "trying again in");
    await reads(page.locator("#reason"), "Most likely the service is not running on this machine");
    await keepScreenshot(page, "console-no-service", { fullPage: false });
    await page.locator("#language").click();
    await reads(page.locator("#reason"), "本机的服务没有运行");
    await runCommand(page, "ZCSIMCard", "ZCSIMCard");
    await terminal.play("startService");
    await hasState(page, "open");
    assert.equal(await page.locator("#reason").isVisible(), false);
});

for (const leave of ["reload", "goto", "close"]) {
    test(`a page that is left during its session ends it, one that is opened does not: ${leave}`, async () => {
        const leaving = await openConsole(browser);
        await runCommand(leaving, "ZCBeginSignAB", "ZCBeginSignAB is running");
        await until(signingWindow, "the signing window");
        const other = await openConsole(browser);
        await runCommand(other, "ZCSetPenWidth", "A signing session is open; end it first.");
        await leaving[leave](...{ reload: [], goto: ["about:blank"], close: [{ runBeforeUnload: true }] }[leave]);
        await until(() => !signingWindow(), "the window's end");
        await runCommand(other, "ZCSetPenWidth");
        assert.deepEqual(leaving.complaints, []);
        await leaving.context().close();
        await other.context().close();
    });
}
