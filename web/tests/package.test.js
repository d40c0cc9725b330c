// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// What is published: the module, its types, the classic script made of it, and the npm package of all three.

import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import vm from "node:vm";
import { gzipSync } from "node:zlib";

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

test("the npm package is small, resolves everywhere, and works in CommonJS and as a classic script", () => {
    const folder = mkdtempSync(join(tmpdir(), "page-"));
    const contents = join(folder, "node_modules/desk-terminal");
    const run = (program, ...parameters) => {
        const { status, stdout, stderr } = spawnSync(program, parameters, { cwd: folder, encoding: "utf8" });
        assert.equal(status, 0, stdout + stderr);
        return stdout.trim();
    };
    const tool = (name, ...parameters) => run(join(web, "node_modules/.bin", name), ...parameters);
    const tarball = join(folder, run(process.execPath, join(web, "make_package.mjs"), folder));
    tool("publint", "--strict", tarball);
    tool("attw", tarball, "--profile", "esm-only"); // require() is by dynamic import
    mkdirSync(contents, { recursive: true });
    run("tar", "--extract", "--gzip", "--strip-components=1", `--directory=${contents}`, `--file=${tarball}`);
    const read = (name) => readFileSync(join(contents, name), "utf8");
    assert.match(read("LICENSE"), /^MIT License/);
    assert.match(read("README.md"), /^# desk-terminal\n/);
    const bytes = gzipSync(read("desk-terminal.js"), { level: 9 }).length;
    assert.ok(bytes < 5000, `${bytes} bytes`);
    const members = Object.keys(library).sort().join();
    assert.equal(run(process.execPath, "--eval", 'import("desk-terminal").then((all) => console.log(Object.keys(all).sort().join()))'), members);
    const context = { EventTarget, Event };
    vm.runInNewContext(read("desk-terminal.classic.js"), context);
    assert.equal(Object.keys(context.deskTerminal).sort().join(), members);
});
