// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The connection to the control port of a virtual terminal, which operates the virtual devices. A real terminal has no
// such port.

/* exported openControlPort */
/**
 * @param {string} url
 * @param {{connected: (isThere: boolean) => void, state: (state: object) => void, service: (event: object) => void}}
 *     listener called when the connection opens or closes, when the state changes and when the service prints a line
 * @returns {(command: string, keys?: object) => Promise<object>} sends a command; rejects with the error
 */
function openControlPort(url, listener) {
    const retryMs = 3000;
    const longestMessage = 8 * 1024 * 1024; // the port closes the connection after a longer one
    const waiting = new Map();
    let socket;
    let lastId = 0;

    function open() {
        if (document.hidden) {
            setTimeout(open, retryMs);
            return;
        }
        try {
            socket = new WebSocket(url);
        } catch {
            return; // Firefox, for a page whose Content-Security-Policy does not allow the address
        }
        socket.onopen = () => listener.connected(true);
        socket.onmessage = ({ data }) => receive(JSON.parse(data));
        socket.onclose = () => {
            for (const { reject } of waiting.values())
                reject(new Error(view.text("virtual.lost")));
            waiting.clear();
            listener.connected(false);
            setTimeout(open, retryMs);
        };
    }

    function receive(message) {
        if (message.event === "state")
            listener.state(message.state);
        else if (message.event === "service")
            listener.service(message);
        const asked = waiting.get(message.id);
        waiting.delete(message.id);
        if (message.ok)
            asked?.resolve(message.result);
        else
            asked?.reject(new Error(message.error));
    }

    open();
    return (command, keys = {}) => new Promise((resolve, reject) => {
        const text = JSON.stringify({ ...keys, id: ++lastId, command });
        if (socket?.readyState !== WebSocket.OPEN)
            reject(new Error(view.text("virtual.lost")));
        else if (new Blob([text]).size > longestMessage)
            reject(new Error(view.text("virtual.tooLarge")));
        else {
            waiting.set(lastId, { resolve, reject });
            socket.send(text);
        }
    });
}
