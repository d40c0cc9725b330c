// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A lasting line for each session that waits for a person: the signer, or the operator of the camera.

/* exported startSessionBar */
function startSessionBar(desk) {
    const closeButton = "关闭退出"; // of the capture window
    const own = {}; // the windows that this page's commands wait for
    let there = { windows: [] }; // the windows that a virtual terminal sees, and the function for its commands

    const ways = {
        signing: () => desk.endSigning(),
        capture: () => there.play("press", { window: "capture", button: closeButton }),
    };
    const lines = Object.entries(ways).map(([name, end]) => {
        const text = view.make("span");
        const button = view.button(`session.${name}.end`, () => end().catch(() => {})); // the line stays
        const line = view.make("p", { hidden: true, dataset: { session: name } }, text, button);
        document.getElementById("sessions").append(line);
        return () => {
            const seen = there.windows.find(({ window }) => window === name);
            line.hidden = !own[name] && !seen;
            view.show(text, own[name] ? `session.${name}` : `session.${name}.other`);
            button.hidden = name === "capture" && !seen;
        };
    });
    const update = () => lines.forEach((show) => show());

    document.addEventListener("signing", ({ detail }) => {
        own.signing = Boolean(detail);
        update();
    });
    document.addEventListener("capture", ({ detail }) => {
        own.capture = detail;
        update();
    });
    document.addEventListener("windows", ({ detail }) => {
        there = detail;
        update();
    });
}
