// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The connection to the service: its state, and an explanation when it fails.

(() => {
    // Other addresses than the default ones can be given as index.html?url=ws://…&control=ws://…
    const given = new URLSearchParams(location.search);
    const url = given.get("url") ?? deskTerminal.defaultUrl;
    const desk = new deskTerminal.DeskTerminal({ url });
    const stateLine = document.getElementById("state");
    const reasonLine = document.getElementById("reason");
    let last = { state: "closed" };

    function showState() {
        const { state, delay, error } = last;
        stateLine.dataset.state = state;
        stateLine.textContent = view.text(`state.${state}`, ((delay ?? 0) / 1000).toFixed(1));
        document.getElementById("connect").textContent = view.text(state === "open" ? "disconnect" : "connect");
        if (state === "open" || state === "closed")
            reasonLine.hidden = true;
        if (error) {
            reasonLine.hidden = false;
            reasonLine.textContent = view.text(`reason.${error.reason}`, url);
        }
    }

    desk.addEventListener("state", (event) => {
        // The error of the last attempt is shown until the next attempt has ended.
        last = { state: event.state, delay: event.delay, error: event.error ?? (event.state === "connecting" && last.error) };
        showState();
    });
    document.addEventListener("language", showState);

    document.getElementById("url").value = url;
    document.getElementById("connection").addEventListener("submit", (event) => {
        event.preventDefault();
        const wanted = document.getElementById("url").value;
        if (wanted !== url)
            location.search = new URLSearchParams({ ...Object.fromEntries(given), url: wanted });
        else if (desk.state === "open")
            desk.close();
        else
            desk.connect().catch(() => {}); // shown as the state
    });

    startSessionBar(desk);
    startFrameLog(desk);
    const recorded = startRecorder(desk);
    startPanels(desk);
    startVirtualDesk(given.get("control") ?? "ws://localhost:12345/", recorded);
    startTabs();
    view.apply();
    desk.connect().catch(() => {}); // shown as the state
})();
