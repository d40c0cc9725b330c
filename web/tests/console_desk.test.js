// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The console page on a desk with every device: what each command shows, and the desk played from the page alone.

import assert from "node:assert/strict";
import { after, afterEach, beforeEach, test } from "node:test";

import { assertReadable, hasState, keepScreenshot, openConsole, reads, runCommand, startBrowser } from "./support/browser.js";
import { operateCaptureWindow, signingWindow, startTerminal, until } from "./support/desk.js";

let terminal = await startTerminal();
const browser = await startBrowser();
after(() => terminal.stop());
let page;
beforeEach(async () => {
    page = await openConsole(browser);
    await reads(page.locator("#virtual .hint").first(), "Connected to ws://localhost:12345/");
});
afterEach(async () => {
    assert.deepEqual(page.complaints, []);
    await page.context().close();
});

const box = (device) => page.locator(`[data-virtual="${device}"]`);
const button = (device, name) => box(device).getByRole("button", { name, exact: true });
const press = (device, ...names) => names.reduce((before, name) => before.then(() => button(device, name).click()), Promise.resolve());
const choose = (device, name, value) => box(device).locator(`select[name="${name}"]`).selectOption(value);
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

/** Begins a session; `write` makes ink until the window takes it. */
async function beginSigning(write) {
    const screen = async () => (await terminal.play("screenshot", { display: "pad" })).png;
    await runCommand(page, "ZCStartDeviceAB");
    const result = await runCommand(page, "ZCBeginSignAB", "ZCBeginSignAB is running");
    await until(signingWindow, "the signing window");
    const blank = await screen();
    await until(async () => await write() || await screen() !== blank, "the ink"); // what comes too early is nobody's
    return result;
}

/** The session ends in a picture with ink, and the drawing has no window any more. */
async function givesSignature(result) {
    await reads(result, "ZCBeginSignAB succeeded");
    const { size, inked } = await seen(result.locator("img"));
    assert.ok(size[0] > 700 && size[1] > 300 && inked > 2000, `${inked} of ${size}`);
    assert.equal(await button("pad", "确定").isDisabled(), true);
    await runCommand(page, "ZCStopDeviceAB");
}

/** Draws with the mouse on the pad's display, through these places of it. */
async function draw(...places) {
    const canvas = box("pad").locator("canvas");
    await canvas.scrollIntoViewIfNeeded();
    const { x, y, width, height } = await canvas.boundingBox();
    const move = ([across, down], steps) => page.mouse.move(x + across / 1280 * width, y + down / 800 * height, { steps });
    await move(places[0], 1);
    await page.mouse.down();
    for (const place of places.slice(1))
        await move(place, 12);
    await page.mouse.up();
}

test("a signature is drawn with the mouse and seen in the page, on the pad too", async () => {
    const canvas = box("pad").locator("canvas");
    await runCommand(page, "ZCDeviceExist", "A signature pad is attached");
    const result = await beginSigning(() => draw([350, 300], [600, 250], [450, 500], [800, 350]));
    const { inked } = await seen(canvas);
    await draw([640, 620]); // 重签
    assert.ok((await seen(canvas)).inked < inked - 1000, "the drawing is wiped");
    await draw([350, 300], [600, 250], [450, 500], [800, 350]);
    await draw([700, 250], [850, 500]);
    await keepScreenshot(page, "desk-signing");
    await draw([930, 620]); // 确定
    await givesSignature(result);
});

test("a signature is written and confirmed with the keyboard alone", async () => {
    const enter = (name) => button("pad", name).press("Enter");
    const result = await beginSigning(() => enter("Write a sample"));
    for (const name of ["重签", "Write a sample", "确定"])
        await enter(name);
    await givesSignature(result);
});

test("a signature goes on after its pad was pulled out and plugged in again, or its page was left", async () => {
    const result = await beginSigning(() => press("pad", "Write a sample"));
    await press("pad", "Unplug");
    await reads(box("pad").locator(".state"), "Unplugged");
    await press("pad", "Write a sample");
    await reads(box("pad").locator(".complaint").last(), "not plugged in");
    await runCommand(page, "ZCDeviceExist", "No signature pad is attached");
    await keepScreenshot(page, "desk-pad-unplugged");
    await press("pad", "Plug in");
    await reads(box("pad").locator(".complaint").last(), "");
    await runCommand(page, "ZCStartDeviceAB");
    await press("pad", "Write a sample", "确定");
    await givesSignature(result);
    await beginSigning(() => press("pad", "Write a sample"));
    await page.reload();
    await until(() => !signingWindow(), "the window's end");
    const next = await beginSigning(() => press("pad", "Write a sample"));
    await press("pad", "取消");
    await reads(next, "The signer cancelled.");
});

test("writing is lost, and said to be, while nobody reads the pad", async () => {
    for (const [command, isLost] of [["ZCStopDeviceAB", true], ["ZCStartDeviceAB", false], ["ZCStopDeviceAB", true]]) {
        await runCommand(page, command);
        await until(async () => { // the terminal notices within a moment
            await press("pad", "Write a sample");
            return await page.getByText("No program reads the pad").isVisible() === isLost;
        }, `lost: ${isLost}`);
    }
    const canvas = box("pad").locator("canvas");
    assert.ok((await seen(canvas)).inked > 1000);
    await press("pad", "Wipe this picture");
    assert.equal((await seen(canvas)).inked, 0);
});

for (const [device, command] of [["usbReader", "ZCReadIDCard"], ["hidReader", "ZCReadHIDIDCard"]]) {
    test(`an identity card on the ${device} is laid down, changed, read and taken away`, async () => {
        const reader = box(device);
        const field = (name) => reader.locator(`input[name="${name}"]`);
        const typed = async (name, text) => {
            await field(name).fill(text);
            await press(device, "Change the card");
        };
        await choose(device, "type", "residencePermit");
        await press(device, "Lay down");
        await reads(reader.locator(".holds"), "Residence permit");
        await reader.getByText("What the card says").click();
        await field("address").fill("typed, not sent yet");
        await terminal.play("changeCard", { device, card: { gender: "女", name: "陈小文" } });
        await until(async () => await field("name").inputValue() === "陈小文", "the change from elsewhere");
        assert.equal(await field("address").inputValue(), "typed, not sent yet");
        await choose(device, "portrait", "2");
        await reader.locator('input[type="checkbox"]').setChecked(!terminal.state.devices[device].card.fingerprints);
        const { fingerprints } = terminal.state.devices[device].card;
        await typed("name", "陈大文");
        await until(() => terminal.state.devices[device].card.name === "陈大文", "the changed card");
        assert.equal(terminal.state.devices[device].card.fingerprints, !fingerprints);
        const result = await runCommand(page, command);
        assert.match(await result.locator("table").textContent(), /^Name陈大文.*Addresstyped, not sent yet/);
        const { size, colours } = await seen(result.locator("img"));
        assert.deepEqual(size, [102, 126]);
        assert.ok(colours > 50, `a face of ${colours} colours`);
        const face = await result.locator("img").getAttribute("src");
        await reader.locator('input[type="file"]').setInputFiles(await pictureFile());
        await typed("name", "陈大");
        await until(async () => await (await runCommand(page, command)).locator("img").getAttribute("src") !== face, "the photo");
        await typed("name", "名".repeat(100));
        await reads(reader.locator(".complaint"), "has room for");
        await press(device, "Take the card away");
        await reads(reader.locator(".holds"), "No card");
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
        await runCommand(page, "ZCReadIDCard");
        await runCommand(page, "ZCGetSAMNum", number);
    }
    await box("hidReader").getByText("Faults").click();
    await box("hidReader").getByLabel("Fault").selectOption("result");
    await choose("hidReader", "of", "selectCard");
    await press("hidReader", "Break");
    await reads(box("hidReader").locator(".fault"), "A command fails with a result selectCard 1");
    await runCommand(page, "ZCReadHIDIDCard", "-2 选卡失败");
    await press("hidReader", "Repair");
    await until(async () => !await box("hidReader").locator(".fault").isVisible(), "the fault's end");
    await runCommand(page, "ZCReadHIDIDCard");
    await box("transfers").locator("select").selectOption("hidReader");
    const lines = box("transfers").locator("pre");
    const count = async () => (await lines.textContent()).split("\n").length;
    for (const name of ["Show", "Show and forget"]) {
        await press("transfers", name);
        await until(async () => await count() > 3, "lines");
    }
    await press("transfers", "Show");
    await reads(lines, "(empty)");
});

test("a SIM card is put in, read, and pulled", async () => {
    await box("simReader").locator('input[type="text"]').fill("89860198765432109875");
    await press("simReader", "Insert the SIM");
    await reads(box("simReader").locator(".holds"), "SIM 89860198765432109875");
    const result = await runCommand(page, "ZCSIMCard");
    assert.equal(await result.locator("output").textContent(), "89860198765432109875");
    await press("simReader", "Pull the SIM");
    await until(() => button("simReader", "Pull the SIM").isDisabled(), "the empty reader");
    await runCommand(page, "ZCSIMCard", "No SIM card is in the reader, or it does not start.");
    await press("simReader", "Insert the SIM");
});

test("the camera's picture is what it looks at, of a file no larger than the port takes", async () => {
    const camera = box("documentCamera");
    await choose("documentCamera", "scene", "portrait");
    await press("documentCamera", "Show");
    await reads(camera.locator(".holds"), "Portrait");
    await camera.locator('input[type="file"]').setInputFiles({ ...await pictureFile(), buffer: Buffer.alloc(7 << 20) });
    await reads(camera.locator(".complaint"), "The file is too large.");
    await camera.locator('input[type="file"]').setInputFiles(await pictureFile());
    await reads(camera.locator(".holds"), "A picture file");
    await reads(camera.locator(".complaint"), "");
    const asked = runCommand(page, "ZCCameraPic");
    await operateCaptureWindow();
    const { size, colours } = await seen((await asked).locator("img"));
    assert.deepEqual(size, [640, 480]);
    assert.ok(colours > 20, `a picture of ${colours} colours`);
});

test("the service is killed, started and stopped from the page, which says so, and what it prints", async () => {
    const ways = { Kill: "Ended last as asked, by signal 9", Stop: "Ended last as asked, with code 0" };
    for (const [way, end] of Object.entries(ways)) {
        await press("service", way);
        await reads(box("service"), end);
        await until(async () => await button("service", "Stop").isDisabled() && await button("service", "Start").isEnabled(), "the end");
        await reads(page.locator("#state"), "trying again in");
        await press("service", "Start");
        await hasState(page, "open");
        await reads(box("service").locator(".state"), "Running, process");
    }
    await runCommand(page, "ZCReadIDCard");
    await until(async () => (await box("service").locator("pre").textContent()).includes("\n"), "what it prints");
});

const views = {
    "light-en": {},
    "dark-zh": { colorScheme: "dark", locale: "zh-CN" },
    "zoom-200": { viewport: { width: 640, height: 450 }, deviceScaleFactor: 2 },
    "narrow": { viewport: { width: 360, height: 640 }, locale: "zh-CN", colorScheme: "dark" },
};
for (const [name, options] of Object.entries(views)) {
    test(`${name}: nothing is cut off, every text is told from its ground`, async () => {
        const other = await openConsole(browser, options);
        await other.locator('[data-virtual="pad"]').waitFor();
        await (await runCommand(other, "ZCReadIDCard", "ZCReadIDCard")).locator("img").waitFor();
        await (await runCommand(other, "ZCSIMCard", "ZCSIMCard")).locator("output").waitFor();
        await other.evaluate(() => document.querySelectorAll("#virtual details").forEach((details) => { details.open = true; }));
        await keepScreenshot(other, `desk-${name}`);
        await assertReadable(other);
        await other.context().close();
    });
}

// docs/console.png is a copy of this picture.
test("the page at work", async () => {
    await page.setViewportSize({ width: 1280, height: 830 });
    const result = await beginSigning(() => press("pad", "Write a sample"));
    await press("pad", "确定");
    await result.locator("img").waitFor();
    await (await runCommand(page, "ZCReadIDCard")).locator("img").waitFor();
    await (await runCommand(page, "ZCSIMCard")).locator("output").waitFor();
    await page.evaluate(() => scrollTo(0, 0));
    await page.mouse.move(0, 0);
    await keepScreenshot(page, "console", { fullPage: false });
});

test("a virtual terminal that ends leaves the page's desk, and one that is started comes back to it", async () => {
    await terminal.stop();
    await reads(page.locator("#virtual .hint").first(), "No virtual terminal runs on this machine.");
    assert.equal(await page.locator("#virtual .desk").isVisible(), false);
    terminal = await startTerminal();
    await reads(page.locator("#virtual .hint").first(), "Connected to");
});
