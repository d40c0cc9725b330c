// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Where the pad's display is on the desktop. A virtual terminal has no display for its pad: on a desktop with room for
// none, the signing window has to lie on the one screen.

/* exported padPlace */
const padPlace = (() => {
    const usual = { x: 1921, y: 0, width: 1280, height: 800 }; // the service's at its start
    let isVirtual = false;
    let isChosen = false;
    document.addEventListener("windows", ({ detail }) => { isVirtual = detail.isThere; });

    /** The display's place that puts a window into the screen's lower right corner. */
    function forWindow({ x, y, width, height }) {
        return { ...usual, x: Math.max(screen.availWidth - width, 0) - x, y: Math.max(screen.availHeight - height, 0) - y };
    }

    return {
        initial: screen.isExtended || screen.width >= usual.x + usual.width ? usual : forWindow({ ...usual, x: 0, y: 0 }),
        /** The place to set before a window is opened; null when the window is seen without that. */
        needed(area) {
            const hasRoom = screen.isExtended || screen.width >= usual.x + area.x + area.width;
            return isVirtual && !isChosen && !hasRoom ? forWindow(area) : null;
        },
        /** From now on the place is the one that the user has set. */
        choose() { isChosen = true; },
    };
})();
