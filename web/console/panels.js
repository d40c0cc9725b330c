// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// One panel for each device: its commands with their parameters, and the result of the last one.

/* exported startPanels */
function startPanels(desk) {
    const place = { x: 240, y: 150, width: 800, height: 500 };

    const tellSigning = (area) => document.dispatchEvent(new CustomEvent("signing", { detail: area }));
    const tellCapture = (isOpen) => document.dispatchEvent(new CustomEvent("capture", { detail: isOpen }));

    async function sign(area) {
        tellSigning(area);
        try {
            const padScreen = padPlace.needed(area);
            if (padScreen)
                await desk.setPadScreen(padScreen);
            return await desk.beginSigning(area);
        } finally {
            tellSigning(null);
        }
    }

    async function setPadScreen(area) {
        await desk.setPadScreen(area);
        padPlace.choose();
    }

    async function takePicture() {
        tellCapture(true);
        try {
            return await desk.takePicture();
        } finally {
            tellCapture(false);
        }
    }

    // [command, initial values of the parameters, function that sends it]
    const devices = {
        pad: [
            ["ZCDeviceExist", {}, async () => (await desk.padPresent() ? "pad.present" : "pad.absent")],
            ["ZCStartDeviceAB", {}, () => desk.startPad()],
            ["ZCBeginSignAB", place, sign],
            ["ZCResignAB", {}, () => desk.clearSignature()],
            ["ZCEndSignAB", {}, () => desk.endSigning()],
            ["ZCOutputImageBase64AB", {}, () => desk.lastSignature()],
            ["ZCStopDeviceAB", {}, () => desk.stopPad()],
        ],
        cards: [
            ["ZCReadIDCard", {}, () => desk.readIdCard()],
            ["ZCReadHIDIDCard", {}, () => desk.readHidIdCard()],
            ["ZCGetSAMNum", {}, () => desk.samNumber()],
            ["ZCReadHIDOpen", {}, () => desk.openHidReader()],
        ],
        sim: [["ZCSIMCard", {}, () => desk.readSim()]],
        camera: [["ZCCameraPic", {}, takePicture]],
        settings: [
            ["ZCSetTransparency", { Percent: 65 }, ({ Percent }) => desk.setTransparency(Percent)],
            ["ZCSetPenWidth", { Width: 5 }, ({ Width }) => desk.setPenWidth(Width)],
            ["ZCSetModeAB", { mode: 0 }, ({ mode }) => desk.setMode(mode)],
            ["ZCSetSignScreenPosSizeAB", padPlace.initial, setPadScreen],
        ],
    };

    const image = (picture, key) => view.make("img", { src: picture.dataUrl, alt: view.text(key) });

    const longest = 200; // characters shown of a value; fingerprints are longer

    function cardValue(value) {
        if (value.length <= longest)
            return value;
        const summary = view.make("summary");
        view.show(summary, "characters", value.length);
        return view.make("details", {}, summary, value);
    }

    function cardTable({ photo, ...fields }) {
        const rows = view.inCardOrder(fields).map(([name, value]) => view.make("tr", {},
            view.make("th", { scope: "row", text: `card.${name}` }), view.make("td", {}, cardValue(value))));
        return [view.make("div", { className: "card" }, ...(photo ? [image(photo, "photo")] : []),
            view.make("table", {}, view.make("tbody", {}, ...rows)))];
    }

    /** The elements that show a command's result. */
    function shown(value) {
        if (value === undefined)
            return [];
        if (value.dataUrl)
            return [image(value, "picture")];
        if (typeof value === "object")
            return cardTable(value);
        if (view.find(value))
            return [view.make("p", { text: value })];
        return [view.make("p", {}, value ? view.make("output", {}, value) : view.make("span", { text: "empty" }))];
    }

    /** The text of an error: the step, its meaning, and the service's code and text. */
    function explained(error) {
        if (!(error instanceof deskTerminal.DeskError))
            return [view.make("p", {}, error.message)];
        const key = `reason.${error.reason}`;
        return [
            view.make("p", {}, `${error.step}: `, view.find(key) ? view.make("span", { text: key }) : error.reason),
            view.make("p", {}, view.make("code", {}, `${error.code} ${error.text}`)),
        ];
    }

    function commandForm([name, first, run], result) {
        const inputs = Object.entries(first).map(([key, value]) => {
            const [min, max] = deskTerminal.commands[name].parameters[key];
            return view.make("input", { type: "number", name: key, value, min, max, step: 1, required: true });
        });
        const button = view.make("button", { text: `command.${name}` });
        const fields = inputs.map((input) => view.field(`parameter.${input.name}`, input));
        const place = fields.length > 1
            ? [view.make("fieldset", {}, view.make("legend", { text: `place.${name}` }), ...fields)] : fields;
        const form = view.make("form", { className: "command", dataset: { command: name } },
            ...place, button, view.make("code", {}, name));
        form.addEventListener("submit", async (event) => {
            event.preventDefault();
            button.disabled = true;
            result.className = "result";
            result.replaceChildren(view.make("p", {}, `${name} `, view.make("span", { text: "running" })));
            try {
                const parameters = inputs.map((input) => [input.name, input.valueAsNumber]);
                const value = await run(Object.fromEntries(parameters));
                result.classList.add("good");
                result.replaceChildren(
                    view.make("p", {}, `${name} `, view.make("span", { text: "done" })), ...shown(value));
            } catch (error) {
                result.classList.add("bad");
                result.replaceChildren(...explained(error));
            }
            button.disabled = false;
        });
        return form;
    }

    function panelOf(device) {
        const result = view.make("div", { className: "result", role: "status" });
        return view.group("panel", `panel.${device}`, { device },
            ...devices[device].map((command) => commandForm(command, result)), result);
    }

    document.getElementById("panels").append(...Object.keys(devices).map(panelOf));
}
