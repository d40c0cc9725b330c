// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The console page without devices, and without a virtual terminal in its sight: languages, the keyboard, failures in
// words, the log, the connection.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { after, afterEach, beforeEach, test } from "node:test";
import vm from "node:vm";

import { assertReadable, consolePage, hasState, openConsole, reads, runCommand, startBrowser } from "./support/browser.js";
import { startTerminal, until } from "./support/desk.js";

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
const enter = async (input, text) => {
    await page.locator(input).fill(text);
    await page.locator(input).press("Enter");
};

test("every text stands in both languages, the browser's first, then the chosen one for good", async () => {
    const read = (name) => readFileSync(new URL(name, consolePage), "utf8");
    const { zh, en } = vm.runInNewContext(`${read("texts.js")}${read("virtual_texts.js")}; texts`);
    assert.deepEqual(Object.keys(zh), Object.keys(en));
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
    await enter('[name="Width"]', "7");
    await reads(page.locator('[data-device="settings"] .result'), "ZCSetPenWidth succeeded");
    await reads(page.locator("#frames"), '"Width":7');
    await enter('[name="Percent"]', "101");
    assert.ok(!(await page.locator("#frames").textContent()).includes("ZCSetTransparency"));
});

test("each command without its device tells in words what is missing, once more each time", async () => {
    const reader = "The card reader is not attached, or in use.";
    const expected = {
        ZCDeviceExist: "No signature pad is attached", ZCStartDeviceAB: "No signature pad is attached.-1", ZCResignAB: undefined,
        ZCEndSignAB: undefined, ZCOutputImageBase64AB: "There is no signature yet.0 未签名", ZCStopDeviceAB: undefined,
        ZCSetTransparency: undefined, ZCSetModeAB: undefined, ZCSetSignScreenPosSizeAB: undefined, ZCReadHIDOpen: undefined,
        ZCReadIDCard: `${reader}431003 读卡失败`, ZCReadHIDIDCard: `${reader}-12 寻卡失败`, ZCGetSAMNum: reader,
        ZCSIMCard: `${reader}0 打开设备端口失败`, ZCCameraPic: "There is no camera, or an earlier window still has it",
    };
    for (const [name, text] of [...Object.entries(expected), ...Object.entries(expected)])
        await runCommand(page, name, text);
    assert.deepEqual(await page.locator(".result").evaluateAll((all) => all.map(({ className }) => className)),
        ["result good", "result bad", "result bad", "result bad", "result good"]);
    await assertReadable(page);
});

test("the log shows frames both ways, the newest first, and sends any text", async () => {
    const save = async () => {
        const [download] = await Promise.all([page.waitForEvent("download"), press("Save")]);
        return readFileSync(await download.path(), "utf8");
    };
    await enter("#raw-text", "hello");
    await until(async () => await rows().count() === 2, "the echo");
    assert.deepEqual(await rows().evaluateAll((all) => all.map(({ className }) => className)), ["received", "sent"]);
    assert.match(await rows().first().textContent(), /^\d\d:\d\d:\d\d\.\d{3}← receivedhello$/);
    await enter("#raw-text", `<${"x".repeat(700)}>`);
    await until(async () => await rows().count() === 4, "the long frames");
    assert.match(await rows().first().textContent(), /<x{299} … x{149}> \(702\)$/);
    assert.match(await save(), /^\S+Z sent hello\n\S+Z received hello\n\S+Z sent <x{700}>\n\S+Z received <x{700}>\n$/);
    await press("Clear");
    assert.deepEqual([await rows().count(), await save()], [0, "\n"]);
    await page.evaluate(() => Array.from({ length: 252 }, () => document.getElementById("ping").click()));
    await until(async () => (await save()).split("received").length === 251, "as many lines as there is room for");
    assert.deepEqual([await rows().count(), (await save()).split("\n").length], [500, 501]);
    assert.match(await rows().first().textContent(), /\[([0-9a-f]{2} )+[0-9a-f]{2}\]$/);
});

test("the connection can be ended, made again, and made elsewhere", async () => {
    const reason = page.locator("#reason");
    await press("Disconnect");
    await reads(page.locator("#state"), "Not connected");
    assert.ok(await reason.isHidden());
    await press("Send");
    await hasState(page, "open");
    await press("Disconnect");
    await press("Connect");
    await hasState(page, "open");
    await enter("#url", "ws://127.0.0.1:9/");
    await reads(reason, "Cannot connect to ws://127.0.0.1:9/.");
    await enter("#url", "ws://127.0.0.1:12343/");
    await hasState(page, "open");
    await terminal.play("killService");
    await reads(page.locator("#state"), "trying again in");
    await reads(reason, "Most likely the service is not running on this machine");
    await page.locator("#language").click();
    await reads(reason, "本机的服务没有运行");
    await runCommand(page, "ZCSIMCard", "ZCSIMCard");
    await terminal.play("startService");
    await hasState(page, "open");
    assert.ok(await reason.isHidden());
});

test("a page that is left during its session ends it, one that is opened does not", async () => {
    for (const leave of [() => page.reload(), () => page.goto("about:blank"), () => page.close({ runBeforeUnload: true })]) {
        await page.goto(consolePage);
        await runCommand(page, "ZCBeginSignAB", "ZCBeginSignAB is running");
        await terminal.waitForWindow("signing");
        const other = await openConsole(browser);
        await runCommand(other, "ZCSetPenWidth", "A signing session is open; end it first.");
        await leave();
        await until(() => terminal.state.windows.length === 0, "the window's end");
        await runCommand(other, "ZCSetPenWidth");
        await other.context().close();
    }
});
