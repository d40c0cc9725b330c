// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Records what happens at the terminal and plays it again: frames, the hands' actions (commands of the control port),
// windows that open and close.
//
// A recording is {"recorded": time, "steps": [...]}. A step has its time in ms, `at`, and one of: `sent`, `received` (a
// frame's text), `command` with `keys`, `windows` (the names of the open windows).

/* exported startRecorder */
function startRecorder(desk) {
    const watchingOnly = ["state", "log", "screenshot"];
    const mostPoints = 5000; // of one command `pen`
    const longestPause = 3000;
    const longestWait = 60000;
    let steps = null; // while recording
    let recording = null;
    let begin = 0;
    let openWindows = "";
    let playCommand = null;
    const now = () => Math.round(performance.now() - begin);

    const status = view.make("p", { className: "hint" });
    status.setAttribute("role", "status");
    const file = view.make("input", { type: "file", accept: ".json" });
    const toggle = view.button("record.begin", () => (steps ? end() : start()));
    const save = view.button("record.save", () =>
        view.download("recording.json", JSON.stringify(recording, null, 1), "application/json"));
    const saveTest = view.button("record.test", () =>
        view.download("recorded.test.mjs", recordedTest(recording), "text/javascript"));
    document.getElementById("recorder").append(
        view.make("p", { className: "hint", text: "record.hint" }),
        view.make("div", { className: "actions" }, toggle, save, saveTest), view.field("record.replay", file), status);

    function showState() {
        view.show(toggle, steps ? "record.end" : "record.begin");
        toggle.classList.toggle("active", Boolean(steps));
        save.disabled = saveTest.disabled = !recording;
        view.show(status, steps ? "record.running" : recording ? "record.ended" : "", (steps ?? recording?.steps)?.length);
    }

    function start() {
        begin = performance.now();
        steps = [];
        if (openWindows)
            note({ windows: openWindows.split() });
        showState();
    }

    function end() {
        recording = { recorded: new Date().toISOString(), steps };
        steps = null;
        showState();
    }

    function note(step) {
        steps?.push({ at: now(), ...step });
        showState();
        return steps?.at(-1);
    }

    desk.addEventListener("frame", ({ direction, text }) => text !== undefined && note({ [direction]: text }));
    document.addEventListener("windows", ({ detail: { windows } }) => {
        const names = windows.map(({ window }) => window);
        if (names.join() !== openWindows)
            note({ windows: names });
        openWindows = names.join();
    });

    function noteCommand(command, keys) {
        const before = steps?.at(-1);
        const isWriting = command === "pen" && before?.command === "pen";
        if (!isWriting || before.keys.points.length + keys.points.length > mostPoints)
            return note({ command, keys });
        before.keys = { ...keys, points: [...before.keys.points, ...keys.points] };
        return undefined;
    }

    /** Wraps the control port's function, so that its commands are recorded. A refused command is no step. */
    function recorded(command) {
        playCommand = async (name, keys = {}) => {
            const step = watchingOnly.includes(name) ? undefined : noteCommand(name, keys);
            const list = steps;
            try {
                return await command(name, keys);
            } catch (error) {
                if (step && list)
                    list.splice(list.indexOf(step), 1);
                throw error;
            }
        };
        return playCommand;
    }

    const pause = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
    const nameOf = (text) => text.match(/"functionName":"(\w+)"/)?.[1] ?? text;

    async function replay(played) {
        const heard = [];
        const hear = ({ direction, text = "" }) => direction === "received" && heard.push(nameOf(text));
        async function until(isTrue, what) {
            for (let waited = 0; !isTrue(); waited += 50) {
                if (waited > longestWait)
                    throw new Error(view.text("record.missing", what));
                await pause(50);
            }
        }
        async function play({ sent, received, command, keys, windows }) {
            if (command)
                await playCommand(command, keys);
            if (windows)
                await until(() => openWindows === windows.join(), windows.join() || "–");
            if (sent !== undefined) {
                await desk.connect();
                desk.sendRaw(sent);
            }
            if (received !== undefined) {
                await until(() => heard.includes(nameOf(received)), nameOf(received));
                heard.splice(heard.indexOf(nameOf(received)), 1);
            }
        }
        let before = 0;
        desk.addEventListener("frame", hear);
        try {
            for (const [at, step] of played.entries()) {
                view.show(status, "record.playing", at + 1, played.length);
                if (step.received === undefined && !step.windows)
                    await pause(Math.min(step.at - before, longestPause));
                before = step.at;
                await play(step);
            }
            view.show(status, "record.played", played.length);
        } finally {
            desk.removeEventListener("frame", hear);
        }
    }

    file.addEventListener("change", async () => {
        try {
            await replay(JSON.parse(await file.files[0].text()).steps);
        } catch (error) {
            view.show(status, "record.failed", error.message);
        }
        file.value = "";
    });
    showState();
    return recorded;
}
