// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

/**
 * Client of the desk terminal's hardware service: signature pad, identity-card readers, SIM-card reader and
 * cameras, from a web page.
 *
 *     const desk = new DeskTerminal();
 *     const card = await desk.readIdCard();
 *     const signature = await desk.sign({ x: 240, y: 150, width: 800, height: 500 });
 *     picture.src = signature.dataUrl;
 *
 * Every command is a promise. It rejects with a {@link DeskError} that names the step, its code and its text.
 * Every command takes the options `timeout`, in ms, and `signal`, an AbortSignal; see docs/client-library.md.
 */

/** The service's address on the machine that shows the page. */
export const defaultUrl = "ws://localhost:12343/";

const place = { x: [-32768, 32767], y: [-32768, 32767], width: [1, 32767], height: [1, 32767] };

/**
 * The commands of the service. `parameters` gives each parameter's minimum and maximum; `seconds` is the time
 * limit of the reply (long, because a device that hangs or another page's card blocks the whole service);
 * commands without it wait for a person and have no limit.
 */
export const commands = Object.freeze({
    ZCDeviceExist: { parameters: {}, seconds: 15 },
    ZCStartDeviceAB: { parameters: {}, seconds: 15 },
    ZCBeginSignAB: { parameters: place },
    ZCOutputImageBase64AB: { parameters: {}, seconds: 15 },
    ZCEndSignAB: { parameters: {}, seconds: 15 },
    ZCSetTransparency: { parameters: { Percent: [0, 100] }, seconds: 15 },
    ZCSetPenWidth: { parameters: { Width: [0, 1000] }, seconds: 15 },
    ZCSetModeAB: { parameters: { mode: [0, 32767] }, seconds: 15 },
    ZCStopDeviceAB: { parameters: {}, seconds: 15 },
    ZCResignAB: { parameters: {}, seconds: 15 },
    ZCSetSignScreenPosSizeAB: { parameters: place, seconds: 15 },
    ZCGetSAMNum: { parameters: {}, seconds: 20 },
    ZCReadIDCard: { parameters: {}, seconds: 60 },
    ZCReadHIDOpen: { parameters: {}, seconds: 15 },
    ZCReadHIDIDCard: { parameters: {}, seconds: 60 },
    ZCCameraPic: { parameters: {} },
    ZCSIMCard: { parameters: {}, seconds: 30 },
});

// Must not be the name of a command; those begin with ZC.
const ping = "ping";

// The object that gets the browser's "securitypolicyviolation" events, in a page and in a worker.
const policyEvents = globalThis.document ?? globalThis;

// [reason, step, code or pattern of the service's text, message for people]
const reasons = [
    ["pad-absent", "ZCStartDeviceAB", -1, "no signature pad is attached"],
    ["pad-busy", "ZCStartDeviceAB", -2, "another program uses the signature pad"],
    ["signing-in-progress", null, /^签名进行中$/, "a signing session is open"],
    ["cancelled", "ZCBeginSignAB", /^用户已取消$/, "the signer cancelled"],
    ["not-signed", "ZCOutputImageBase64AB", /^未签名$/, "there is no signature"],
    ["reader-absent", "ZCReadIDCard", 431003, "the card reader is not attached, or in use"],
    ["card-unreadable", "ZCReadIDCard", 431004, "no card, or it could not be read"],
    ["reader-failed", "ZCReadIDCard", 0, "the card reader does not answer"],
    ["reader-absent", "ZCGetSAMNum", /open_device|interface/, "the card reader is not attached, or in use"],
    ["reader-failed", "ZCGetSAMNum", -1, "the card reader does not answer"],
    ["reader-absent", "ZCReadHIDIDCard", -12, "the card reader is not attached, or in use"],
    ["card-unreadable", "ZCReadHIDIDCard", /卡/, "no card, or it could not be read"],
    ["reader-absent", "ZCSIMCard", /^打开设备端口失败$/, "the card reader is not attached, or in use"],
    ["card-absent", "ZCSIMCard", /^设备上电失败$/, "no SIM card, or it does not start"],
    ["card-unreadable", "ZCSIMCard", /^设备/, "the SIM card stopped answering"],
    ["no-picture", "ZCCameraPic", 0, "no camera, or an earlier window still has it, or no picture was taken"],
];

/** A failed step of a command. */
export class DeskError extends Error {
    /**
     * @param {string} step the command that failed, or "connect"
     * @param {number|string} code the service's code; a word for an error of the client itself
     * @param {string} text the service's message, or the client's
     * @param {object} [reply] the service's reply
     */
    constructor(step, code, text, reply) {
        const known = reply && reasons.find(([, at, sign]) => (at === null || at === step)
            && (sign instanceof RegExp ? sign.test(text) : sign === code));
        const words = [text, known?.[3]].filter(Boolean).join(": ");
        super(`${step} failed (${code})${words && `: ${words}`}`);
        this.name = "DeskError";
        this.step = step;
        this.code = code;
        this.text = text;
        /** A keyword for the cause: from the table above, otherwise the code as text. */
        this.reason = known ? known[0] : String(code);
        this.reply = reply;
    }
}

/** An event of {@link DeskTerminal}: "state", "frame" or "stray", with its details as members. */
export class DeskEvent extends Event {
    /**
     * @param {string} type
     * @param {object} details
     */
    constructor(type, details) {
        super(type);
        Object.assign(this, details);
    }
}

/**
 * Writes a request. Apostrophes are escaped, because the service replaces each by a double quote before it parses
 * the text.
 * @param {object} request
 * @returns {string}
 */
export function encodeRequest(request) {
    return JSON.stringify(request).replace(/'/g, "\\u0027");
}

/**
 * A picture of a reply. Its type is found by its first bytes, because the reply does not give it.
 * @param {string} base64
 * @returns {{base64: string, type: string, dataUrl: string}}
 */
export function picture(base64) {
    const kinds = [["iVBORw", "image/png"], ["/9j/", "image/jpeg"], ["Qk", "image/bmp"]];
    const type = kinds.find(([start]) => base64.startsWith(start))?.[1] ?? "application/octet-stream";
    return { base64, type, dataUrl: `data:${type};base64,${base64}` };
}

/**
 * The likely reason why a page cannot connect.
 * @param {string} url of the service
 * @param {{protocol: string, hostname: string}} [page] the page's own address
 * @returns {Promise<"service-not-running"|"public-http"|"permission-denied"|"permission-needed"|"mixed-content">}
 */
export async function likelyReason(url, page = globalThis.location) {
    const isLocal = (/** @type {string} */ name) => /^(localhost|127\..*|\[::1\]|.*\.localhost)$/.test(name);
    if (page?.protocol === "https:" && url.startsWith("ws:") && !isLocal(new URL(url).hostname))
        return "mixed-content";
    if (!page || !/^https?:$/.test(page.protocol) || isLocal(page.hostname))
        return "service-not-running";
    // Browsers decide by the page's network address; a page only knows its host name.
    if (!page.hostname.includes(".") || /^(10|192\.168|172\.(1[6-9]|2\d|3[01])|169\.254)\./.test(page.hostname)
        || /\.(local|lan|intranet|internal)$/.test(page.hostname))
        return "service-not-running";
    if (page.protocol === "http:")
        return "public-http";
    for (const name of ["loopback-network", "local-network-access"]) {
        try {
            const { state } = await globalThis.navigator.permissions.query(/** @type {any} */ ({ name }));
            if (state !== "granted")
                return state === "denied" ? "permission-denied" : "permission-needed";
            break;
        } catch {
            // This browser does not know the permission by this name.
        }
    }
    return "service-not-running";
}

const defaults = {
    url: defaultUrl,
    reconnect: true,
    firstDelay: 500,
    longestDelay: 10000,
    connectTimeout: 5000,
    sessionCheck: 10000,
};

/**
 * The connection to the service, and its commands.
 *
 * Ordinary commands run one after another. The two that open a window (signing, camera) wait for a person, and
 * others run meanwhile.
 *
 * Events: "state" ({state, delay, error}; state is closed, connecting, open or waiting), "frame" ({direction,
 * time, text or bytes}) for each raw frame, "stray" ({text}) for a reply that belongs to no command.
 */
export class DeskTerminal extends EventTarget {
    #options;
    #WebSocket;
    #state = "closed";
    #socket = null;
    #attempt = 0;
    #timer = undefined;
    #waiters = [];
    #queue = [];
    #active = null; // the ordinary command that was sent and has not been answered
    #windows = new Map(); // the commands that wait for a person, by name
    #sessionTimer = undefined;
    #leftSession = false; // the connection was lost while this object's signing session was open
    #isBlocked = false; // by the page's Content-Security-Policy
    #mode = 0;
    #tagPrefix = Math.random().toString(36).slice(2, 8);
    #tagNumber = 0;

    /**
     * @param {object} [options]
     * @param {string} [options.url]
     * @param {any} [options.WebSocket] a WebSocket class, for platforms without one (Node before 22)
     * @param {boolean} [options.reconnect] reconnect when the connection is lost (default true)
     * @param {number} [options.firstDelay] ms before the first new attempt; doubled after each (default 500)
     * @param {number} [options.longestDelay] ms (default 10000)
     * @param {number} [options.connectTimeout] ms (default 5000)
     * @param {number} [options.sessionCheck] ms between checks whether another page has ended an open signing
     *     session, which the service does not report (default 10000; 0: never)
     */
    constructor(options = {}) {
        super();
        this.#options = { ...defaults, ...options };
        this.#WebSocket = options.WebSocket ?? globalThis.WebSocket;
        if (!this.#WebSocket)
            throw new TypeError("options.WebSocket is missing");
    }

    get state() { return this.#state; }
    get url() { return this.#options.url; }
    /** Whether this page's signing session is open. */
    get isSigning() { return this.#windows.has("ZCBeginSignAB"); }

    // --- Connection -------------------------------------------------------------------------------------------

    /**
     * Connects now; a command does it when there is no connection. When this attempt fails, the promise rejects
     * with the likely reason, and further attempts follow in the background, as they do when it is aborted.
     * @param {{signal?: AbortSignal}} [options]
     * @returns {Promise<void>}
     */
    connect({ signal } = {}) {
        return abortable("connect", signal, (resolve, reject) => {
            if (this.#state === "open") {
                resolve();
                return;
            }
            this.#waiters.push({ resolve, reject });
            if (this.#state !== "connecting")
                this.#open();
        });
    }

    /**
     * Ends the connection, and this page's signing session if it is open; commands without a reply reject. A
     * later command connects again.
     */
    close() {
        clearTimeout(this.#timer);
        policyEvents.removeEventListener?.("securitypolicyviolation", this.#policyViolated);
        if (this.isSigning)
            this.#sendEnd();
        this.#drop(new DeskError("connect", "closed", "the page closed the connection"));
        this.#setState("closed");
    }

    #setState(state, details = {}) {
        this.#state = state;
        this.dispatchEvent(new DeskEvent("state", { state, ...details }));
    }

    #open() {
        clearTimeout(this.#timer);
        this.#isBlocked = false;
        policyEvents.addEventListener?.("securitypolicyviolation", this.#policyViolated);
        this.#setState("connecting");
        let socket;
        try {
            socket = new this.#WebSocket(this.#options.url);
        } catch (error) {
            // The browser refuses the address or the page's access to it; Firefox sends the event for a policy later.
            this.#timer = setTimeout(() => this.#lost(error.message));
            return;
        }
        this.#socket = socket;
        socket.binaryType = "arraybuffer";
        this.#timer = setTimeout(() => this.#lost("no answer"), this.#options.connectTimeout);
        socket.onopen = () => socket === this.#socket && this.#opened();
        socket.onmessage = (event) => socket === this.#socket && this.#receive(event.data);
        socket.onclose = (event) => {
            if (socket === this.#socket)
                this.#lost(`closed, code ${event.code}${event.reason && `, ${event.reason}`}`);
        };
        socket.onerror = () => {}; // followed by a close event, which is handled
    }

    #opened() {
        clearTimeout(this.#timer);
        policyEvents.removeEventListener?.("securitypolicyviolation", this.#policyViolated);
        this.#attempt = 0;
        if (this.#leftSession)
            this.#requestFirst("ZCEndSignAB");
        this.#leftSession = false;
        this.#setState("open");
        for (const waiter of this.#waiters.splice(0))
            waiter.resolve();
        this.#next();
    }

    /** A socket blocked by the page's policy gives no reason for its failure, in Chromium not even an event. */
    #policyViolated = (/** @type {any} */ { disposition, effectiveDirective, blockedURI }) => {
        this.#isBlocked ||= disposition === "enforce" && effectiveDirective === "connect-src"
            && blockedURI.startsWith(new URL(this.url).origin);
        if (this.#isBlocked && this.#state === "connecting")
            this.#lost("blocked by the page's policy");
    };

    async #lost(detail) {
        clearTimeout(this.#timer);
        const wasOpen = this.#state === "open";
        this.#leftSession ||= this.isSigning;
        const willRetry = this.#options.reconnect;
        const backOff = Math.min(this.#options.longestDelay, this.#options.firstDelay * 2 ** this.#attempt);
        const delay = willRetry ? Math.round(backOff * (0.8 + 0.4 * Math.random())) : undefined;
        this.#attempt += 1;
        const error = new DeskError("connect", wasOpen ? "connection-lost" : "unreachable", detail);
        const waiters = this.#waiters.splice(0);
        this.#drop(error);
        if (willRetry)
            this.#timer = setTimeout(() => this.#open(), delay);
        // Finding the reason is asynchronous; the state is set before.
        this.#state = willRetry ? "waiting" : "closed";
        if (!wasOpen)
            error.reason = this.#isBlocked ? "content-security-policy"
                : await likelyReason(this.#options.url).catch(() => "service-not-running");
        for (const waiter of waiters)
            waiter.reject(error);
        this.dispatchEvent(new DeskEvent("state", { state: this.#state, delay, error }));
    }

    /** Drops the socket and rejects everything that waits for it. */
    #drop(error) {
        const socket = this.#socket;
        this.#socket = null;
        try {
            socket?.close();
        } catch {
            // The socket was not open.
        }
        this.#unwatchSession();
        const jobs = [...this.#windows.values(), ...(this.#active ? [this.#active] : []), ...this.#queue.splice(0)];
        this.#windows.clear();
        this.#active = null;
        for (const job of jobs) {
            clearTimeout(job.timer);
            job.reject(new DeskError(job.name, error.code, error.text));
        }
        for (const waiter of this.#waiters.splice(0))
            waiter.reject(error);
    }

    // --- Requests and replies ---------------------------------------------------------------------------------

    /**
     * Sends one command and returns its reply unchanged. The methods below check and convert the replies.
     * @param {string} name
     * @param {object} [parameters]
     * @param {{timeout?: number, signal?: AbortSignal, stopPad?: boolean}} [options] the time limit in ms, by default as
     *     in the table of commands; a signal that drops a command which is not sent yet, and otherwise stops waiting
     * @returns {Promise<object>} the reply, also when it reports a failure; an empty object for ZCReadHIDOpen,
     *     which has no reply, when the service has received it
     */
    async request(name, parameters = {}, { timeout, signal, stopPad } = {}) {
        if (this.#state !== "open")
            await this.connect({ signal }).catch((error) => {
                throw Object.assign(new DeskError(name, error.code, error.text), { reason: error.reason });
            });
        return abortable(name, signal, (resolve, reject) => {
            const job = this.#job(name, parameters, timeout, resolve, reject, stopPad);
            this.#queue.push(job);
            this.#next();
            return (error) => this.#abort(job, error);
        });
    }

    /**
     * Sends any text unchanged and at once, ahead of queued commands. Its reply is reported by a "stray" event.
     * @param {string} text
     */
    sendRaw(text) {
        if (this.#state !== "open")
            throw new DeskError("connect", "closed", "not connected");
        this.#send(text);
    }

    /** Lets the service echo a binary frame, which shows that it has processed all earlier commands. */
    async ping(options) {
        await this.request(ping, {}, options);
    }

    #job(name, parameters, timeout, resolve, reject, stopPad) {
        const seconds = commands[name]?.seconds ?? (commands[name] ? undefined : 15);
        return { name, parameters, timeout: timeout ?? (seconds && seconds * 1000), resolve, reject, stopPad };
    }

    /** Puts a command of the client itself ahead of the queue. */
    #requestFirst(name, settle = () => {}) {
        this.#queue.unshift(this.#job(name, {}, undefined, settle, settle));
    }

    #next() {
        if (this.#active || this.#state !== "open" || this.#queue.length === 0)
            return;
        const job = this.#queue.shift();
        if (this.#windows.has(job.name)) {
            job.reject(new DeskError(job.name, "busy", "already open here"));
            this.#next();
            return;
        }
        job.tag = `${this.#tagPrefix}-${++this.#tagNumber}`;
        const opensWindow = job.name === "ZCBeginSignAB" || job.name === "ZCCameraPic";
        if (opensWindow)
            this.#windows.set(job.name, job);
        else
            this.#active = job;
        if (job.timeout)
            job.timer = setTimeout(() => this.#timeOut(job), job.timeout);
        if (job.name !== ping) {
            job.sent = encodeRequest({ ...job.parameters, function: job.name, _tflag: job.tag });
            this.#send(job.sent);
        }
        if (job.name === ping || job.name === "ZCReadHIDOpen") {
            job.echo = job.tag;
            this.#send(new TextEncoder().encode(job.tag));
        }
        if (opensWindow) {
            if (job.name === "ZCBeginSignAB")
                this.#watchSession();
            this.#next();
        }
    }

    #send(data) {
        this.#log("sent", data);
        this.#socket.send(data);
    }

    #log(direction, data) {
        const content = typeof data === "string" ? { text: data } : { bytes: new Uint8Array(data) };
        this.dispatchEvent(new DeskEvent("frame", { direction, time: new Date(), ...content }));
    }

    #receive(data) {
        this.#log("received", data);
        const active = this.#active;
        if (typeof data !== "string") {
            if (active?.echo && active.echo === new TextDecoder().decode(data))
                this.#finish(active, {});
            return;
        }
        if (active && data === active.sent) {
            // The service sends a text back when it is no known command.
            this.#fail(active, new DeskError(active.name, "unknown-command", "the service does not know it"));
            return;
        }
        let reply;
        try {
            reply = JSON.parse(data);
        } catch {
            reply = null;
        }
        const job = reply && this.#jobOf(reply);
        if (!job)
            this.dispatchEvent(new DeskEvent("stray", { text: data }));
        else
            this.#finish(job, reply);
    }

    /**
     * The command that a reply belongs to. The service tags a reply with the latest request's tag. For an ordinary
     * command that is its own tag, because it is answered before the next one is sent; the reply of a command with
     * a window, or one that arrives after the time limit, has another. A signing session's reply has the name of
     * another command.
     */
    #jobOf(reply) {
        const { functionName: name, _tflag: tag } = reply;
        if (this.#active && name === this.#active.name && tag === this.#active.tag)
            return this.#active;
        if (name === "ZCOutputImageBase64AB" || name === "ZCBeginSignAB")
            return this.#windows.get("ZCBeginSignAB");
        return this.#windows.get(name);
    }

    #finish(job, reply) {
        const first = job.resolve;
        if (job.name === "ZCSIMCard" && reply.success === 1 && !job.answered) {
            // The service sends this reply twice; the next command waits for the second one.
            job.answered = true;
            first(reply);
            return;
        }
        this.#release(job);
        first(reply);
        if (job.name === "ZCEndSignAB" || job.name === "ZCStopDeviceAB")
            this.#sessionEnded();
        this.#next();
    }

    #fail(job, error) {
        this.#release(job);
        job.reject(error);
        this.#next();
    }

    #release(job) {
        clearTimeout(job.timer);
        if (this.#active === job)
            this.#active = null;
        if (this.#windows.get(job.name) === job)
            this.#windows.delete(job.name);
        if (job.name === "ZCBeginSignAB")
            this.#unwatchSession();
    }

    #timeOut(job) {
        const stays = job.name === "ZCCameraPic" ? "; the capture window stays open" : "";
        this.#giveUp(job, new DeskError(job.name, "timeout", `no answer within ${job.timeout / 1000} s${stays}`));
    }

    /**
     * Drops a command that is not sent yet, and gives up one that waits for a person. Another keeps its place until
     * the service, which cannot break it off, has answered: that reply is nobody else's then.
     */
    #abort(job, error) {
        this.#queue = this.#queue.filter((other) => other !== job);
        if (this.#windows.get(job.name) === job)
            this.#giveUp(job, error);
    }

    #giveUp(job, error) {
        if (job.name === "ZCBeginSignAB")
            this.#endSession(job, error);
        else
            this.#fail(job, error);
    }

    /**
     * Rejects a session's promise and closes its window. The service may have refused to begin, because of another
     * page's session, which must not be ended: that refusal arrives before the echo.
     */
    #endSession(job, error) {
        clearTimeout(job.timer);
        job.reject(error);
        this.#requestFirst(ping, () => {
            if (this.#windows.get(job.name) !== job)
                return;
            if (job.stopPad)
                this.#requestFirst("ZCStopDeviceAB");
            this.#requestFirst("ZCEndSignAB", () => this.#sessionEnded());
        });
        this.#next();
    }

    /** Rejects the session's promise: after a command has ended the session, no reply to its begin follows. */
    #sessionEnded() {
        const session = this.#windows.get("ZCBeginSignAB");
        if (session)
            this.#fail(session, new DeskError(session.name, "ended", "a command ended it"));
    }

    /**
     * Checks whether another page has ended this page's session, which the service does not report: it refuses to
     * set the signing mode, a setting without effect, while a session is open.
     */
    #watchSession() {
        globalThis.addEventListener?.("pagehide", this.#leavePage);
        if (!this.#options.sessionCheck)
            return;
        this.#sessionTimer = setInterval(async () => {
            if (this.#active || this.#queue.length > 0)
                return;
            const session = this.#windows.get("ZCBeginSignAB");
            const reply = await this.request("ZCSetModeAB", { mode: this.#mode }).catch(() => null);
            if (reply?.success === 1 && session === this.#windows.get("ZCBeginSignAB"))
                this.#sessionEnded();
        }, this.#options.sessionCheck);
        this.#sessionTimer.unref?.();
    }

    #unwatchSession() {
        globalThis.removeEventListener?.("pagehide", this.#leavePage);
        clearInterval(this.#sessionTimer);
    }

    /** Ends the session when the page is closed, so that the window does not stay on the pad's display. */
    #leavePage = () => {
        this.#sendEnd();
        this.#sessionEnded();
    };

    /** Sent ahead of the queue: a page that is closed cannot wait for the commands before. */
    #sendEnd() {
        this.#send(encodeRequest({ function: "ZCEndSignAB" }));
    }

    // --- Commands ---------------------------------------------------------------------------------------------

    /** Sends a command and returns its reply; rejects when it reports a failure. */
    async #command(name, parameters = {}, options) {
        for (const [key, [least, greatest]] of Object.entries(commands[name].parameters)) {
            const value = parameters[key];
            // The service would use 0 for a value that is no number.
            if (!Number.isInteger(value) || value < least || value > greatest)
                throw new RangeError(`${name}: ${key} must be a whole number from ${least} to ${greatest}`);
        }
        const reply = await this.request(name, parameters, options);
        if (reply.success !== 1 && reply.err_code !== 0)
            throw new DeskError(name, reply.success, reply.msg, reply);
        return reply;
    }

    /** Whether a signature pad is attached. */
    async padPresent(options) {
        return (await this.request("ZCDeviceExist", {}, options)).success === 1;
    }

    /** Opens the signature pad. The service reads it, and logs every read, until {@link stopPad}. */
    async startPad(options) {
        await this.#command("ZCStartDeviceAB", {}, options);
    }

    /** Closes an open signing session and stops reading the pad. */
    async stopPad(options) {
        await this.#command("ZCStopDeviceAB", {}, options);
    }

    /**
     * Opens the signing window on a started pad and waits for the signer.
     * @param {{x: number, y: number, width: number, height: number}} area in pixels of the pad's display
     * @param {object} [options]
     * @param {number} [options.timeout] ms until the session is ended; no limit by default
     * @param {AbortSignal} [options.signal] ends the session
     * @param {boolean} [options.endOpenSession] end a session that is open already and begin (default false); only
     *     for pages that know that the other signature, perhaps another page's, is not needed
     * @param {boolean} [options.stopPad] stop the pad after the session (default false)
     * @returns the signature, a PNG picture
     */
    async beginSigning(area, { endOpenSession = false, stopPad = false, ...options } = {}) {
        const begin = async () => picture((await this.#command("ZCBeginSignAB", area, { ...options, stopPad })).Base64);
        let isOthers = false;
        try {
            return await begin().catch(async (error) => {
                if (!endOpenSession || error.reason !== "signing-in-progress")
                    throw error;
                await this.endSigning({ signal: options.signal });
                return begin();
            });
        } catch (error) {
            isOthers = error.reason === "signing-in-progress" || error.reason === "busy";
            stopPad &&= error.reason !== "aborted" && error.reason !== "timeout"; // then #endSession stops it
            throw error;
        } finally {
            // Stopping the pad would end the session that is open already.
            if (stopPad && this.#state === "open" && !isOthers)
                await this.stopPad().catch(() => {});
        }
    }

    /**
     * A whole session: starts the pad, opens the window, waits for the signer, stops the pad (unless `stopPad` is
     * false). The error names the step that failed.
     */
    async sign(area, { stopPad = true, ...options } = {}) {
        await this.startPad({ signal: options.signal });
        return this.beginSigning(area, { ...options, stopPad });
    }

    /** Closes the signing window; its promise rejects with the code "ended". */
    async endSigning(options) {
        await this.#command("ZCEndSignAB", {}, options);
    }

    /** Clears what was written in the open signing window. */
    async clearSignature(options) {
        await this.#command("ZCResignAB", {}, options);
    }

    /** The last signature, until the next session begins. */
    async lastSignature(options) {
        return picture((await this.#command("ZCOutputImageBase64AB", {}, options)).Base64);
    }

    /** Opacity of the next signing window, in percent. */
    async setTransparency(percent, options) {
        await this.#command("ZCSetTransparency", { Percent: percent }, options);
    }

    /** Width of the pen at full pressure, in pixels. */
    async setPenWidth(width, options) {
        await this.#command("ZCSetPenWidth", { Width: width }, options);
    }

    /** Stores a setting that the service does not use. */
    async setMode(mode, options) {
        await this.#command("ZCSetModeAB", { mode }, options);
        this.#mode = mode;
    }

    /** Sets the position of the pad's display in the desktop, and its size, in pixels. */
    async setPadScreen(area, options) {
        await this.#command("ZCSetSignScreenPosSizeAB", area, options);
    }

    /** The number of the USB card reader's security module: 32 digits, or empty when the module gives none. */
    async samNumber(options) {
        return (await this.#command("ZCGetSAMNum", {}, options)).data ?? "";
    }

    /** Reads the identity card on the USB reader. */
    async readIdCard(options) {
        return this.#readCard("ZCReadIDCard", options);
    }

    /** Reads the identity card on the HID reader. */
    async readHidIdCard(options) {
        return this.#readCard("ZCReadHIDIDCard", options);
    }

    /**
     * Reads until a card lies on the reader, and only while no other command waits for the service. Rejects on every
     * failure but "card-unreadable", since waiting for a card mends no other.
     * @param {object} [options]
     * @param {"usb"|"hid"} [options.reader] default "usb"
     * @param {number} [options.pace] ms between two reads (default 700)
     * @param {AbortSignal} [options.signal]
     */
    async waitForCard({ reader = "usb", pace = 700, signal } = {}) {
        const name = { usb: "ZCReadIDCard", hid: "ZCReadHIDIDCard" }[reader];
        if (!name)
            throw new RangeError("reader: usb or hid");
        for (;;) {
            try {
                if (!(this.#active || this.#queue.length > 0))
                    return await this.#readCard(name, { signal });
            } catch (error) {
                if (error.reason !== "card-unreadable")
                    throw error;
            }
            await abortable(name, signal, (resolve) => {
                const timer = setTimeout(resolve, pace);
                return () => clearTimeout(timer);
            });
            if (this.#state === "closed") // a read would connect again
                throw new DeskError(name, "closed", "the page closed the connection");
        }
    }

    /** When a HID reader is unplugged during a read, the service reports success with the fields read before. */
    async #readCard(name, options) {
        const reply = await this.#command(name, {}, options);
        const field = unreadField(reply.data);
        if (field)
            throw new DeskError(name, "card-unreadable", `only a part of the card was read, not ${field}`, reply);
        return card(reply);
    }

    /** Kept for pages that send this command, which does nothing. */
    async openHidReader(options) {
        await this.request("ZCReadHIDOpen", {}, options);
    }

    /**
     * Opens the camera window, in which the operator takes a picture (JPEG). The window stays open when the time limit
     * passes or the signal is aborted: the service cannot close it.
     */
    async takePicture(options) {
        return picture((await this.#command("ZCCameraPic", {}, options)).Base64);
    }

    /** The SIM card's number (ICCID), usually 20 digits; empty when the card has none. */
    async readSim(options) {
        return (await this.#command("ZCSIMCard", {}, options)).data ?? "";
    }
}

/**
 * A promise that an aborted signal rejects, too. `run` starts what is promised and may return a function that is
 * called with the error then.
 */
function abortable(step, signal, run) {
    let abort;
    return new Promise((resolve, reject) => {
        let giveUp;
        abort = () => {
            const error = new DeskError(step, "aborted", "the page aborted it");
            giveUp?.(error);
            reject(error);
        };
        signal?.addEventListener("abort", abort);
        if (signal?.aborted)
            abort();
        else
            giveUp = run(resolve, reject);
    }).finally(() => signal?.removeEventListener("abort", abort));
}

/** The first field whose value shows that a card was not read completely; undefined when all are complete. */
function unreadField(data) {
    const number = data.CardType === "I" ? /^[A-Z]{3}\d{12}$/ : /^\d{17}[\dX]$/;
    const date = /^\d{8}$/;
    const rules = { CardType: /./, idNum: number, birthday: date, effectDate: date, expireDate: /^(\d{8}|长期 *)$/ };
    return Object.keys(rules).find((name) => !rules[name].test(data[name]));
}

/** The fields of a card, with its photo as a picture (or null). */
function card(reply) {
    const { photo, ...fields } = reply.data;
    return { ...fields, photo: photo ? picture(photo) : null };
}
