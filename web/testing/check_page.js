// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Takes a page through the scenarios in a browser, on a virtual terminal.

import { accessSync, constants, existsSync } from "node:fs";
import { delimiter, join, resolve } from "node:path";
import { setTimeout as pause } from "node:timers/promises";
import { pathToFileURL } from "node:url";

import { actions, cancelButton, scenarios } from "./scenarios.js";

const browserNames = ["chromium", "google-chrome", "google-chrome-stable", "chromium-browser", "microsoft-edge"];
const defaultPatience = 15; // seconds
const lookInterval = 100; // milliseconds
const clickInterval = 3000; // until somebody clicks again
const settleTime = 500; // without a change of the texts
const findTime = 2000; // for a page's own script to make its buttons
const padRest = 1500; // the service reads a started pad several times in this time

function findBrowser() {
    for (const folder of (process.env.PATH ?? "").split(delimiter)) {
        for (const name of browserNames) {
            try {
                accessSync(join(folder, name), constants.X_OK);
                return join(folder, name);
            } catch {
                // The next one.
            }
        }
    }
    throw new Error("No browser was found: install Chromium or Chrome, or name the program with the option browser.");
}

async function launchBrowser(executablePath) {
    let playwright;
    try {
        playwright = await import("playwright-core");
    } catch {
        throw new Error("The check needs the npm package playwright-core.");
    }
    // Chromium's own sandbox refuses root.
    return playwright.chromium.launch({ executablePath, args: process.getuid?.() === 0 ? ["--no-sandbox"] : [] });
}

/** In the page: the visible lines, the values of fields, and the sizes of pictures. */
function visibleLines(selector) {
    const isVisible = (element) => element.getClientRects().length > 0 && element.checkVisibility?.() !== false;
    return [...document.querySelectorAll(selector)].filter(isVisible).flatMap((root) => [
        ...root.innerText.split("\n"),
        ...[...root.querySelectorAll("input, textarea")].filter(isVisible).map(({ value }) => value),
        ...[...root.querySelectorAll("img")].filter((image) => isVisible(image) && image.naturalWidth > 0)
            .map(({ naturalWidth, naturalHeight }) => `[picture ${naturalWidth} x ${naturalHeight}]`),
    ]).map((line) => line.trim()).filter(Boolean);
}

/** One action or one scenario, on a page of its own. */
class Run {
    shown = [];
    findings = [];
    known;

    #success;
    #isCancelled = false;
    #terminal;
    #options;
    #page;
    #action;

    /** @param rehearsal of the action */
    constructor(action, rehearsal, terminal, options) {
        this.#action = action;
        this.known = new Set(rehearsal?.known); // lines that say nothing about a failure
        this.#success = rehearsal?.shown;
        this.#terminal = terminal;
        this.#options = options;
    }

    get #patience() { return this.#options.patience * 1000; }

    /** What the page shows when nothing disturbs it is known afterwards. Resolves with whether the page can do it. */
    async rehearse(browser, url) {
        let succeeds = false;
        await this.#onPage(browser, url, this.#action, async () => {
            succeeds = await this.#succeed();
            await this.#until(() => this.#showsSomething(), "it showed nothing");
        });
        return succeeds;
    }

    async play(browser, url, scenario) {
        await this.#onPage(browser, url, scenario, async () => {
            await this.#tryIt(scenario.disturb);
            const isEnough = scenario.isSilent || this.#isCancelled || await this.#isTrueInTime(() => this.#showsSomething());
            await scenario.amend?.(this.#terminal);
            if (!isEnough)
                await this.#until(() => this.#showsSuccess(), "it showed nothing");
            await this.#waitForNoWindow("its window stays open");
            if (scenario.again && this.findings.length === 0 && !await this.#succeed())
                this.findings.push("afterwards the page cannot do it again");
        });
    }

    async #onPage(browser, url, { prepare, inPage }, play) {
        await this.#terminal.reset();
        await prepare?.(this.#terminal);
        const context = await browser.newContext();
        context.setDefaultTimeout(this.#patience);
        try {
            if (inPage)
                await context.addInitScript(inPage);
            this.#page = await context.newPage();
            this.#page.on("dialog", async (dialog) => {
                this.shown.push(dialog.message());
                await dialog.accept().catch(() => {});
            });
            this.#page.on("pageerror", ({ message }) => this.findings.push(`a script failed: ${message}`));
            await this.#page.goto(url);
            if (!inPage)
                await this.#untilAtRest((line) => this.known.add(line));
            await play();
            await this.#page.close({ runBeforeUnload: true });
            await this.#until(() => this.#page.isClosed(), "it does not close");
        } catch (error) {
            this.findings.push(error.message.split("\n")[0]);
        } finally {
            await context.close();
        }
        await this.#waitForNoWindow("the page is gone, and its window stays open");
        await this.#until(() => this.#padRests(), "the page is gone, and the pad is still read");
    }

    async #begin() {
        const selector = this.#options[this.#action.option];
        await (selector === "" ? this.#page.reload() : startButton(this.#page, this.#action, this.#options).click());
    }

    async #lines() {
        return this.#page.evaluate(visibleLines, this.#options.message ?? "body").catch(() => []); // while it loads
    }

    /** Looks at the lines until they have not changed for a while. */
    async #untilAtRest(take) {
        let last = "";
        let since = Date.now();
        for (const end = Date.now() + this.#patience; Date.now() < end && Date.now() - since < settleTime;) {
            const lines = await this.#lines();
            if (lines.join("\n") !== last)
                since = Date.now();
            last = lines.join("\n");
            lines.forEach(take);
            await pause(lookInterval);
        }
    }

    /** Collects the lines that are not known. */
    async #showsSomething() {
        await this.#untilAtRest((line) => {
            if (!this.known.has(line))
                this.shown.push(line);
            this.known.add(line);
        });
        return this.shown.length > 0;
    }

    /** Whether the page, which has waited, has gone on by itself to what it shows after a success. */
    async #showsSuccess() {
        return (await this.#lines()).some((line) => this.#success.includes(line));
    }

    async #isTrueInTime(condition) {
        for (const end = Date.now() + this.#patience; Date.now() < end; await pause(lookInterval))
            if (await condition())
                return true;
        return false;
    }

    /** Waits for a condition; a finding when it does not come. */
    async #until(condition, finding) {
        const isTrue = await this.#isTrueInTime(condition);
        if (!isTrue)
            this.findings.push(`${finding} (waited ${this.#options.patience} s)`);
        return isTrue;
    }

    #waitForNoWindow(finding) {
        return this.#until(() => this.#terminal.state.windows.length === 0, finding);
    }

    async #padRests() {
        await this.#terminal.log("pad", { clear: true });
        await pause(padRest);
        return (await this.#terminal.log("pad")).length === 0;
    }

    /** Begins the action, as often as a person would, and waits until it is seen on the desk. */
    async #getUnderWay() {
        for (const device of ["usbReader", "hidReader"])
            await this.#terminal.log(device, { clear: true });
        let nextClick = 0;
        const isUnderWay = await this.#until(async () => {
            if (!await this.#action.isUnderWay(this.#terminal) && Date.now() >= nextClick) {
                nextClick = Date.now() + clickInterval;
                await this.#begin().catch(() => {}); // disabled or covered: tried again
            }
            return this.#action.isUnderWay(this.#terminal);
        }, "the action did not begin");
        await pause(lookInterval);
        (await this.#lines()).forEach((line) => this.known.add(line));
        return isUnderWay;
    }

    /** Begins the action and disturbs it; without a disturbance it is only begun. */
    async #tryIt(disturb) {
        if (!disturb)
            await this.#begin().catch(() => this.findings.push("its button could not be clicked"));
        else if (await this.#getUnderWay())
            await disturb({ terminal: this.#terminal, page: this.#page, cancel: () => this.#cancel() });
    }

    async #cancel() {
        const { cancelSign } = this.#options;
        const button = buttonOf(this.#page, cancelSign, cancelButton);
        if (!cancelSign && !await button.isVisible())
            return;
        this.#isCancelled = true;
        await button.click().catch(() => this.findings.push("its button to cancel could not be clicked"));
    }

    /** The action from beginning to end. */
    async #succeed() {
        if (!await this.#getUnderWay())
            return false;
        await this.#action.finish(this.#terminal, this.#patience);
        return this.#waitForNoWindow("its window stays open");
    }
}

function buttonOf(page, selector, name) {
    return (selector ? page.locator(selector) : page.getByRole("button", { name })).first();
}

const startButton = (page, { option, button }, options) => buttonOf(page, options[option], button);

/** The names of the actions that the page can do. */
async function actionsOf(browser, url, options) {
    const page = await browser.newPage();
    try {
        await page.goto(url);
        const found = [];
        for (const [name, action] of Object.entries(actions)) {
            const isThere = () => startButton(page, action, options).waitFor({ timeout: findTime }).then(() => true, () => false);
            if (options[action.option] !== undefined || await isThere())
                found.push(name);
        }
        return found;
    } finally {
        await page.close();
    }
}

export async function checkPage(url, { terminal, browser, patience = defaultPatience, only, report = () => {}, ...rest } = {}) {
    const options = { ...rest, patience };
    const address = existsSync(url) ? pathToFileURL(resolve(url)).href : url;
    const chosen = scenarios.filter(({ name }) => !only || [only].flat().includes(name));
    if (chosen.length === 0)
        throw new RangeError(`no scenario ${only}; those are ${scenarios.map(({ name }) => name).join(", ")}`);
    if (!(patience > 0))
        throw new RangeError("patience is a number of seconds above 0");
    const program = await launchBrowser(browser ?? findBrowser());
    const results = [];
    const tell = (result) => {
        results.push(result);
        report(result);
    };
    try {
        const found = await actionsOf(program, address, options);
        const rehearsals = new Map();
        for (const name of found.filter((each) => chosen.some((scenario) => scenario.actions.includes(each)))) {
            const run = new Run(actions[name], null, terminal, options);
            if (await run.rehearse(program, address))
                rehearsals.set(name, run);
            tell({ name, title: actions[name].title, tried: true, shown: run.shown, findings: run.findings });
        }
        for (const scenario of chosen) {
            const name = scenario.actions.find((each) => rehearsals.has(each));
            const run = new Run(actions[name], rehearsals.get(name), terminal, options);
            if (name)
                await run.play(program, address, scenario);
            tell({ name: scenario.name, title: scenario.title, tried: name !== undefined, shown: run.shown, findings: run.findings,
                ...(name ? {} : { options: scenario.actions.map((each) => actions[each].option) }) });
        }
    } finally {
        await program.close();
    }
    return results;
}
