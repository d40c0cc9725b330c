// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Makes the npm package: the files that package.json names, the library and its classic script without comments.
//
//     make_package.mjs [FOLDER]      default: build/npm

import { execFileSync } from "node:child_process";
import { cpSync, mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { join, resolve } from "node:path";
import { fileURLToPath } from "node:url";

import { minify } from "terser";

import { classicScript } from "./make_classic.mjs";

const web = fileURLToPath(new URL(".", import.meta.url));
const folder = resolve(process.argv[2] ?? join(web, "../build/npm"));
const contents = join(folder, "desk-terminal");
rmSync(contents, { recursive: true, force: true });
mkdirSync(contents, { recursive: true });

const { scripts, devDependencies, overrides, ...description } = JSON.parse(readFileSync(join(web, "package.json"), "utf8"));
const generated = {
    "package.json": JSON.stringify(description, null, 2),
    "desk-terminal.js": await small(readFileSync(join(web, "desk-terminal.js"), "utf8"), true),
    "desk-terminal.classic.js": await small(classicScript(), false),
};
for (const file of [...description.files.filter((name) => !(name in generated)), "README.md"])
    cpSync(join(web, file), join(contents, file), { recursive: true });
cpSync(join(web, "../LICENSE"), join(contents, "LICENSE"));
for (const [file, text] of Object.entries(generated))
    writeFileSync(join(contents, file), `${text}\n`);
execFileSync("npm", ["pack", "--silent", "--pack-destination", folder, contents], { stdio: ["ignore", "inherit", "inherit"] });

async function small(source, module) {
    return (await minify(source, { module, ecma: 2022, compress: { passes: 3, sequences: false } })).code;
}
