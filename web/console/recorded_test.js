// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Writes a recording as a test for Node's test runner, with the client library and its virtual terminal.

/* exported recordedTest */
function recordedTest({ recorded, steps }) {
    const lines = [];
    const unanswered = {}; // the number of the last request, by the command's name
    let requests = 0;
    const code = (value) => JSON.stringify(value);
    const parsed = (text) => {
        try {
            return JSON.parse(text);
        } catch {
            return {};
        }
    };

    function ask({ function: name, _tflag: _, ...parameters }) {
        if (!name)
            return;
        unanswered[name] = ++requests;
        lines.push(`const reply${requests} = desk.request(${code(name)}, ${code(parameters)});`);
    }

    function expect({ functionName, success, msg, data }) {
        const name = functionName in unanswered ? functionName
            : functionName === "ZCOutputImageBase64AB" && "ZCBeginSignAB" in unanswered ? "ZCBeginSignAB" : undefined;
        if (!name)
            return;
        const reply = `(await reply${unanswered[name]})`;
        delete unanswered[name];
        if (success === undefined)
            lines.push(`assert.equal(${reply}.data.name, ${code(data.name)});`);
        else
            lines.push(`assert.deepEqual([${reply}.success, ${reply}.msg], ${code([success, msg])});`);
    }

    /** A call of VirtualTerminal's method: what a command is about stands first, its other keys follow as an object. */
    function call(command, keys) {
        const { device, fault, card, module, iccid, scene, image, points, button, ...others } = keys;
        const values = [device, fault, card, module, iccid, scene, points, button].filter((value) => value !== undefined).map(code);
        if (image)
            values.push(`Buffer.from(${code(image)}, "base64")`);
        if (Object.keys(others).length > 0)
            values.push(code(others));
        return `await terminal.${command}(${values.join(", ")});`;
    }

    for (const { sent, received, command, keys, windows } of steps) {
        if (command)
            lines.push(call(command, keys));
        else if (windows)
            lines.push("await terminal.waitFor(({ windows }) =>",
                `    windows.map(({ window }) => window).join() === ${code(windows.join())});`);
        else if (sent !== undefined)
            ask(parsed(sent));
        else
            expect(parsed(received));
    }
    return `// Recorded ${recorded}

import assert from "node:assert/strict";
import { test } from "node:test";
import { DeskTerminal } from "desk-terminal";
import { VirtualTerminal } from "desk-terminal/testing";

test("what was recorded happens again", async (t) => {
    const terminal = await VirtualTerminal.start();
    t.after(() => terminal.stop());
    const desk = new DeskTerminal(globalThis.WebSocket ? {} : { WebSocket: (await import("ws")).WebSocket });
    t.after(() => desk.close());
${lines.map((line) => `    ${line}`).join("\n")}
});
`;
}
