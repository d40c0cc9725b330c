// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The controls of the virtual devices: faults, and forms for cards, SIM and cameras.

/* exported virtualFaults, makeVirtualParts */

const milliseconds = { type: "number", min: 1, max: 60000, value: 500 };

// The faults of each device with their keys; a key is given by its input's properties or a list of choices.
const virtualFaults = (() => {
    const usual = { held: {}, stall: {}, silent: {} };
    const readers = { ...usual, slow: { milliseconds }, unplugAt: { transfer: { type: "number", min: 0, value: 2 } } };
    const camera = { held: {}, stalled: {}, garbage: {} };
    return {
        pad: usual,
        usbReader: {
            ...readers,
            status: {
                of: ["getSamNumber", "findCard", "selectCard", "readCard"],
                status: { type: "text", pattern: "[0-9A-Fa-f]{6}", value: "000041" },
            },
        },
        hidReader: {
            ...readers,
            result: { of: ["requestCard", "selectCard"], result: { type: "number", min: 0, max: 255, value: 1 } },
            busy: { count: { type: "number", min: 1, max: 1000, value: 20 } },
        },
        simReader: { frozen: {}, crashed: {} },
        documentCamera: camera,
        portraitCamera: camera,
    };
})();

/**
 * Makes the part of a device's box that only this device has.
 * @param {string} device
 * @param {(command: string, keys?: object) => Promise<object>} play
 * @param {(command: string, keys?: object) => Promise<object>} command likewise, but rejects with the error
 * @returns {{elements: Element[], update?: (state: object) => void, showArea?: Function, showWindow?: Function}}
 */
function makeVirtualParts(device, play, command) {
    const choice = (name, values, key) => view.make("select", { name },
        ...values.map((value) => view.make("option", { value, text: key && `${key}.${value}` }, ...(key ? [] : [value]))));
    const pictureInput = () => view.make("input", { type: "file", accept: "image/png,image/jpeg,image/bmp" });

    function form(text, fields, act, ...others) {
        const button = view.make("button", { text });
        const element = view.make("form", {}, ...fields, button, ...others);
        element.addEventListener("submit", (event) => {
            event.preventDefault();
            act();
        });
        return element;
    }

    function base64Of(file) {
        return new Promise((resolve, reject) => {
            const reader = new FileReader();
            reader.onload = () => resolve(reader.result.slice(reader.result.indexOf(",") + 1));
            reader.onerror = () => reject(reader.error);
            reader.readAsDataURL(file);
        });
    }

    function identityReader() {
        const type = choice("type", ["resident", "permanentResidence", "residencePermit"], "virtual.card");
        const lies = view.make("p", { className: "holds" });
        const fields = view.make("div", { className: "fields" });
        const portrait = choice("portrait", ["same", "0", "1", "2"], "virtual.portrait");
        const photo = pictureInput();
        const fingerprints = view.make("input", { type: "checkbox" });
        const gender = view.make("span", { className: "word" }); // beside the code that is on the card
        let card = null;

        function showGender() {
            const key = `gender.${fields.querySelector('[name="gender"]').value}`;
            view.show(gender, view.find(key) ? key : "");
        }
        fields.addEventListener("input", showGender);

        async function change() {
            const changes = {};
            for (const input of fields.querySelectorAll("input")) {
                if (input.value !== card[input.name])
                    changes[input.name] = input.value;
            }
            if (fingerprints.checked !== card.fingerprints)
                changes.fingerprints = fingerprints.checked;
            if (photo.files.length > 0)
                changes.photo = await base64Of(photo.files[0]);
            else if (portrait.value !== "same")
                changes.portrait = Number(portrait.value);
            await play("changeCard", { device, card: changes });
            photo.value = "";
            portrait.value = "same";
        }

        const details = view.make("details", {}, view.make("summary", { text: "virtual.fields" }),
            form("virtual.changeCard", [fields, view.field("virtual.portrait", portrait), view.field("virtual.photo", photo),
                view.make("label", { className: "check" }, fingerprints, " ",
                    view.make("span", { text: "virtual.fingerprints" }))], change));
        const take = view.button("virtual.takeCard", () => play("takeCard", { device }));

        function update(state) {
            const isSameKind = card && state.card && card.type === state.card.type;
            const before = card;
            card = state.card;
            take.disabled = !card;
            details.hidden = !card;
            view.show(lies, card ? `virtual.card.${card.type}.of` : "virtual.noCard", card?.name);
            if (!card)
                return;
            const { type: _, fingerprints: hasFingerprints, ...texts } = card;
            if (before?.fingerprints !== hasFingerprints || !isSameKind)
                fingerprints.checked = hasFingerprints;
            if (!isSameKind) {
                fields.replaceChildren(...view.inCardOrder(texts).map(([name, value]) =>
                    view.field(`card.${name}`, view.make("input", { type: "text", name, value, spellcheck: false }))));
                fields.querySelector('[name="gender"]').before(gender);
            }
            for (const input of fields.querySelectorAll("input")) {
                if (isSameKind && input.value === before[input.name]) // a value that was edited is kept
                    input.value = card[input.name];
            }
            showGender();
        }

        const elements = [
            lies,
            form("virtual.putCard", [view.field("virtual.kind", type)], () =>
                play("putCard", { device, card: { type: type.value } }), take), details,
        ];
        if (device !== "usbReader")
            return { elements, update };
        const module = choice("module", ["0501", "0503"]);
        elements.push(form("virtual.setModule", [view.field("virtual.module", module)], () =>
            play("setModule", { module: module.value })));
        let known;
        return {
            elements,
            update(state) {
                if (state.module !== known)
                    module.value = known = state.module;
                update(state);
            },
        };
    }

    function simReader() {
        const iccid = view.make("input", {
            type: "text", size: 21, value: "89860113456789012340", pattern: "[0-9]{19,20}", inputMode: "numeric",
        });
        const inserted = view.make("p", { className: "holds" });
        const pull = view.button("virtual.pullSim", () => play("pullSim"));
        return {
            elements: [
                inserted,
                form("virtual.insertSim", [view.field("virtual.iccid", iccid)], () =>
                    play("insertSim", iccid.value ? { iccid: iccid.value } : {}), pull),
            ],
            update(state) {
                pull.disabled = !state.iccid;
                view.show(inserted, state.iccid ? "virtual.sim" : "virtual.noSim", state.iccid);
            },
        };
    }

    function camera() {
        const scene = choice("scene", ["testCard", "document", "portrait"], "virtual.scene");
        const file = pictureInput();
        let known;
        const seen = view.make("p", { className: "holds" });
        file.addEventListener("change", async () => {
            if (file.files.length > 0)
                await play("setPicture", { device, image: await base64Of(file.files[0]) });
            file.value = "";
        });
        return {
            elements: [
                seen,
                form("virtual.setScene", [view.field("virtual.scene", scene)], () =>
                    play("setPicture", { device, scene: scene.value })),
                view.field("virtual.image", file),
            ],
            update(state) {
                view.show(seen, `virtual.scene.${state.scene}`);
                if (state.scene !== known && state.scene !== "image")
                    scene.value = state.scene;
                known = state.scene;
            },
        };
    }

    function pad() {
        const unread = view.make("p", { className: "complaint", text: "virtual.unread", hidden: true });
        unread.setAttribute("role", "alert");
        const pen = async (points, display) => {
            const keys = display.join() === "1280,800" ? { points } : { points, display };
            unread.hidden = (await play("pen", keys))?.read !== false;
        };
        const drawing = makeDrawingPad(pen, (button) => play("press", { window: "signing", button }));
        const watch = watchWindow("signing", command, drawing.canvas, drawing.showPicture);
        return {
            elements: [...drawing.elements, unread],
            showArea: drawing.showArea,
            showWindow(window) {
                drawing.showWindow(window);
                watch(Boolean(window));
            },
        };
    }

    const parts = {
        pad, usbReader: identityReader, hidReader: identityReader, simReader, documentCamera: camera, portraitCamera: camera,
    };
    return parts[device]();
}
