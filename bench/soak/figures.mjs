// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// What a process holds and does, from /proc, and whether it grows.

import { readdirSync, readFileSync } from "node:fs";
import { setTimeout as pause } from "node:timers/promises";

const ticksPerSecond = 100; // of the times in /proc, on every Linux
const settleMs = 1500; // frees what the last command left to the event loop and to the daemons
const idleMs = 5000;

function memory(process) {
    const text = readFileSync(`/proc/${process}/smaps_rollup`, "utf8");
    const megabytes = (name) => Number(text.match(new RegExp(`^${name}:\\s+(\\d+)`, "m"))[1]) / 1024;
    return { rss: megabytes("Rss"), pss: megabytes("Pss"), heap: megabytes("Anonymous") };
}

/** Processor time in milliseconds, user and system. */
function cpu(process) {
    const fields = readFileSync(`/proc/${process}/stat`, "utf8").replace(/^.*\) /, "").split(" ");
    return (Number(fields[11]) + Number(fields[12])) * 1000 / ticksPerSecond;
}

/** How often its threads have gone to sleep, which they do once for each time that they were woken. */
function sleeps(process) {
    return readdirSync(`/proc/${process}/task`).reduce((sum, thread) => sum + Number(
        readFileSync(`/proc/${process}/task/${thread}/status`, "utf8").match(/^voluntary_ctxt_switches:\s+(\d+)/m)[1]),
    0);
}

/** The figures of a process that nobody uses: memory in MB, CPU in ms, wake-ups per second. */
export async function idleFigures(process) {
    await pause(settleMs);
    const [cpuBefore, sleepsBefore, begin] = [cpu(process), sleeps(process), Date.now()];
    await pause(idleMs);
    const [cpuAfter, seconds] = [cpu(process), (Date.now() - begin) / 1000];
    return {
        ...memory(process),
        descriptors: readdirSync(`/proc/${process}/fd`).length,
        threads: readdirSync(`/proc/${process}/task`).length,
        cpuBefore,
        cpuAfter,
        idleCpu: (cpuAfter - cpuBefore) / seconds,
        wakeUps: (sleeps(process) - sleepsBefore) / seconds,
    };
}

// How far the last third of what follows the warm-up may lie above its first third. The allocator's own ups and downs
// stay below 3 MB. The PSS is shown and not judged: it moves with the other programs that share our libraries.
const bounds = { rss: 3, heap: 3, descriptors: 0, threads: 0 };
const warmUp = 1 / 4;

function median(values) {
    return [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
}

/** What is wrong with the rows of a soak, in words. */
export function verdict(rows) {
    const warm = rows.slice(Math.floor(rows.length * warmUp));
    const third = Math.ceil(warm.length / 3);
    const complaints = [];
    for (const [name, bound] of Object.entries(bounds)) {
        const first = median(warm.slice(0, third).map((row) => row[name]));
        const last = median(warm.slice(-third).map((row) => row[name]));
        if (last - first > bound)
            complaints.push(`${name} grew from ${first.toFixed(1)} to ${last.toFixed(1)}`);
    }
    const wakeUps = median(warm.map((row) => row.wakeUps));
    if (wakeUps > 0)
        complaints.push(`the idle service woke up ${wakeUps.toFixed(1)} times a second`);
    return complaints;
}
