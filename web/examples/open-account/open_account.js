// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A clerk's page: identity card, document picture, SIM card and signature of a new customer. The steps are taken in any
// order; each has a button, can be repeated, and says in words what is to be done when it fails.

"use strict";

const desk = new deskTerminal.DeskTerminal();
const area = { x: 240, y: 150, width: 800, height: 500 }; // of the signing window, in pixels of the pad's display
const element = (id) => document.getElementById(id);

const unreachable = {
    "service-not-running": "The terminal's service does not answer. Restart the terminal, or call the administrator.",
    "public-http": "This page must be opened with https.",
    "permission-denied": "Allow this page to reach the local network in the browser's site settings, then reload it.",
    "permission-needed": "The browser asks whether this page may reach this device: choose Allow.",
    "mixed-content": "The address of the service is wrong for this page. Call the administrator.",
    "content-security-policy": "The page's own server forbids the connection. Call the administrator.",
};

const texts = {
    ...unreachable,
    "aborted": "",
    "closed": "The connection was closed. Try again.",
    "connection-lost": "The connection to the terminal's service was lost. Try again in a moment.",
    "timeout": "The device did not answer in time. Unplug it, plug it in again, and repeat the step.",
    "unknown-command": "The administrator has switched this device off.",
    "busy": "This step is already open.",
    "reader-absent": "The reader is not plugged in, or another program uses it.",
    "reader-failed": "The card reader does not work. Unplug it, plug it in again, and repeat the step.",
    "pad-absent": "The signature pad is not plugged in.",
    "pad-busy": "Another program uses the signature pad. Close that program.",
    "signing-in-progress": "A signature is open on the pad, perhaps another page's. End it only when nobody is writing.",
    "cancelled": "The customer cancelled. Ask again when the customer is ready.",
    "ended": "The signature was ended from another page.",
    "card-absent": "There is no SIM card in the reader, or it is the wrong way round.",
    "card-unreadable": "The card could not be read. Clean it, put it in again, and repeat the step.",
    "no-picture": "No picture came. Is the camera plugged in? Close an earlier picture window, and try again.",
};

// What was collected for this customer: { card, document, sim, signature }, and isOpen.
let account = {};

// --- The steps --------------------------------------------------------------------------------------------------

const date = (digits) => digits.replace(/^(\d{4})(\d\d)(\d\d)$/, "$1-$2-$3");

function isExpired({ expireDate }) {
    const now = new Date();
    const today = [now.getFullYear(), now.getMonth() + 1, now.getDate()].map((part) => String(part).padStart(2, "0")).join("");
    return /^\d{8}$/.test(expireDate) && expireDate < today;
}

function showCard(card) {
    element("card-photo").hidden = !card.photo;
    element("card-photo").src = card.photo?.dataUrl ?? "";
    element("card-name").textContent = card.name || card.englishName;
    element("card-number").textContent = card.idNum;
    element("card-birthday").textContent = date(card.birthday);
    element("card-address").textContent = card.address;
    element("card-expiry").textContent = date(card.expireDate);
}

// `act` gets an AbortSignal and gives the result; `show` shows it; `check` says what is wrong with it.
const steps = {
    card: {
        waiting: "Waiting for a card…",
        act: (signal) => desk.waitForCard({ reader: document.querySelector("[name=reader]:checked").value, signal }),
        show: showCard,
        check: (card) => isExpired(card) && "This card has expired. Ask for a valid one.",
    },
    document: {
        waiting: "Take the picture in the window…",
        act: (signal) => desk.takePicture({ signal }),
        show(picture) {
            element("document-picture").src = picture.dataUrl;
            element("document-checked").checked = false; // the picture may be an earlier one: the clerk looks at it
        },
        aborted: "The picture window stays open: close it before the next picture.",
    },
    sim: {
        waiting: "Reading…",
        act: (signal) => desk.readSim({ signal }),
        show: (number) => { element("sim-number").textContent = number; },
        check: (number) => !number && "This SIM card has no number. Take another one.",
    },
    signature: {
        waiting: "The customer is signing…",
        act: (signal, options) => desk.sign(area, { signal, ...options }),
        show: (picture) => { element("signature-picture").src = picture.dataUrl; },
    },
};

function tell(place, text, kind = "") {
    place.textContent = text;
    place.className = `message ${text && kind}`;
}

/** Takes a step; an earlier result of it is dropped first. */
async function take(name, options) {
    const { waiting, act, show, check, aborted = "" } = steps[name];
    const section = element(name);
    const [run, stop, result, message] = [".run", ".stop", ".result", ".message"].map((part) => section.querySelector(part));
    const controller = new AbortController();
    const customer = account;
    const stopStep = () => controller.abort();
    delete account[name];
    section.classList.remove("done");
    result.hidden = true;
    run.disabled = true;
    element("sign-anyway").hidden ||= name === "signature";
    if (stop)
        stop.hidden = false;
    stop?.addEventListener("click", stopStep);
    element("next").addEventListener("click", stopStep);
    tell(message, waiting);
    try {
        const value = await act(controller.signal, options);
        if (customer !== account)
            return;
        const complaint = check?.(value);
        show(value);
        result.hidden = false;
        tell(message, complaint || "", "bad");
        if (!complaint)
            account[name] = value;
        section.classList.toggle("done", !complaint);
    } catch (error) {
        if (customer !== account)
            return;
        tell(message, error.reason === "aborted" ? aborted : texts[error.reason] ?? `That did not work: ${error.message}`, "bad");
        element("sign-anyway").hidden = error.reason !== "signing-in-progress";
    } finally {
        run.disabled = false;
        if (stop)
            stop.hidden = true;
        stop?.removeEventListener("click", stopStep);
        element("next").removeEventListener("click", stopStep);
        update();
    }
}

// --- The account ------------------------------------------------------------------------------------------------

function update() {
    const isComplete = Object.keys(steps).every((name) => account[name]) && element("document-checked").checked;
    element("open").disabled = !isComplete || account.isOpen;
}

function openAccount() {
    // Here a page sends `account` to its server: the card's fields, the three pictures as Base64, the SIM card's number.
    tell(element("finished"), `The account of ${element("card-name").textContent} is open, with the SIM card ${account.sim}.`, "good");
    account.isOpen = true;
    update();
}

/** Forgets the customer, so that nothing of one is seen by the next. */
function nextCustomer() {
    account = {};
    for (const image of document.querySelectorAll(".result img"))
        image.removeAttribute("src");
    for (const value of document.querySelectorAll(".result dd, .result output"))
        value.textContent = "";
    for (const section of document.querySelectorAll("section")) {
        section.classList.remove("done");
        section.querySelectorAll(".result").forEach((result) => { result.hidden = true; });
        tell(section.querySelector(".message"), "");
    }
    element("document-checked").checked = false;
    element("sign-anyway").hidden = true;
    update();
}

for (const name of Object.keys(steps))
    element(name).querySelector(".run").addEventListener("click", () => take(name));
element("sign-anyway").addEventListener("click", () => take("signature", { endOpenSession: true }));
element("document-checked").addEventListener("change", update);
element("open").addEventListener("click", openAccount);
element("next").addEventListener("click", nextCustomer);

// --- The connection ---------------------------------------------------------------------------------------------

desk.addEventListener("state", ({ state, error }) => {
    element("connection").textContent = state === "open" ? "Terminal connected" : "Terminal not connected";
    element("connection").className = state === "open" ? "good" : "";
    element("connection-help").hidden = state === "open" || !error;
    element("connection-help").textContent = texts[error?.reason] ?? "";
});
desk.connect().catch(() => {}); // the state event tells why, and further attempts follow
