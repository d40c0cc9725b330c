// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// What goes wrong at a counter: each scenario is played by a click on its link, with words about what a page should do.

/* exported makeScenarios */
const scenarios = (() => {
    const usb = { device: "usbReader" };
    // A command of the control port with its keys, a command of the page, or a pause in ms.
    return {
        "no-card": [["takeCard", usb], "ZCReadIDCard"],
        "card-pulled-in-the-middle": [
            ["break", { ...usb, fault: "slow", milliseconds: 400 }], "ZCReadIDCard", 700, ["takeCard", usb]],
        "sim-missing": [["pullSim"], "ZCSIMCard"],
        "pad-unplugged-while-signing": [
            "ZCStartDeviceAB", "ZCBeginSignAB", 2000, ["unplug", { device: "pad" }], "ZCDeviceExist"],
        "camera-busy": [["break", { device: "documentCamera", fault: "held" }], "ZCCameraPic"],
        "service-restarted": ["ZCStartDeviceAB", "ZCBeginSignAB", 2000, ["killService"], 2000, ["startService"]],
    };
})();

/**
 * @param {(command: string, keys?: object) => Promise<object>} play
 * @returns the elements, and the function to call with each state of the desk
 */
function makeScenarios(play) {
    let state = null;
    let runs = 0;
    const told = view.make("div", { className: "told", hidden: true });
    const links = Object.keys(scenarios).map((name) => {
        const link = view.make("a", { href: `#scenario=${name}`, text: `scenario.${name}` });
        link.addEventListener("click", () => run(name));
        return view.make("li", {}, link);
    });

    const submit = (command) => document.querySelector(`form[data-command="${command}"]`).requestSubmit();

    /** Plugs in, repairs and fills whatever is not as at the start, and ends an open signing session. */
    async function setRight() {
        if (state.windows.some(({ window }) => window === "signing"))
            submit("ZCEndSignAB");
        for (const [device, { plugged, fault, card, iccid }] of Object.entries(state.devices)) {
            if (!plugged)
                await play("plug", { device });
            if (fault)
                await play("repair", { device });
            if (card === null)
                await play("putCard", { device, card: {} });
            if (iccid === null)
                await play("insertSim");
        }
        if (!state.service.running)
            await play("startService");
    }

    /** Plays a scenario, until the next one is begun. */
    async function run(name) {
        const thisRun = ++runs;
        show(name);
        await setRight();
        for (const step of scenarios[name]) {
            if (thisRun !== runs)
                return;
            if (typeof step === "number")
                await new Promise((resolve) => setTimeout(resolve, step));
            else if (typeof step === "string")
                submit(step);
            else
                await play(...step);
        }
    }

    function show(name) {
        told.hidden = !(name in scenarios);
        if (told.hidden)
            return;
        told.replaceChildren(view.make("h4", { text: `scenario.${name}` }),
            view.make("p", { text: `scenario.${name}.page` }), view.make("div", { className: "actions" },
                view.button("scenario.play", () => run(name)), view.button("scenario.right", setRight)));
    }

    // A link that is opened with the page is only shown: opening the page changes nothing.
    const showLinked = () => show(new URLSearchParams(location.hash.slice(1)).get("scenario"));
    addEventListener("hashchange", showLinked);
    showLinked();
    return {
        elements: [view.make("p", { className: "hint", text: "scenario.hint" }), view.make("ul", {}, ...links), told],
        update(next) { state = next; },
    };
}
