// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The console page on a desk with every device: what each command shows, and the desk played from the page alone.

import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { readFileSync, writeFileSync } from "node:fs";
import { after, afterEach, beforeEach, test } from "node:test";
import { promisify } from "node:util";
import WebSocket from "ws";

import { DeskTerminal } from "../desk-terminal.js";
import { assertReadable, consolePage, hasState, keepScreenshot, openConsole, reads, runCommand, startBrowser } from "./support/browser.js";
import { area, startTerminal, until } from "./support/desk.js";

let terminal = await startTerminal();
const browser = await startBrowser();
after(() => terminal.stop());
let page;
beforeEach(async () => {
    page = await openConsole(browser, { url: `${consolePage}#scenario=no-card` });
    await reads(page.locator("#virtual .hint").first(), "Connected to ws://localhost:12345/");
    await reads(page.locator(".told"), "Ask the customer to lay down the card");
    assert.deepEqual(page.sent, [], "opening the page changes nothing");
});
afterEach(async () => {
    assert.deepEqual(page.complaints, []);
    await page.context().close();
});

const box = (device) => page.locator(`[data-virtual="${device}"]`);
const button = (device, name) => box(device).getByRole("button", { name, exact: true });
const press = (device, name) => button(device, name).click();
const choose = (device, name, value) => box(device).locator(`select[name="${name}"]`).selectOption(value);
const hold = (device, text) => reads(box(device).locator(".holds"), text);
const complains = (device, text) => reads(box(device).locator(".complaint").last(), text);
const pictureFile = async () => ({ name: "a.png", mimeType: "image/png", buffer: await page.locator("header").screenshot() });

/** What an image or a canvas really shows: its size, how many colours, how many dark pixels. */
const seen = (image) => image.evaluate(async (element) => {
    await element.decode?.();
    const { naturalWidth: width = element.width, naturalHeight: height = element.height } = element;
    const context = Object.assign(document.createElement("canvas"), { width, height }).getContext("2d");
    context.drawImage(element, 0, 0);
    const pixels = [...new Uint32Array(context.getImageData(0, 0, width, height).data.buffer)];
    const isDark = (pixel) => pixel >>> 24 > 128 && (pixel & 255) + (pixel >> 8 & 255) + (pixel >> 16 & 255) < 300;
    return { size: [width, height], colours: new Set(pixels).size, inked: pixels.filter(isDark).length };
});

const padInk = async () => (await seen(box("pad").locator("canvas"))).inked;

async function beginSigning(write) {
    await runCommand(page, "ZCStartDeviceAB");
    const result = await runCommand(page, "ZCBeginSignAB", "ZCBeginSignAB is running");
    assert.ok(await page.locator('[data-command="ZCBeginSignAB"] button').isDisabled());
    await terminal.waitForWindow("signing");
    await write();
    return result;
}

/** The session ends in a picture with ink, and the drawing has no window any more. */
async function givesSignature(result) {
    await reads(result, "ZCBeginSignAB succeeded");
    const { size, inked } = await seen(result.locator("img"));
    assert.ok(size[0] > 700 && size[1] > 300 && inked > 2000, `${inked} of ${size}`);
    assert.equal(await button("pad", "确定").isDisabled(), true);
}

/** Draws with the mouse on the pad's display, through these places of it. */
async function draw(...places) {
    const canvas = box("pad").locator("canvas");
    await canvas.scrollIntoViewIfNeeded();
    const { x, y, width, height } = await canvas.boundingBox();
    for (const [at, [across, down]] of places.entries()) {
        await page.mouse.move(x + across / 1280 * width, y + down / 800 * height, { steps: at === 0 ? 1 : 12 });
        if (at === 0)
            await page.mouse.down();
    }
    await page.mouse.up();
}

test("a signature is drawn with the mouse and seen in the page, on the pad too", async () => {
    const result = await beginSigning(() => draw([350, 300], [600, 250], [450, 500], [800, 350]));
    const before = await padInk();
    await draw([640, 620]); // 重签
    await until(async () => await padInk() < before - 1000, "the drawing is wiped");
    await draw([350, 300], [600, 250], [450, 500], [800, 350]);
    await draw([930, 620]); // 确定
    await givesSignature(result);
});

test("the keyboard alone signs, on a pad that is pulled out meanwhile; recorded, it happens again", async () => {
    const enter = async (...names) => {
        for (const name of names)
            await button("pad", name).press("Enter");
    };
    const result = await beginSigning(() => enter("Write a sample"));
    await keepScreenshot(page, "console"); // docs/console.png is a copy of it
    await enter("Unplug");
    await reads(box("pad").locator(".state"), "Unplugged");
    await enter("Write a sample");
    await complains("pad", "not plugged in");
    await enter("Plug in");
    await complains("pad", "");
    await runCommand(page, "ZCDeviceExist", "A signature pad is attached");
    await runCommand(page, "ZCStartDeviceAB");
    await enter("Write a sample", "重签", "Write a sample", "确定");
    await givesSignature(result);
    const record = (name) => page.locator("#recorder").getByRole("button", { name, exact: true }).press("Enter");
    const save = async (name) => (await Promise.all([page.waitForEvent("download"), record(name)]))[0].path();
    await page.locator("#recorder summary").press("Enter");
    await record("Record");
    const next = await beginSigning(() => enter("Write a sample"));
    await enter("取消");
    await reads(next, "The signer cancelled.");
    await record("Stop recording");
    await page.locator("#recorder input").setInputFiles(await save("Save the recording"));
    await reads(page.locator("#recorder"), "Replayed");
    await reads(page.locator("#frames tr").first(), "用户已取消");
    const modules = {
        "desk-terminal": "desk-terminal.js", "desk-terminal/testing": "testing/index.js", "ws": "node_modules/ws/wrapper.mjs",
    };
    const program = readFileSync(await save("Save as a test"), "utf8").replace(/(?<=(?:from |import\()")(desk-[^"]+|ws)/g,
        (name) => new URL(`../${modules[name]}`, import.meta.url).href).replace("start()", "connect()");
    writeFileSync("recorded.test.mjs", program);
    const { NODE_TEST_CONTEXT: _, ...env } = process.env; // the program is no part of this test run
    await promisify(execFile)(process.execPath, ["recorded.test.mjs"], { env, timeout: 60000 })
        .catch(({ stdout }) => assert.fail(stdout));
    assert.match(program, /\.pen\([^]*\.press\("取消", \{"window":"signing"\}\);[^]*\(await reply2\)\.msg\], \[0,"用户已取消"\]/);
});

test("writing is lost, and said to be, while nobody reads the pad", async () => {
    for (const [command, isLost] of [["ZCStopDeviceAB", true], ["ZCStartDeviceAB", false], ["ZCStopDeviceAB", true]]) {
        await runCommand(page, command);
        await until(async () => { // the terminal notices within a moment
            await press("pad", "Write a sample");
            return await page.getByText("No program reads the pad").isVisible() === isLost;
        }, `lost: ${isLost}`);
    }
    await until(async () => await padInk() > 1000, "the sample's picture");
    await until(async () => { // the sample may still be being written
        await press("pad", "Wipe this picture");
        return await padInk() === 0;
    }, "an empty picture");
});

for (const [device, command] of [["usbReader", "ZCReadIDCard"], ["hidReader", "ZCReadHIDIDCard"]]) {
    test(`an identity card on the ${device} is laid down, changed, read and taken away`, async () => {
        const field = (name) => box(device).locator(`input[name="${name}"]`);
        const card = () => terminal.state.devices[device].card;
        const face = async () => (await runCommand(page, command)).locator("img").getAttribute("src");
        const rename = async (name) => {
            await field("name").fill(name);
            await press(device, "Change the card");
            await until(() => name.length > 3 || card().name === name, "the changed card");
        };
        await choose(device, "type", "residencePermit");
        await press(device, "Lay down");
        await hold(device, "Residence permit");
        await box(device).getByText("What the card says").click();
        await field("address").fill("typed, not sent yet");
        const faces = [await face()];
        const { fingerprints } = card();
        await terminal.play("changeCard", { device, card: { gender: "女", name: "陈小文" } });
        await until(async () => await field("name").inputValue() === "陈小文", "the change from elsewhere");
        assert.equal(await field("address").inputValue(), "typed, not sent yet");
        await box(device).locator('input[type="checkbox"]').setChecked(!fingerprints);
        await choose(device, "portrait", "1");
        await rename("陈大文");
        faces.push(await face());
        await box(device).locator('input[type="file"]').setInputFiles(await pictureFile());
        await rename("陈大");
        faces.push(await face());
        const result = page.locator('[data-device="cards"] .result');
        assert.deepEqual([card().fingerprints, await result.locator("details").count()], [!fingerprints, fingerprints ? 0 : 1]);
        assert.deepEqual([new Set(faces).size, await box(device).locator('select[name="portrait"]').inputValue()], [3, "same"]);
        assert.match(await result.locator("table").textContent(), /^Name陈大.*Addresstyped, not sent yet/);
        const { size, colours } = await seen(result.locator("img"));
        assert.deepEqual(size, [102, 126]);
        assert.ok(colours > 50, `a face of ${colours} colours`);
        await rename("名".repeat(100));
        await complains(device, "has room for");
        await press(device, "Take the card away");
        await hold(device, "No card");
        assert.ok(await button(device, "Take the card away").isDisabled());
        await runCommand(page, command, "No card lies on the reader, or it could not be read.");
        await press(device, "Lay down");
    });
}

test("a reader has either module, and a fault while it lasts", async () => {
    // Only the newer module is asked for its number in a way that it understands.
    const numbers = { "0501": "libusb_bulk_transfer read failed", "0503": "0503000133A1B2C3D4E5F60708090A0B" };
    for (const [module, number] of Object.entries(numbers)) {
        await choose("usbReader", "module", module);
        await press("usbReader", "Exchange");
        await until(() => terminal.state.devices.usbReader.module === module, "the module");
        await runCommand(page, "ZCGetSAMNum", number);
    }
    const fault = box("hidReader").locator(".fault");
    await box("hidReader").getByText("Faults").click();
    await box("hidReader").getByLabel("Fault").selectOption("result");
    await choose("hidReader", "of", "selectCard");
    await press("hidReader", "Break");
    await reads(fault, "A command fails with a result selectCard 1");
    await runCommand(page, "ZCReadHIDIDCard", "-2 选卡失败");
    await press("hidReader", "Repair");
    await until(() => fault.isHidden(), "the fault's end");
    await runCommand(page, "ZCReadHIDIDCard");
    await box("transfers").locator("select").selectOption("hidReader");
    for (const [name, text] of [["Show", "\n"], ["Show and forget", "\n"], ["Show", "(empty)"]]) {
        await press("transfers", name);
        await reads(box("transfers").locator("pre"), text);
    }
});

test("a SIM card is put in, read, and pulled", async () => {
    await box("simReader").locator('input[type="text"]').fill("89860198765432109875");
    await press("simReader", "Insert the SIM");
    await hold("simReader", "SIM 89860198765432109875");
    const result = await runCommand(page, "ZCSIMCard");
    assert.equal(await result.locator("output").textContent(), "89860198765432109875");
    await press("simReader", "Pull the SIM");
    await until(() => button("simReader", "Pull the SIM").isDisabled(), "the empty reader");
});

test("the camera's picture is what it looks at, of a file no larger than the port takes", async () => {
    const file = box("documentCamera").locator('input[type="file"]');
    await choose("documentCamera", "scene", "portrait");
    await press("documentCamera", "Show");
    await hold("documentCamera", "Portrait");
    await file.setInputFiles({ ...await pictureFile(), buffer: Buffer.alloc(7 << 20) });
    await complains("documentCamera", "The file is too large.");
    await file.setInputFiles(await pictureFile());
    await hold("documentCamera", "A picture file");
    await complains("documentCamera", "");
    const asked = runCommand(page, "ZCCameraPic");
    await until(async () => (await seen(box("capture").locator("img")).catch(() => null))?.colours > 20, "the live picture");
    await press("capture", "拍照");
    await press("capture", "关闭退出");
    const { size, colours } = await seen((await asked).locator("img"));
    assert.deepEqual(size, [640, 480]);
    assert.ok(colours > 20, `a picture of ${colours} colours`);
    await until(() => box("capture").isHidden(), "the window's end");
});

test("a session and a camera command of another page are seen, operated and ended here", async () => {
    const elsewhere = new DeskTerminal({ WebSocket });
    const line = (name) => page.locator(`#sessions [data-session="${name}"]`);
    const signature = elsewhere.sign(area);
    await reads(line("signing"), "another page");
    await until(async () => (await seen(box("pad").locator("canvas"))).colours > 100, "the window's own picture");
    await press("pad", "Write a sample");
    await press("pad", "确定");
    assert.equal((await signature).type, "image/png");
    await until(() => line("signing").isHidden(), "the session's end");
    const ended = assert.rejects(elsewhere.sign(area), { code: "closed" });
    await line("signing").getByRole("button").click();
    await until(() => line("signing").isHidden(), "the session ended here");
    const picture = elsewhere.takePicture().catch(({ reason }) => assert.equal(reason, "no-picture"));
    await reads(line("capture"), "another page");
    await line("capture").getByRole("button").click();
    await picture; // an earlier one may still lie there
    await until(() => line("capture").isHidden(), "the window's end");
    elsewhere.close();
    await ended;
});

test("the service is killed, started and stopped from the page, which says so, and what it prints", async () => {
    for (const [way, end] of [["Kill", "Ended last as asked, by signal 9"], ["Stop", "Ended last as asked, with code 0"]]) {
        await press("service", way);
        await reads(box("service"), end);
        await until(() => button("service", "Stop").isDisabled(), "nothing to stop");
        await press("service", "Start");
        await hasState(page, "open");
        await until(async () => (await box("service").locator(".state").textContent())
            .startsWith(`Running, process ${terminal.state.service.processId}`), "the new process");
    }
    await runCommand(page, "ZCReadIDCard");
    await reads(box("service").locator("pre"), "\n");
});

test("the link of a scenario sets the fault, sends the command, and says what a page should do", async () => {
    const usb = () => terminal.state.devices.usbReader;
    const scenarios = { // the panel with the result, what it reads, and the desk afterwards
        "no-card": ["cards", "431004", () => !usb().card],
        "sim-missing": ["sim", "设备上电失败", () => !terminal.state.devices.simReader.iccid],
        "card-pulled-in-the-middle": ["cards", "431004", () => usb().fault?.fault === "slow" && !usb().card],
        "camera-busy": ["camera", "There is no camera", () => terminal.state.devices.documentCamera.fault],
        "pad-unplugged-while-signing": ["pad", "No signature pad is attached", () => terminal.state.windows[0]],
        "service-restarted": ["pad", "ZCBeginSignAB", () => terminal.state.service.lastExit?.signal],
    };
    for (const [name, [panel, text, isSo]] of Object.entries(scenarios)) {
        await page.locator(`a[href="#scenario=${name}"]`).click();
        await until(isSo, name);
        await reads(page.locator(`[data-device="${panel}"] .result`), text);
    }
    await hasState(page, "open");
    await press("scenarios", "Set the desk right");
    await until(() => Object.values(terminal.state.devices).every(({ plugged, fault, card, iccid }) =>
        plugged && !fault && card !== null && iccid !== null), "the desk set right");
});

test("on a desktop of one monitor the signing window lies in its corner, unless the user has set another place", async () => {
    const other = await openConsole(browser, { screen: { width: 1920, height: 1080 } });
    await reads(other.locator("#virtual .hint").first(), "Connected");
    const place = async () => {
        await runCommand(other, "ZCBeginSignAB", "is running");
        const { x, y } = (await until(() => terminal.state.windows[0], "the window")).place;
        await other.locator('[data-session="signing"] button').click();
        await until(() => !terminal.state.windows[0], "the window's end");
        return [x, y];
    };
    assert.deepEqual(await place(), [1920 - 800, 1080 - 500]);
    await runCommand(other, "ZCSetSignScreenPosSizeAB");
    assert.deepEqual(await place(), [640 + 240, 280 + 150]);
    await other.context().close();
});

for (const [name, options] of Object.entries({
    "wide": {},
    "narrow": { viewport: { width: 360, height: 640 } },
})) {
    test(`${name}: nothing is cut off, every text is told from its ground`, async () => {
        const other = await openConsole(browser, { ...options, screen: undefined });
        await (await runCommand(other, "ZCReadIDCard", "ZCReadIDCard")).locator("img").waitFor();
        await (await runCommand(other, "ZCSIMCard", "ZCSIMCard")).locator("output").waitFor();
        await other.evaluate(() => document.querySelectorAll("#virtual details").forEach((details) => { details.open = true; }));
        for (const colorScheme of ["light", "light", "dark", "dark"]) {
            await other.locator("#language").click();
            await other.emulateMedia({ colorScheme });
            await assertReadable(other);
        }
        await keepScreenshot(other, `desk-${name}`);
        if (name === "narrow") {
            for (const [key, tab] of [["Home", "commands"], ["ArrowLeft", "log"], ["ArrowRight", "commands"], ["End", "log"]]) {
                await other.keyboard.press(key);
                assert.equal(await other.locator("main > section:visible").getAttribute("id"), tab);
            }
        }
        await other.context().close();
    });
}

test("a virtual terminal that ends leaves the page's desk, and one that is started comes back to it", async () => {
    await terminal.stop();
    await reads(page.locator("#virtual .hint").first(), "No virtual terminal runs on this machine.");
    assert.equal(await page.locator("#virtual .desk").isVisible(), false);
    terminal = await startTerminal();
    await reads(page.locator("#virtual .hint").first(), "Connected to");
});
