// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A picture of the pad's display with the signing window, to write on with the mouse.

/* exported makeDrawingPad */
/**
 * @param {(points: number[][], display: number[]) => void} pen gets samples [x, y, pressure], in pixels of the display,
 *     and the display's size
 * @param {(button: string) => void} pressSeen presses a button of the window that the desk sees
 * @returns the elements, and three functions: `showArea` for the window that this page has asked for, `showWindow` for
 *     the one that the desk sees (both with null for none), `showPicture` for a picture of that
 */
function makeDrawingPad(pen, pressSeen) {
    const usualDisplay = { width: 1280, height: 800 };
    const mousePressure = 700;
    const buttonHeight = 60; // of the signing window, whose three buttons share its width
    const buttonNames = ["取消", "重签", "确定"];
    // The strokes of a name, in an area of 2 by 1, for a button that signs without a mouse.
    const sampleStrokes = [
        [[0.15, 0.12], [0.85, 0.08]], [[0.2, 0.5], [0.8, 0.46]], [[0.5, 0.1], [0.5, 0.88]],
        [[0.08, 0.9], [0.92, 0.88]], [[1.2, 0.28], [1.24, 0.66]], [[1.2, 0.28], [1.82, 0.25], [1.77, 0.64]],
        [[1.24, 0.64], [1.77, 0.62]], [[1.5, 0.02], [1.5, 0.98]],
    ];

    const canvas = view.make("canvas", { ...usualDisplay, className: "drawing" });
    canvas.setAttribute("role", "img");
    const ink = canvas.getContext("2d");
    const emptyHint = view.make("p", { className: "hint", text: "virtual.padEmpty" });
    // Windows as {display, area, buttons: [{button, x, y, width, height}]}, in pixels of the display.
    let asked = null;
    let seen = null;
    let samples = [];
    let last = null;
    const current = () => seen ?? asked;

    function clear() {
        ink.fillStyle = "#e9edf1";
        ink.fillRect(0, 0, canvas.width, canvas.height);
        if (!current())
            return;
        const { area, buttons } = current();
        ink.fillStyle = "#ffffff";
        ink.fillRect(area.x, area.y, area.width, area.height);
        ink.strokeStyle = "#51606f";
        ink.lineWidth = 2;
        ink.strokeRect(area.x, area.y, area.width, area.height);
        ink.font = "36px sans-serif";
        ink.textAlign = "center";
        ink.textBaseline = "middle";
        for (const { button, x, y, width, height } of buttons) {
            ink.strokeRect(x, y, width, height);
            ink.fillStyle = "#16202c";
            ink.fillText(button, x + width / 2, y + height / 2);
        }
    }

    function send() {
        if (samples.length > 0)
            pen(samples.splice(0), [canvas.width, canvas.height]);
    }

    /** Sends all samples of one animation frame in one message. */
    function add(x, y, pressure) {
        if (samples.length === 0)
            requestAnimationFrame(send);
        samples.push([x, y, pressure]);
        emptyHint.hidden = true;
        if (pressure > 0 && last) {
            ink.strokeStyle = "#16202c";
            ink.lineWidth = 5;
            ink.lineCap = "round";
            ink.beginPath();
            ink.moveTo(...last);
            ink.lineTo(x, y);
            ink.stroke();
        }
        last = pressure > 0 ? [x, y] : null;
        if (pressure === 0 && isAgain(x, y))
            clear();
    }

    function isAgain(x, y) {
        const again = current()?.buttons.find(({ button }) => button === buttonNames[1]);
        return again && x >= again.x && x < again.x + again.width && y >= again.y && y < again.y + again.height;
    }

    function follow(event) {
        const { left, top, width, height } = canvas.getBoundingClientRect();
        const place = (clientX, clientY) => [
            Math.min(Math.max((clientX - left) / width, 0), 1) * (canvas.width - 1),
            Math.min(Math.max((clientY - top) / height, 0), 1) * (canvas.height - 1)].map(Math.round);
        const moves = event.getCoalescedEvents?.() ?? [];
        for (const move of moves.length > 0 ? moves : [event]) {
            const pressure = move.pointerType === "pen" ? Math.ceil(move.pressure * 1023) : mousePressure;
            add(...place(move.clientX, move.clientY), pressure);
        }
    }

    canvas.addEventListener("pointerdown", (event) => {
        canvas.setPointerCapture(event.pointerId);
        follow(event);
    });
    canvas.addEventListener("pointermove", (event) => canvas.hasPointerCapture(event.pointerId) && follow(event));
    canvas.addEventListener("lostpointercapture", () => last && add(...last, 0));

    /** A window that the desk does not see is pressed with the pen. */
    function press(name) {
        if (seen) {
            send(); // what was written before
            pressSeen(name);
            return;
        }
        const { x, y, width, height } = asked.buttons.find(({ button }) => button === name);
        const middle = [Math.round(x + width / 2), Math.round(y + height / 2)];
        for (const pressure of [mousePressure, mousePressure, 0])
            add(...middle, pressure);
    }

    function writeSample() {
        const { x, y, width, height } = current()?.area ?? { x: 0, y: 0, width: canvas.width, height: canvas.height };
        const size = Math.min(width / 2.4, height - 2 * buttonHeight);
        const place = ([across, down]) => [
            Math.round(x + width / 2 + (across - 1) * size), Math.round(y + buttonHeight / 2 + down * size)];
        for (const stroke of sampleStrokes) {
            for (let side = 1; side < stroke.length; ++side) {
                const [from, to] = [place(stroke[side - 1]), place(stroke[side])];
                for (let step = 0; step <= 20; ++step)
                    add(...from.map((start, axis) => Math.round(start + (to[axis] - start) * step / 20)), mousePressure);
            }
            add(...last, 0);
        }
    }

    function wipe() {
        clear();
        emptyHint.hidden = Boolean(current());
    }

    const buttons = makeWindowButtons(press, buttonNames);
    let shown = "";
    function update() {
        const next = JSON.stringify(current());
        if (next === shown)
            return;
        shown = next;
        Object.assign(canvas, current()?.display ?? usualDisplay);
        buttons.update(current());
        wipe();
    }

    function showArea(area) {
        const width = area?.width / buttonNames.length;
        asked = area && {
            display: usualDisplay, area, buttons: buttonNames.map((button, index) => ({
                button, x: area.x + index * width, y: area.y + area.height - buttonHeight, width, height: buttonHeight,
            })),
        };
        update();
    }

    function showWindow(window) {
        if (window) {
            const { place, padDisplay: { x, y, width, height }, buttons: all } = window;
            const area = { ...place, x: place.x - x, y: place.y - y };
            seen = {
                display: { width, height }, area, buttons: all.map(({ button, place: within }) =>
                    ({ ...within, button, x: area.x + within.x, y: area.y + within.y })),
            };
        } else {
            seen = null;
        }
        update();
    }

    async function showPicture(url) {
        const picture = view.make("img", { src: url });
        await picture.decode();
        if (seen && !last) // the stroke that is being drawn is ahead of the picture
            ink.drawImage(picture, seen.area.x, seen.area.y);
    }

    wipe();
    const label = () => canvas.setAttribute("aria-label", view.text("virtual.drawing"));
    document.addEventListener("language", label);
    label();
    return {
        elements: [
            view.make("div", { className: "display" }, canvas, emptyHint),
            view.make("div", { className: "actions" },
                view.button("virtual.sample", writeSample), buttons.element, view.button("virtual.wipe", wipe)),
        ],
        canvas,
        showArea,
        showPicture,
        showWindow,
    };
}
