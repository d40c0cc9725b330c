// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// An open window of the service as the virtual terminal sees it: live pictures and its buttons.

/* exported watchWindow, makeWindowButtons */

/**
 * Asks for pictures of a window while it is open and `element` is in view.
 * @param {string} name "signing" or "capture"
 * @param {(command: string, keys: object) => Promise<object>} command of the control port
 * @param {Element} element
 * @param {(url: string) => void} show gets each picture
 * @returns {(isOpen: boolean) => void} to call when the window opens or closes
 */
function watchWindow(name, command, element, show) {
    const pauseMs = 400;
    let isOpen = false;
    let isAsking = false;

    function isInView() {
        const { top, bottom } = element.getBoundingClientRect();
        return !document.hidden && element.checkVisibility() && top < innerHeight && bottom > 0;
    }

    async function ask() {
        isAsking = true;
        while (isOpen) {
            const result = isInView() && await command("screenshot", { window: name }).catch(() => null);
            if (result && isOpen)
                show(`data:image/png;base64,${result.png}`);
            await new Promise((resolve) => setTimeout(resolve, pauseMs));
        }
        isAsking = false;
    }

    return (isOpenNow) => {
        if (isOpenNow && !isOpen)
            element.scrollIntoView({ block: "nearest" });
        isOpen = isOpenNow;
        if (isOpen && !isAsking)
            ask();
    };
}

/**
 * Makes a window's buttons.
 * @param {(name: string) => void} press
 * @param {string[]} usual their names while no window is open
 */
function makeWindowButtons(press, usual = []) {
    const element = view.make("span", { className: "actions", lang: "zh-CN" });
    const names = () => [...element.children].map(({ textContent }) => textContent);
    /** The buttons of an open window; null when none is open. */
    function update(window) {
        const wanted = window?.buttons.map(({ button }) => button) ?? usual;
        // Buttons that stay keep the keyboard's focus.
        if (wanted.join() !== names().join())
            element.replaceChildren(...wanted.map((name) => view.button(undefined, () => press(name), { textContent: name })));
        for (const button of element.children)
            button.disabled = !window;
    }
    update(null);
    return { element, update };
}
