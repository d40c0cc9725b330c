// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Elements of the page, and the language of its texts.

/* exported view */
const view = (() => {
    let language = navigator.language.startsWith("zh") ? "zh" : "en";
    try {
        language = localStorage.getItem("language") ?? language;
    } catch {
        // A browser may refuse storage to a page that was opened from disk.
    }

    /** The text of a key in the chosen language; undefined when there is none. */
    const find = (key) => texts[language][key];

    /** The text of a key, with {0}, {1}… replaced. */
    const text = (key, ...values) =>
        (find(key) ?? key).replace(/\{(\d)\}/g, (_, number) => values[number] ?? "");

    /**
     * Makes an element with properties and children. The property `text` is a key of the texts, and is shown in
     * the chosen language; strings among the children are not translated.
     */
    function make(name, { text: key, dataset, ...properties } = {}, ...children) {
        const element = Object.assign(document.createElement(name), properties);
        Object.assign(element.dataset, dataset);
        if (key) {
            element.dataset.text = key;
            element.textContent = text(key);
        }
        element.append(...children);
        return element;
    }

    /** Sets an element's text to that of a key, with values for {0}, {1}…. */
    function show(element, key, ...values) {
        element.dataset.text = key;
        element.dataset.values = JSON.stringify(values);
        element.textContent = text(key, ...values);
    }

    function apply() {
        document.documentElement.lang = language === "zh" ? "zh-CN" : "en";
        document.title = text("title");
        for (const element of document.querySelectorAll("[data-text]"))
            element.textContent = text(element.dataset.text, ...JSON.parse(element.dataset.values ?? "[]"));
        document.getElementById("language").textContent = language === "zh" ? "English" : "简体中文";
        document.dispatchEvent(new Event("language"));
    }

    document.getElementById("language").addEventListener("click", () => {
        language = language === "zh" ? "en" : "zh";
        try {
            localStorage.setItem("language", language);
        } catch {
            // Without storage the choice is kept until the page is closed.
        }
        apply();
    });

    function button(key, act, properties = {}) {
        const element = make("button", { type: "button", text: key, ...properties });
        element.addEventListener("click", act);
        return element;
    }

    /** Elements under a title, as a group. */
    function group(className, key, dataset, ...children) {
        const title = make("h3", { text: key, id: key.replace(".", "-") });
        const element = make("div", { className, dataset }, title, ...children);
        element.setAttribute("role", "group");
        element.setAttribute("aria-labelledby", title.id);
        return element;
    }

    function download(name, text, type) {
        const href = URL.createObjectURL(new Blob([text], { type }));
        make("a", { href, download: name }).click();
        URL.revokeObjectURL(href);
    }

    /** An input with a label: a number, a text or a choice. */
    function field(key, input) {
        return make("label", {}, make("span", { text: key }), input);
    }

    // In the order of the card; replies and states are sorted alphabetically.
    const cardFields = ["name", "englishName", "gender", "nation", "nationCode", "birthday", "address", "idNum", "issueOrg",
        "effectDate", "expireDate", "passNum", "signCount", "CardType", "certVersion", "typeLetter", "CertVersion", "dn", "figData"];

    /** The fields of a card, [name, value], in the order of a card. */
    function inCardOrder(fields) {
        return Object.entries(fields).sort(([a], [b]) => cardFields.indexOf(a) - cardFields.indexOf(b));
    }

    return { apply, button, download, field, find, group, inCardOrder, make, show, text };
})();
