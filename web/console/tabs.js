// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The three parts of the page: columns in a wide window, tabs in a narrow one.

/* exported startTabs */
function startTabs() {
    const narrow = matchMedia("(max-width: 74.99rem)"); // as in console.css
    const list = document.getElementById("tabs");
    const panes = [...document.querySelectorAll("main > section")];
    const tabs = panes.map((pane, at) => {
        const tab = view.button(`pane.${pane.id}`, () => choose(at));
        tab.setAttribute("role", "tab");
        tab.setAttribute("aria-controls", pane.id);
        return tab;
    });
    list.append(...tabs);

    function choose(chosen) {
        list.hidden = !narrow.matches;
        for (const [at, pane] of panes.entries()) {
            tabs[at].setAttribute("aria-selected", at === chosen);
            tabs[at].tabIndex = at === chosen ? 0 : -1;
            pane.hidden = narrow.matches && at !== chosen;
            if (narrow.matches)
                pane.setAttribute("role", "tabpanel");
            else
                pane.removeAttribute("role");
        }
    }

    list.addEventListener("keydown", ({ key }) => {
        const chosen = tabs.indexOf(document.activeElement);
        const last = tabs.length - 1;
        const next = { ArrowLeft: chosen > 0 ? chosen - 1 : last, ArrowRight: chosen < last ? chosen + 1 : 0, Home: 0, End: last };
        if (!(key in next))
            return;
        choose(next[key]);
        tabs[next[key]].focus();
    });
    narrow.addEventListener("change", () => choose(tabs.findIndex((tab) => tab.tabIndex === 0)));
    choose(0);
}
