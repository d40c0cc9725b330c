// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The example page, from disk, on a desk with every device: a clerk opens an account.

import assert from "node:assert/strict";
import { after, test } from "node:test";

import { assertReadable, keepScreenshot, openConsole, reads, startBrowser } from "./support/browser.js";
import { startTerminal } from "./support/desk.js";

const url = new URL("../examples/open-account/index.html", import.meta.url).href;
const terminal = await startTerminal();
const browser = await startBrowser();
after(() => terminal.stop());

test("a clerk opens an account, with what can go wrong", async () => {
    const [page, other] = [await openConsole(browser, { url, state: "" }), await openConsole(browser, { url, state: "" })];
    const press = (step, button = ".run") => page.locator(`#${step} ${button}`).click();
    const says = (step, text) => reads(page.locator(`#${step} .message`), text);
    const isDone = (step) => page.locator(`#${step}.done img, #${step}.done output`).waitFor();
    const open = page.locator("#open");
    await reads(page.locator("#connection"), "Terminal connected");

    await terminal.takeCard("usbReader");
    await press("card");
    await says("card", "Waiting for a card…");
    await press("card", ".stop");
    await says("card", "");
    await press("card");
    await terminal.putCard("usbReader", { name: "李晓明", expireDate: "20010101" });
    await says("card", "This card has expired");
    await terminal.changeCard("usbReader", { expireDate: "20991231" });
    await press("card");
    await isDone("card");
    await reads(page.locator("#card-expiry"), "2099-12-31");

    await terminal.pullSim();
    await press("sim");
    await says("sim", "There is no SIM card in the reader");
    await terminal.insertSim("89860198765432109875");
    await press("sim");
    await reads(page.locator("#sim-number"), "89860198765432109875");

    await other.locator("#signature .run").click();
    await terminal.waitForWindow("signing");
    await press("signature");
    await says("signature", "A signature is open on the pad");
    await page.locator("#sign-anyway").click();
    await says("signature", "The customer is signing…");
    await other.close();
    await press("signature", ".stop");
    await terminal.waitFor(({ windows }) => windows.length === 0);
    await press("signature");
    await terminal.sign();
    await terminal.press("确定");
    await isDone("signature");

    await press("document");
    await terminal.takePicture();
    await isDone("document");
    assert.ok(await open.isDisabled(), "the clerk has not looked at the picture yet");
    await page.locator("#document-checked").check();
    await open.click();
    await reads(page.locator("#finished"), "The account of 李晓明 is open, with the SIM card 89860198765432109875.");

    for (const [name, width, colorScheme] of [["wide", 1280, "light"], ["dark", 1280, "dark"], ["narrow", 390, "light"]]) {
        await page.setViewportSize({ width, height: 900 });
        await page.emulateMedia({ colorScheme });
        await keepScreenshot(page, `open-account-${name}`);
        await assertReadable(page);
    }
    await page.locator("#next").click();
    assert.equal(await page.getByText("李晓明").count() + await page.locator(".result:visible, [src^=data\\:image]").count(), 0);
    await terminal.unplug("pad");
    await press("signature");
    await says("signature", "The signature pad is not plugged in.");
    await terminal.stopService();
    await reads(page.locator("#connection-help"), "The connection to the terminal's service was lost");
    await reads(page.locator("#connection-help"), "The terminal's service does not answer");
});
