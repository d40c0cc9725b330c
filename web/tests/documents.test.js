// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A document and its Chinese counterpart have the same blocks in the same order (headings, paragraphs, list items, table
// rows, code), and in each block the same code, links, numbers, texts in backticks and Chinese texts of the system; in
// table rows also the same texts in double quotes.

import assert from "node:assert/strict";
import { existsSync, readdirSync, readFileSync } from "node:fs";
import { posix } from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";

const root = fileURLToPath(new URL("../../", import.meta.url));
const counterparts = new Map([["README.md", "README.zh-CN.md"],
    ...readdirSync(`${root}docs/zh`).map((name) => [`docs/${name}`, `docs/zh/${name}`])]);
const translations = new Set(counterparts.values());

/** The blocks of a Markdown file: [{line, kind, text}]. Code is fenced, or indented by four spaces. */
function blocks(path) {
    const found = [];
    let isFenced = false;
    let open = null;
    readFileSync(root + path, "utf8").split("\n").forEach((content, index) => {
        const begin = (kind, text) => found.push(open = { line: index + 1, kind, text });
        const mark = content.match(/^ *(```|#+(?= )|\||-(?= )|\d+(?=\. ))/)?.[1];
        if (mark === "```") {
            isFenced = !isFenced;
            open = null;
        } else if (isFenced || content.startsWith("    ")) {
            const code = content.replace(/(^|\s)(#|\/\/) .*/, "").trim();
            if (open?.kind === "code")
                open.text += `\n${code}`;
            else
                begin("code", code);
        } else if (mark?.startsWith("#"))
            begin(`heading ${mark.length}`, content.slice(mark.length + 1));
        else if (mark === "|")
            begin(`row of ${content.replace(/`[^`]*`/g, "").split("|").length - 2}`, content);
        else if (mark)
            begin("item", content.replace(/^ *\d+/, ""));
        else if (!content)
            open = null;
        else if (open)
            open.text += ` ${content.trim()}`;
        else
            begin("paragraph", content);
    });
    return found;
}

// The names that GitHub gives to headings.
const anchors = (path) => blocks(path).filter(({ kind }) => kind.startsWith("heading"))
    .map(({ text }) => text.toLowerCase().replace(/[^\p{L}\p{N}\s_-]/gu, "").replaceAll(" ", "-"));

/** Where a link must lead in the Chinese document: to a Chinese file if there is one, and there to the same heading. */
function destination(path, link) {
    if (link.includes("://"))
        return link;
    const [name, anchor] = link.split("#");
    const file = name ? posix.join(posix.dirname(path), name) : path;
    assert.ok(existsSync(root + file), `${path}: no file for the link ${link}`);
    const heading = anchor && anchors(file).indexOf(anchor);
    assert.notEqual(heading, -1, `${path}: no heading for the link ${link}`);
    return [translations.has(path) ? file : counterparts.get(file) ?? file, heading].join(" heading ");
}

/** What a block and its translation have in common. */
function essence(path, { kind, text }) {
    if (kind === "code")
        return `code:\n${text}`;
    const links = [...text.matchAll(/\]\(([^)]*)\)/g)].map(([, link]) => destination(path, link));
    const tokens = (cell) => cell.replace(/\]\([^)]*\)/g, "]")
        .replace(/([\d.]+) (million|万)/g, (_, number, unit) => number * (unit === "万" ? 1e4 : 1e6))
        .match(kind.startsWith("row") ? /`[^`]+`|"[^"]+"|-?\d+([.,]\d+)*/g : /`[^`]+`|\d+([.,]\d+)*/g);
    const cells = text.split(" | ").map((cell) => [...new Set(tokens(cell))].sort().join(" "));
    return `${kind}: ${cells.join(" | ")} ${links.sort().join(" ")}`;
}

for (const [english, chinese] of counterparts) {
    test(`${chinese} matches ${english}`, () => {
        const [original, translation] = [english, chinese].map(blocks);
        const way = (from, to) => posix.relative(posix.dirname(from), to);
        assert.equal(original[1].text, `English | [简体中文](${way(english, chinese)})`);
        assert.equal(translation[1].text, `[English](${way(chinese, english)}) | 简体中文`);
        original.forEach((block, index) => {
            const other = translation[index] ?? { line: "end", kind: "nothing", text: "" };
            const lines = `${english}:${block.line} and ${chinese}:${other.line}`;
            if (index !== 1)
                assert.equal(essence(chinese, other), essence(english, block), lines);
            for (const [text] of block.text.matchAll(/\p{Script=Han}+/gu))
                assert.ok(other.text.includes(text), `${lines}: ${text}`);
        });
        assert.equal(translation.length, original.length, `${chinese} has more blocks than ${english}`);
    });
}
