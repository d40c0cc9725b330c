// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The log of the raw frames in both directions, with their times.

/* exported startFrameLog */
function startFrameLog(desk) {
    const mostRows = 500;
    const longest = 600; // characters shown of a frame; pictures are longer
    const rows = document.getElementById("frames");
    const kept = [];

    const clock = (time) => {
        const two = (number) => String(number).padStart(2, "0");
        return `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}`
            + `.${String(time.getMilliseconds()).padStart(3, "0")}`;
    };
    const hex = (bytes) => Array.from(bytes, (byte) => byte.toString(16).padStart(2, "0")).join(" ");

    desk.addEventListener("frame", ({ direction, time, text, bytes }) => {
        const content = text ?? `[${hex(bytes)}]`;
        kept.push(`${time.toISOString()} ${direction} ${content}`);
        const shown = content.length > longest
            ? `${content.slice(0, longest / 2)} … ${content.slice(-longest / 4)} (${content.length})` : content;
        rows.prepend(view.make("tr", { className: direction },
            view.make("td", {}, clock(time), view.make("span", { className: "way", text: `log.${direction}` })),
            view.make("td", {}, shown)));
        if (rows.childElementCount > mostRows) {
            rows.lastElementChild.remove();
            kept.shift();
        }
    });

    document.getElementById("clear-log").addEventListener("click", () => {
        rows.replaceChildren();
        kept.length = 0;
    });
    document.getElementById("save-log").addEventListener("click", () => {
        view.download("frames.log", `${kept.join("\n")}\n`, "text/plain");
    });
    document.getElementById("raw").addEventListener("submit", (event) => {
        event.preventDefault();
        try {
            desk.sendRaw(document.getElementById("raw-text").value);
        } catch {
            desk.connect().catch(() => {}); // the error is shown with the connection's state
        }
    });
    document.getElementById("ping").addEventListener("click", () => desk.ping().catch(() => {}));
}
