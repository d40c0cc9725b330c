// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Converts desk-terminal.js to console/desk-terminal.classic.js. Browsers load no ES module into a page that was
// opened from disk; the console page therefore uses the library as a classic script, the global `deskTerminal`.

import { readFileSync, writeFileSync } from "node:fs";
import { fileURLToPath } from "node:url";

const library = new URL("desk-terminal.js", import.meta.url);
export const classicFile = new URL("console/desk-terminal.classic.js", import.meta.url);

export function classicScript() {
    const source = readFileSync(library, "utf8");
    const declaration = /^export (?=(?:async )?(?:const|function|class) (\w+))/gm;
    const names = [...source.matchAll(declaration)].map((match) => match[1]);
    const body = source.replace(declaration, "");
    if (/^(import|export) /m.test(body))
        throw new Error("desk-terminal.js imports or exports in a way that this script does not know");
    return [
        "// Made of ../desk-terminal.js by make_classic.mjs: change that file.",
        "var deskTerminal = (() => {",
        '"use strict";',
        body.trimEnd(),
        `return { ${names.join(", ")} };`,
        "})();",
        "",
    ].join("\n");
}

if (process.argv[1] === fileURLToPath(import.meta.url))
    writeFileSync(classicFile, classicScript());
