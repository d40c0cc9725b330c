// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// What is published: the module, its types, and the classic script made of it.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import vm from "node:vm";

import * as library from "../desk-terminal.js";
import { classicFile, classicScript } from "../make_classic.mjs";

const web = fileURLToPath(new URL("..", import.meta.url));

test("the console's classic script is made of the module as it is", () => {
    assert.equal(readFileSync(classicFile, "utf8"), classicScript(), "run `npm run classic` in web/");
    const context = { EventTarget, Event };
    vm.runInNewContext(classicScript(), context);
    assert.deepEqual(Object.keys(context.deskTerminal).sort(), Object.keys(library).sort());
});

test("the types fit a page that uses every member", () => {
    execFileSync(join(web, "node_modules/.bin/tsc"), ["--project", join(web, "tests/types")], { stdio: "inherit" });
});

test("the types declare every member, and no other", () => {
    const read = (file) => readFileSync(join(web, file), "utf8");
    const declared = read("desk-terminal.d.ts");
    const body = declared.match(/declare class DeskTerminal [^{]*\{([^]*?)\n\}/)[1];
    const names = [...body.matchAll(/^ {4}(?:readonly )?(\w+)[(:<]/gm)].map((match) => match[1]);
    const members = Object.getOwnPropertyNames(library.DeskTerminal.prototype);
    assert.deepEqual(new Set(names), new Set([...members, "addEventListener"]));
    const reasons = read("desk-terminal.js").matchAll(/^ {4}\["(.+?)", (?:"ZC|null)/gm);
    for (const word of [...Object.keys(library.commands).map((name) => `${name}: `), ...Array.from(reasons, ([, name]) => `"${name}"`)])
        assert.ok(declared.includes(word), word);
});
