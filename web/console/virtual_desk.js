// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Operating a virtual terminal: plugs, faults, cards, pictures, the pad and the service itself.

/* exported startVirtualDesk */
function startVirtualDesk(url) {
    const mostLines = 300;
    const devices = Object.keys(virtualFaults);
    const intro = view.make("p", { className: "hint", text: "virtual.absent" });
    const desk = view.make("div", { className: "desk", hidden: true });
    document.getElementById("virtual").append(
        view.make("h2", { text: "virtual.title", id: "virtual-title" }), intro, desk);

    const command = openControlPort(url, {
        connected(isThere) {
            desk.hidden = !isThere;
            view.show(intro, isThere ? "virtual.present" : "virtual.absent", url);
        },
        state(state) {
            for (const device of devices)
                boxes[device].update(state.devices[device]);
            serviceBox.update(state.service);
        },
        service: ({ line, stream }) => serviceBox.print(line, stream),
    });

    const button = (text, act) => {
        const element = view.make("button", { type: "button", text });
        element.addEventListener("click", act);
        return element;
    };

    /** A box with a title and a line for the error of its last command. */
    function makeBox(name, ...children) {
        const title = view.make("h3", { text: `virtual.${name}`, id: `virtual-${name}` });
        const complaint = view.make("p", { className: "complaint" });
        complaint.setAttribute("role", "alert");
        const element = view.make("section", { className: "box", dataset: { virtual: name } }, title);
        element.setAttribute("aria-labelledby", title.id);
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
        desk.append(element);
        return { play, add };
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
        const form = view.make("form", { className: "command" }, view.field("virtual.fault", chosen), keys,
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
        const { play, add } = makeBox(device);
        const plugState = view.make("p", { className: "state" });
        const faultName = view.make("span");
        const faultKeys = view.make("span");
        const fault = view.make("p", { className: "fault", hidden: true }, faultName, " ", faultKeys);
        const plug = button("virtual.unplug", () => play(plug.dataset.command, { device }));
        const repair = button("virtual.repair", () => play("repair", { device }));
        const own = makeVirtualParts(device, play);
        add(view.make("div", { className: "actions" }, plugState, plug), ...own.elements,
            view.make("details", {}, view.make("summary", { text: "virtual.faults" }), faultForm(device, play)),
            view.make("div", { className: "actions" }, fault, repair));
        return {
            showArea: own.showArea,
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
        const { play, add } = makeBox("service");
        const running = view.make("p", { className: "state" });
        const ended = view.make("p");
        const lines = view.make("pre", { className: "lines", tabIndex: 0 });
        const start = button("virtual.startService", () => play("startService"));
        const stop = button("virtual.stopService", () => play("stopService"));
        const kill = button("virtual.killService", () => play("killService"));
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
        const { play, add } = makeBox("transfers");
        const device = view.make("select", {}, ...["pad", "usbReader", "hidReader"].map((name) =>
            view.make("option", { value: name, text: `virtual.${name}` })));
        const lines = view.make("pre", { className: "lines", tabIndex: 0 });
        async function show(clear) {
            const result = await play("log", { device: device.value, clear });
            if (result)
                lines.textContent = result.lines.join("\n") || view.text("empty");
        }
        add(view.make("div", { className: "actions" }, view.field("virtual.device", device),
            button("virtual.showLog", () => show(false)), button("virtual.takeLog", () => show(true))), lines);
    }

    const boxes = Object.fromEntries(devices.map((device) => [device, deviceBox(device)]));
    const serviceBox = makeServiceBox();
    makeLogBox();
    document.addEventListener("signing", ({ detail }) => boxes.pad.showArea(detail));
}
