// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Operating a virtual terminal: plugs, faults, cards, pictures, the pad and the service itself.

/* exported startVirtualDesk */
/**
 * @param {string} url of the control port
 * @param {(command: Function) => Function} recorded wraps the function that sends commands
 */
function startVirtualDesk(url, recorded) {
    const mostLines = 300;
    const devices = Object.keys(virtualFaults);
    const intro = view.make("p", { className: "hint", text: "virtual.absent" });
    // Boxes stay in their stack, so that a box that grows moves only those below it.
    const stacks = [view.make("div", { className: "stack" }), view.make("div", { className: "stack" })];
    const desk = view.make("div", { className: "desk", hidden: true }, ...stacks);
    document.getElementById("virtual").append(intro, desk);

    const command = recorded(openControlPort(url, {
        connected(isThere) {
            desk.hidden = !isThere;
            view.show(intro, isThere ? "virtual.present" : "virtual.absent", url);
            if (!isThere)
                showWindows([], isThere);
        },
        state(state) {
            for (const device of devices)
                boxes[device].update(state.devices[device]);
            serviceBox.update(state.service);
            scenarioBox.update(state);
            showWindows(state.windows);
        },
        service: ({ line, stream }) => serviceBox.print(line, stream),
    }));

    function showWindows(windows, isThere = true) {
        boxes.pad.showWindow(windows.find(({ window }) => window === "signing"));
        captureBox.showWindow(windows.findLast(({ window }) => window === "capture"));
        document.dispatchEvent(new CustomEvent("windows", { detail: { windows, isThere, play: command } }));
    }

    /** A box with a title and a line for the error of its last command. */
    function makeBox(name, stack, ...children) {
        const complaint = view.make("p", { className: "complaint" });
        complaint.setAttribute("role", "alert");
        const element = view.group("panel", `virtual.${name}`, { virtual: name });
        const play = async (...request) => {
            try {
                const result = await command(...request);
                complaint.textContent = "";
                return result;
            } catch (error) {
                complaint.textContent = error.message;
                return undefined;
            }
        };
        const add = (...more) => element.append(...more, complaint);
        add(...children);
        stacks[stack].append(element);
        return { add, element, play };
    }

    function faultForm(device, play) {
        const faults = virtualFaults[device];
        const chosen = view.make("select", {}, ...Object.keys(faults).map((fault) =>
            view.make("option", { value: fault, text: `virtual.fault.${fault}` })));
        const keys = view.make("span", { className: "actions" });
        const showKeys = () => keys.replaceChildren(...Object.entries(faults[chosen.value]).map(([name, properties]) =>
            view.field(`virtual.key.${name}`, Array.isArray(properties)
                ? view.make("select", { name }, ...properties.map((value) => view.make("option", { value }, value)))
                : view.make("input", { name, required: true, ...properties }))));
        chosen.addEventListener("change", showKeys);
        showKeys();
        const form = view.make("form", {}, view.field("virtual.fault", chosen), keys,
            view.make("button", { text: "virtual.break" }));
        form.addEventListener("submit", (event) => {
            event.preventDefault();
            const own = [...keys.querySelectorAll("input, select")].map((input) =>
                [input.name, input.type === "number" ? input.valueAsNumber : input.value]);
            play("break", { device, fault: chosen.value, ...Object.fromEntries(own) });
        });
        return form;
    }

    function deviceBox(device) {
        const { play, add, element } = makeBox(device, /Reader$/.test(device) ? 1 : 0);
        const plugState = view.make("p", { className: "state" });
        const faultName = view.make("span");
        const faultKeys = view.make("span");
        const fault = view.make("p", { className: "fault", hidden: true }, faultName, " ", faultKeys);
        const plug = view.button("virtual.unplug", () => play(plug.dataset.command, { device }));
        const repair = view.button("virtual.repair", () => play("repair", { device }));
        const own = makeVirtualParts(device, play, command);
        add(view.make("div", { className: "head" }, element.firstChild, plugState, plug), ...own.elements,
            view.make("details", {}, view.make("summary", { text: "virtual.faults" }), faultForm(device, play)),
            view.make("div", { className: "actions" }, fault, repair));
        return {
            ...own,
            update(state) {
                plugState.dataset.state = state.plugged ? "running" : "stopped";
                view.show(plugState, state.plugged ? "virtual.plugged" : "virtual.unplugged");
                plug.dataset.command = state.plugged ? "unplug" : "plug";
                view.show(plug, `virtual.${plug.dataset.command}`);
                fault.hidden = repair.hidden = !state.fault;
                if (state.fault) {
                    const { fault: name, ...keys } = state.fault;
                    view.show(faultName, `virtual.fault.${name}`);
                    faultKeys.textContent = Object.values(keys).join(" ");
                }
                own.update?.(state);
            },
        };
    }

    function makeServiceBox() {
        const { play, add } = makeBox("service", 1);
        const running = view.make("p", { className: "state" });
        const ended = view.make("p");
        const lines = view.make("pre", { className: "lines", tabIndex: 0 });
        const start = view.button("virtual.startService", () => play("startService"));
        const stop = view.button("virtual.stopService", () => play("stopService"));
        const kill = view.button("virtual.killService", () => play("killService"));
        add(running, ended, view.make("div", { className: "actions" }, start, stop, kill),
            view.make("h4", { text: "virtual.prints" }), lines);
        return {
            update({ running: isRunning, processId, starts, lastExit }) {
                running.dataset.state = isRunning ? "running" : "stopped";
                view.show(running, isRunning ? "virtual.running" : "virtual.stopped", processId, starts);
                start.disabled = isRunning;
                stop.disabled = kill.disabled = !isRunning;
                ended.hidden = !lastExit;
                if (lastExit) {
                    const way = "signal" in lastExit ? "signal" : "code";
                    view.show(ended, `virtual.ended.${way}${lastExit.asked ? ".asked" : ""}`, lastExit[way]);
                }
            },
            print(line, stream) {
                lines.append(view.make("span", { className: stream }, `${line}\n`));
                if (lines.childElementCount > mostLines)
                    lines.firstElementChild.remove();
                lines.scrollTop = lines.scrollHeight;
            },
        };
    }

    function makeLogBox() {
        const { play, add } = makeBox("transfers", 1);
        const device = view.make("select", {}, ...["pad", "usbReader", "hidReader"].map((name) =>
            view.make("option", { value: name, text: `virtual.${name}` })));
        const lines = view.make("pre", { className: "lines", tabIndex: 0 });
        async function show(clear) {
            const result = await play("log", { device: device.value, clear });
            if (result)
                lines.textContent = result.lines.join("\n") || view.text("empty");
        }
        add(view.make("div", { className: "actions" }, view.field("virtual.device", device),
            view.button("virtual.showLog", () => show(false)), view.button("virtual.takeLog", () => show(true))), lines);
    }

    function makeCaptureBox() {
        const { play, add, element } = makeBox("capture", 0);
        const picture = view.make("img", { className: "live" });
        const buttons = makeWindowButtons((button) => play("press", { window: "capture", button }));
        const watch = watchWindow("capture", command, element, (url) => { picture.src = url; });
        add(picture, buttons.element);
        return {
            showWindow(window) {
                element.hidden = !window;
                picture.alt = view.text("virtual.capture");
                buttons.update(window ?? null);
                watch(Boolean(window));
            },
        };
    }

    function makeScenarioBox() {
        const { play, add } = makeBox("scenarios", 0);
        const { elements, update } = makeScenarios(play);
        add(...elements);
        return { update };
    }

    const captureBox = makeCaptureBox();
    const boxes = { pad: deviceBox("pad") };
    const scenarioBox = makeScenarioBox();
    for (const device of devices)
        boxes[device] ??= deviceBox(device);
    const serviceBox = makeServiceBox();
    makeLogBox();
    document.addEventListener("signing", ({ detail }) => boxes.pad.showArea(detail));
}
