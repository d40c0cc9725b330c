// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The console page in a browser, on a desk with every device: what each command shows, and the desk played from
// the page alone.

import assert from "node:assert/strict";
import { after, afterEach, before, beforeEach, describe, test } from "node:test";
import { setTimeout as pause } from "node:timers/promises";

import { assertReadable, connectedConsole, keepScreenshot, reads, runCommand, startBrowser } from "./support/browser.js";
import { signingTitle, until, windowWithTitle } from "./support/service.js";
import { operateCaptureWindow, startTerminal } from "./support/terminal.js";

const signingWindow = () => windowWithTitle(signingTitle);

let terminal;
let browser;
let page;
before(async () => {
    terminal = await startTerminal();
    browser = await startBrowser();
});
after(async () => {
    await browser.close();
    await terminal.stop();
});
beforeEach(async () => {
    page = await connectedConsole(browser);
    await reads(page.locator("#virtual .hint").first(), "Connected to");
});
afterEach(async () => {
    assert.deepEqual(page.complaints, []);
    await page.context().close();
});

const box = (device) => page.locator(`[data-virtual="${device}"]`);
const press = (device, name) => box(device).getByRole("button", { name, exact: true }).click();

/** What an image really shows: its size, and how many colours there are on a grid of places. */
async function seen(image) {
    await image.waitFor();
    return image.evaluate(async (element) => {
        await element.decode();
        const { naturalWidth: width, naturalHeight: height } = element;
        const canvas = Object.assign(document.createElement("canvas"), { width, height });
        const context = canvas.getContext("2d");
        context.drawImage(element, 0, 0);
        const { data } = context.getImageData(0, 0, width, height);
        const colours = new Set();
        let inked = 0;
        for (let at = 0; at < data.length; at += 4) {
            colours.add(data.slice(at, at + 3).join());
            inked += data[at + 3] > 128 && data[at] + data[at + 1] + data[at + 2] < 300 ? 1 : 0;
        }
        return { size: [width, height], colours: colours.size, inked };
    });
}

/** Draws with the mouse on the pad's display, through these places of it. */
async function draw(...places) {
    const canvas = box("pad").locator("canvas");
    await canvas.scrollIntoViewIfNeeded();
    const { x, y, width, height } = await canvas.boundingBox();
    const onScreen = ([across, down]) => [x + across / 1280 * width, y + down / 800 * height];
    await page.mouse.move(...onScreen(places[0]));
    await page.mouse.down();
    for (const place of places.slice(1))
        await page.mouse.move(...onScreen(place), { steps: 12 });
    await page.mouse.up();
}

describe("signature", () => {
    const okButton = [930, 620]; // of the signing window where the page's first values put it

    test("is drawn with the mouse and seen in the page", async () => {
        await reads(await runCommand(page, "ZCDeviceExist"), "A signature pad is attached");
        await reads(await runCommand(page, "ZCStartDeviceAB"), "ZCStartDeviceAB succeeded");
        const result = await runCommand(page, "ZCBeginSignAB");
        await until(signingWindow, "the signing window");
        await draw([350, 300], [600, 250], [450, 500], [800, 350]);
        await draw([700, 250], [850, 500]);
        await keepScreenshot(page, "desk-signing");
        await draw(okButton);
        await reads(result, "ZCBeginSignAB succeeded");
        const { size, inked } = await seen(result.locator("img"));
        assert.ok(size[0] > 700 && size[1] > 300, `${size}`);
        assert.ok(inked > 2000, `${inked} pixels of ink`);
        await runCommand(page, "ZCStopDeviceAB");
    });

    test("is written and confirmed with the keyboard alone", async () => {
        await runCommand(page, "ZCStartDeviceAB");
        const result = await runCommand(page, "ZCBeginSignAB");
        await until(signingWindow, "the signing window");
        for (const name of ["Write a sample", "重签", "Write a sample", "确定"]) {
            await box("pad").getByRole("button", { name, exact: true }).focus();
            await page.keyboard.press("Enter");
        }
        await reads(result, "ZCBeginSignAB succeeded");
        assert.ok((await seen(result.locator("img"))).inked > 2000);
    });

    test("of a pad that is pulled out and plugged in again goes on", async () => {
        await runCommand(page, "ZCStartDeviceAB");
        const result = await runCommand(page, "ZCBeginSignAB");
        await until(signingWindow, "the signing window");
        await press("pad", "Unplug");
        await reads(box("pad").locator(".state"), "Unplugged");
        await press("pad", "Write a sample");
        await reads(box("pad").locator(".complaint").last(), "not plugged in");
        await reads(await runCommand(page, "ZCDeviceExist"), "No signature pad is attached");
        await keepScreenshot(page, "desk-pad-unplugged");
        await press("pad", "Plug in");
        await reads(await runCommand(page, "ZCStartDeviceAB"), "ZCStartDeviceAB succeeded");
        await press("pad", "Write a sample");
        await press("pad", "确定");
        await reads(result, "ZCBeginSignAB succeeded");
    });

    test("is lost, and said to be, while nobody reads the pad", async () => {
        await reads(await runCommand(page, "ZCStopDeviceAB"), "ZCStopDeviceAB succeeded");
        const complaint = page.getByText("No program reads the pad");
        // The terminal notices within a moment whether the pad is read.
        const writesUntil = (isComplaint) => until(async () => {
            await press("pad", "Write a sample");
            await pause(300);
            return await complaint.isVisible() === isComplaint;
        }, `the complaint ${isComplaint ? "to come" : "to go"}`);
        await writesUntil(true);
        await reads(await runCommand(page, "ZCStartDeviceAB"), "ZCStartDeviceAB succeeded");
        await writesUntil(false);
        await runCommand(page, "ZCStopDeviceAB");
    });

    test("is broken off by a reload, and the next one begins", async () => {
        await runCommand(page, "ZCBeginSignAB");
        await until(signingWindow, "the signing window");
        await page.reload();
        await until(() => !signingWindow(), "the window's end");
        await runCommand(page, "ZCStartDeviceAB");
        const result = await runCommand(page, "ZCBeginSignAB");
        await until(signingWindow, "the signing window");
        await press("pad", "取消");
        await reads(result, "The signer cancelled.");
    });
});

describe("identity cards", () => {
    for (const [device, command] of [["usbReader", "ZCReadIDCard"], ["hidReader", "ZCReadHIDIDCard"]]) {
        test(`on the ${device} are laid down, changed, read and taken away`, async () => {
            const reader = box(device);
            await reader.locator('select[name="type"]').selectOption("residencePermit");
            await press(device, "Lay down");
            await reads(reader.locator(".holds"), "Residence permit");
            await reader.getByText("What the card says").click();
            await reader.locator('input[name="name"]').fill("陈大文");
            await reader.locator('select[name="portrait"]').selectOption("2");
            await press(device, "Change the card");
            await until(() => terminal.state.devices[device].card.name === "陈大文", "the changed card");
            const result = await runCommand(page, command);
            await reads(result.locator("table"), "Name陈大文");
            const { size, colours } = await seen(result.locator("img"));
            assert.deepEqual(size, [102, 126]);
            assert.ok(colours > 50, `a face of ${colours} colours`);
            await reader.locator('input[name="name"]').fill("名".repeat(100));
            await press(device, "Change the card");
            await reads(reader.locator(".complaint"), "has room for");
            await press(device, "Take the card away");
            await reads(await runCommand(page, command), "No card lies on the reader, or it could not be read.");
            await press(device, "Lay down");
        });
    }

    test("show a photo that was chosen from a file", async () => {
        const reader = box("usbReader");
        await reader.getByText("What the card says").click();
        const picture = await page.locator("h1").screenshot();
        await reader.locator('input[type="file"]').setInputFiles({ name: "a.png", mimeType: "image/png", buffer: picture });
        await press("usbReader", "Change the card");
        await reads(await runCommand(page, "ZCReadIDCard"), "succeeded");
    });

    test("are read by either module, and not while a fault lasts", async () => {
        // Only the newer module is asked for its number in a way that it understands.
        const numbers = { "0501": "libusb_bulk_transfer read failed", "0503": "0503000133A1B2C3D4E5F60708090A0B" };
        for (const [module, number] of Object.entries(numbers)) {
            await box("usbReader").locator('select[name="module"]').selectOption(module);
            await press("usbReader", "Exchange");
            await until(() => terminal.state.devices.usbReader.module === module, "the module");
            await reads(await runCommand(page, "ZCReadIDCard"), "ZCReadIDCard succeeded");
            await reads(await runCommand(page, "ZCGetSAMNum"), number);
        }
        await box("hidReader").getByText("Faults").click();
        await box("hidReader").getByLabel("Fault").selectOption("result");
        await box("hidReader").locator('[name="of"]').selectOption("selectCard");
        await press("hidReader", "Break");
        await reads(box("hidReader").locator(".fault"), "A command fails with a result selectCard 1");
        await reads(await runCommand(page, "ZCReadHIDIDCard"), "-2 选卡失败");
        await press("hidReader", "Repair");
        await reads(await runCommand(page, "ZCReadHIDIDCard"), "succeeded");
        await reads(await runCommand(page, "ZCReadHIDOpen"), "ZCReadHIDOpen succeeded");
    });

    test("leave their transfers in the log", async () => {
        await reads(await runCommand(page, "ZCGetSAMNum"), "succeeded");
        await box("transfers").locator("select").selectOption("usbReader");
        await press("transfers", "Show and forget");
        await until(async () => (await box("transfers").locator("pre").textContent()).split("\n").length > 3, "lines");
        await press("transfers", "Show");
        await reads(box("transfers").locator("pre"), "(empty)");
    });
});

test("a SIM card is put in, read, and pulled", async () => {
    await box("simReader").locator('input[type="text"]').fill("89860198765432109875");
    await press("simReader", "Insert the SIM");
    await reads(box("simReader").locator(".holds"), "SIM 89860198765432109875");
    await reads((await runCommand(page, "ZCSIMCard")).locator("output"), "89860198765432109875");
    await press("simReader", "Pull the SIM");
    await reads(await runCommand(page, "ZCSIMCard"), "No SIM card is in the reader, or it does not start.");
    await press("simReader", "Insert the SIM");
});

test("the camera's picture is what it looks at", async () => {
    await box("documentCamera").locator('select[name="scene"]').selectOption("testCard");
    await press("documentCamera", "Show");
    await reads(box("documentCamera").locator(".holds"), "Test card");
    const picture = await page.locator("header").screenshot();
    await box("documentCamera").locator('input[type="file"]')
        .setInputFiles({ name: "a.png", mimeType: "image/png", buffer: picture });
    await reads(box("documentCamera").locator(".holds"), "A picture file");
    const result = await runCommand(page, "ZCCameraPic");
    await operateCaptureWindow();
    await reads(result, "ZCCameraPic succeeded");
    const { size, colours } = await seen(result.locator("img"));
    assert.deepEqual(size, [640, 480]);
    assert.ok(colours > 20, `a picture of ${colours} colours`);
});

test("the service is killed, started and stopped from the page, which says so", async () => {
    await press("service", "Kill");
    await reads(box("service"), "Ended last as asked, by signal 9");
    await reads(page.locator("#state"), "trying again in");
    await press("service", "Start");
    await until(async () => await page.locator("#state").getAttribute("data-state") === "open", "the connection");
    await reads(await runCommand(page, "ZCReadIDCard"), "ZCReadIDCard succeeded");
    await press("service", "Stop");
    await reads(box("service"), "Ended last as asked, with code 0");
    await press("service", "Start");
    await until(async () => await page.locator("#state").getAttribute("data-state") === "open", "the connection");
});

describe("appearance", () => {
    before(() => terminal.play("putCard", { device: "usbReader", card: {} }));

    const views = {
        "light-en": {},
        "dark-zh": { colorScheme: "dark", locale: "zh-CN" },
        "zoom-200": { viewport: { width: 640, height: 450 }, deviceScaleFactor: 2 },
        "narrow": { viewport: { width: 360, height: 640 }, locale: "zh-CN", colorScheme: "dark" },
    };
    for (const [name, options] of Object.entries(views)) {
        test(`${name}: nothing is cut off, every text is told from its ground`, async () => {
            const other = await connectedConsole(browser, options);
            await box("pad").waitFor();
            await (await runCommand(other, "ZCReadIDCard")).locator("img").waitFor();
            await (await runCommand(other, "ZCSIMCard")).locator("output").waitFor();
            await other.evaluate(() => {
                for (const details of document.querySelectorAll("#virtual details"))
                    details.open = true;
            });
            await keepScreenshot(other, `desk-${name}`);
            await assertReadable(other);
            await other.context().close();
        });
    }

    // docs/console.png is a copy of this picture.
    test("the page at work", async () => {
        await page.setViewportSize({ width: 1280, height: 830 });
        await runCommand(page, "ZCStartDeviceAB");
        const result = await runCommand(page, "ZCBeginSignAB");
        await until(signingWindow, "the signing window");
        await press("pad", "Write a sample");
        await press("pad", "确定");
        await result.locator("img").waitFor();
        await (await runCommand(page, "ZCReadIDCard")).locator("img").waitFor();
        await (await runCommand(page, "ZCSIMCard")).locator("output").waitFor();
        await page.evaluate(() => scrollTo(0, 0));
        await page.mouse.move(0, 0);
        await keepScreenshot(page, "console", { fullPage: false });
    });
});
