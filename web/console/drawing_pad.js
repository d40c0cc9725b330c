// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A picture of the pad's display, to write on with the mouse, with the signing window's outline.

/* exported makeDrawingPad */
/**
 * @param {(points: number[][]) => void} pen gets samples [x, y, pressure], in pixels of the display
 * @returns the elements, and the function to call when a signing session begins or ends
 */
function makeDrawingPad(pen) {
    const display = { width: 1280, height: 800 };
    const mousePressure = 700;
    const buttonHeight = 60; // of the signing window, whose three buttons share its width
    const buttonNames = ["取消", "重签", "确定"];
    // The strokes of a name, in an area of 2 by 1, for a button that signs without a mouse.
    const sampleStrokes = [
        [[0.15, 0.12], [0.85, 0.08]], [[0.2, 0.5], [0.8, 0.46]], [[0.5, 0.1], [0.5, 0.88]],
        [[0.08, 0.9], [0.92, 0.88]], [[1.2, 0.28], [1.24, 0.66]], [[1.2, 0.28], [1.82, 0.25], [1.77, 0.64]],
        [[1.24, 0.64], [1.77, 0.62]], [[1.5, 0.02], [1.5, 0.98]],
    ];

    const canvas = view.make("canvas", { ...display, className: "drawing" });
    canvas.setAttribute("role", "img");
    const ink = canvas.getContext("2d");
    let area = null; // the signing window on the display
    let samples = [];
    let last = null;

    function buttonPlace(index) {
        const width = area.width / buttonNames.length;
        return { x: area.x + index * width, y: area.y + area.height - buttonHeight, width, height: buttonHeight };
    }

    function clear() {
        ink.fillStyle = "#f4f6f8";
        ink.fillRect(0, 0, display.width, display.height);
        if (!area)
            return;
        ink.fillStyle = "#ffffff";
        ink.fillRect(area.x, area.y, area.width, area.height);
        ink.strokeStyle = "#51606f";
        ink.lineWidth = 2;
        ink.strokeRect(area.x, area.y, area.width, area.height);
        ink.font = "36px sans-serif";
        ink.textAlign = "center";
        ink.textBaseline = "middle";
        for (const [index, name] of buttonNames.entries()) {
            const { x, y, width, height } = buttonPlace(index);
            ink.strokeRect(x, y, width, height);
            ink.fillStyle = "#16202c";
            ink.fillText(name, x + width / 2, y + height / 2);
        }
    }

    /** Sends all samples of one animation frame in one message. */
    function add(x, y, pressure) {
        if (samples.length === 0)
            requestAnimationFrame(() => pen(samples.splice(0)));
        samples.push([x, y, pressure]);
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
        if (!area)
            return false;
        const again = buttonPlace(1);
        return x >= again.x && x < again.x + again.width && y >= again.y && y < again.y + again.height;
    }

    function follow(event) {
        const { left, top, width, height } = canvas.getBoundingClientRect();
        const place = (clientX, clientY) => [
            Math.min(Math.max((clientX - left) / width, 0), 1) * (display.width - 1),
            Math.min(Math.max((clientY - top) / height, 0), 1) * (display.height - 1)].map(Math.round);
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

    function press(index) {
        if (!area)
            return;
        const { x, y, width, height } = buttonPlace(index);
        const middle = [Math.round(x + width / 2), Math.round(y + height / 2)];
        for (const pressure of [mousePressure, mousePressure, 0])
            add(...middle, pressure);
    }

    function writeSample() {
        const { x, y, width, height } = area ?? { x: 0, y: 0, ...display };
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

    function button(properties, act) {
        const element = view.make("button", { type: "button", ...properties });
        element.addEventListener("click", act);
        return element;
    }
    const presses = buttonNames.map((name, index) => button({ textContent: name, lang: "zh-CN" }, () => press(index)));

    function showArea(next) {
        area = next;
        for (const each of presses)
            each.disabled = !area;
        clear();
    }
    showArea(null);
    const label = () => canvas.setAttribute("aria-label", view.text("virtual.drawing"));
    document.addEventListener("language", label);
    label();
    return {
        elements: [
            view.make("p", { className: "hint", text: "virtual.padHint" }), canvas,
            view.make("div", { className: "actions" },
                button({ text: "virtual.sample" }, writeSample), ...presses, button({ text: "virtual.wipe" }, clear)),
        ],
        showArea,
    };
}
