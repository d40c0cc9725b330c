// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A day at the counter at speed: every kind of command, plug and fault on the virtual desk, round after round, and
// what the service holds and does while nobody uses it in between. Ends with 1 when a command failed or was not
// answered, when something grew after the warm-up, or when the idle service woke up.
//
//     soak.mjs MINUTES        in tests/sandbox, with DESK_BIN_DIR as the tests have it

import { setTimeout as pause } from "node:timers/promises";

import { startTerminal } from "../../web/tests/support/desk.js";
import { Errands } from "./errands.mjs";
import { idleFigures, verdict } from "./figures.mjs";

const minutes = Number(process.argv[2] ?? 20);
if (!(minutes > 0)) {
    console.error("soak: the time is a number of minutes above 0");
    process.exit(2);
}

const samples = Math.min(40, Math.max(8, Math.round(minutes * 2)));
const columns = ["minute", "rounds", "commands", "RSS MB", "PSS MB", "heap MB", "descriptors", "threads",
    "CPU ms/command", "idle CPU ms/s", "idle wake-ups/s", "failures"];

function print(cells) {
    console.log(cells.map((cell, i) => String(cell).padStart(columns[i].length)).join("  "));
}

async function soak(terminal, errands) {
    const begin = Date.now();
    const rows = [];
    let rounds = 0;
    print(columns);
    for (let sample = 1; sample <= samples; ++sample) {
        do {
            await errands.playRound(rounds++);
        } while (Date.now() < begin + minutes * 60000 * sample / samples);
        await errands.rest();
        const row = { ...await idleFigures(terminal.state.service.processId), commands: errands.answered };
        const before = rows.at(-1) ?? { commands: 0, cpuAfter: 0 };
        rows.push(row);
        print([((Date.now() - begin) / 60000).toFixed(1), rounds, row.commands, row.rss.toFixed(1), row.pss.toFixed(1),
            row.heap.toFixed(1), row.descriptors, row.threads,
            ((row.cpuBefore - before.cpuAfter) / Math.max(1, row.commands - before.commands)).toFixed(1),
            row.idleCpu.toFixed(1), row.wakeUps.toFixed(1), errands.failures.length]);
    }
    return rows;
}

const terminal = await startTerminal();
const errands = new Errands(terminal);
const complaints = verdict(await soak(terminal, errands));
const { starts, lastExit } = terminal.state.service;
if (starts !== 1)
    complaints.push(`the service ended: ${JSON.stringify(lastExit)}`);
errands.leave();
await pause(100);
await terminal.stop();
for (const failure of errands.failures)
    console.log(`FAILED  ${failure}`);
for (const complaint of complaints)
    console.log(`DRIFT   ${complaint}`);
console.log(`${errands.answered} commands, ${errands.failures.length} failed, ${complaints.length} drifts`);
process.exit(errands.failures.length + complaints.length === 0 ? 0 : 1);
