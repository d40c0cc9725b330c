// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

/// <reference lib="esnext.disposable" />

export type DeviceName = "pad" | "usbReader" | "hidReader" | "simReader" | "documentCamera" | "portraitCamera";
export type ReaderName = "usbReader" | "hidReader";
export type CameraName = "documentCamera" | "portraitCamera";
export type WindowName = "signing" | "capture";

/** x and y in pixels of the pad's display from its corner; pressure from 0, lifted, to 1023. */
export type PenSample = [x: number, y: number, pressure: number];

/** Missing fields are those of an invented holder. */
export interface VirtualCard {
    /** Not in `changeCard`. */
    type?: "resident" | "permanentResidence" | "residencePermit";
    name?: string;
    englishName?: string;
    gender?: string;
    nation?: string;
    birthday?: string;
    address?: string;
    idNum?: string;
    issueOrg?: string;
    effectDate?: string;
    expireDate?: string;
    nationCode?: string;
    passNum?: string;
    signCount?: string;
    certVersion?: string;
    typeLetter?: string;
    /** One of three drawn faces. */
    portrait?: 0 | 1 | 2;
    /** Base64 of a PNG, JPEG or BMP file. */
    photo?: string;
    fingerprints?: boolean;
}

/** A rectangle in pixels. */
export interface Place {
    x: number;
    y: number;
    width: number;
    height: number;
}

/** An open window of the service. */
export interface ServiceWindow {
    window: WindowName;
    /** On the desktop. */
    place: Place;
    /** In the window. */
    buttons: { button: string; place: Place }[];
    /** In the signing window: where one writes, in the window. */
    canvas?: Place;
    /** In the signing window: the pad's display on the desktop, as the page has set it. */
    padDisplay?: Place;
}

export interface DeviceState {
    plugged: boolean;
    fault: { fault: string; [key: string]: unknown } | null;
}

export interface TerminalState {
    devices: {
        /** `waiting`: samples that the service has not read yet. */
        pad: DeviceState & { waiting: number };
        usbReader: DeviceState & { module: "0501" | "0503"; card: VirtualCard | null };
        hidReader: DeviceState & { card: VirtualCard | null };
        simReader: DeviceState & { iccid: string | null };
        documentCamera: DeviceState & { scene: string };
        portraitCamera: DeviceState & { scene: string };
    };
    service: {
        running: boolean;
        processId: number | null;
        starts: number;
        lastExit: { code?: number; signal?: number; asked?: true } | null;
    };
    /** The topmost is the last. */
    windows: ServiceWindow[];
}

/** A class like the browser's WebSocket. */
export type WebSocketConstructor = new (url: string) => {
    readonly url: string;
    send(data: string): void;
    close(): void;
    addEventListener(type: "message", listener: (event: { data: any }) => void): void;
    addEventListener(type: "close" | "error", listener: () => void): void;
};

export interface Waiting {
    /** Milliseconds; 30000 by default. */
    timeout?: number;
}

export interface StartOptions {
    /** The program with its options: "virtual-terminal" by default, as the package installs it. */
    command?: string | string[];
    /** By default Node's own, and without one that of the npm package ws. */
    WebSocket?: WebSocketConstructor;
    /** For the start, in milliseconds; 60000 by default. */
    timeout?: number;
}

/** What a page shows and leaves behind in one action or scenario of `checkPage`. */
export interface CheckResult {
    /** "card", "sign", "camera": undisturbed; "card-pulled", "pad-unplugged", …: the scenarios. */
    name: string;
    title: string;
    /** False: the page cannot do any of the actions that the scenario disturbs. */
    tried: boolean;
    /** New visible lines, dialogs and pictures. */
    shown: string[];
    /** Empty when all is well. */
    findings: string[];
}

export interface CheckOptions {
    terminal: VirtualTerminal;
    /** The program of Chromium or Chrome; otherwise looked for in PATH. */
    browser?: string;
    /**
     * CSS selectors of what begins an action; "" when the page begins it by itself. By default the first button with a fitting
     * text.
     */
    startCard?: string;
    startSign?: string;
    startCamera?: string;
    /** The page's own button to end a signature. */
    cancelSign?: string;
    /** Where the page shows messages; by default its body. */
    message?: string;
    /** Names of scenarios; all by default. */
    only?: string | string[];
    /** Seconds within which something must have happened; 15 by default. */
    patience?: number;
    /** Called with each result. */
    report?: (result: CheckResult) => void;
}

/** Takes a page, an address or a file, through the scenarios in a browser (docs/testing-pages.md). */
export declare function checkPage(url: string, options: CheckOptions): Promise<CheckResult[]>;

/**
 * A virtual terminal, and the people at it: they put cards on the readers, sign with the pen, pull plugs.
 *
 * Methods reject with the terminal's own error message. When one resolves, `state` has its effect.
 */
export declare class VirtualTerminal extends EventTarget {
    private constructor();

    /**
     * Starts a virtual terminal with a free control port. It ends with `stop()`, at the end of an `await using` block, and
     * when this process ends.
     */
    static start(options?: StartOptions): Promise<VirtualTerminal>;
    /** Connects to a running one, by default to ws://localhost:12345. `stop()` then only disconnects. */
    static connect(url?: string, options?: { WebSocket?: WebSocketConstructor }): Promise<VirtualTerminal>;
    stop(): Promise<void>;
    [Symbol.asyncDispose](): Promise<void>;

    /** Of the control port. */
    readonly url: string;
    readonly state: TerminalState;

    /** Resolves with what `condition` returns as soon as that is truthy, now or after a change of the state. */
    waitFor<T>(condition: (state: TerminalState) => T, options?: Waiting & { message?: string }): Promise<T>;
    waitForWindow(name: WindowName, options?: Waiting): Promise<ServiceWindow>;

    /** Back to the start: every device plugged in and whole, cards on both readers, a SIM; the service starts anew. */
    reset(): Promise<void>;

    plug(device: DeviceName): Promise<void>;
    unplug(device: DeviceName): Promise<void>;
    /** Sets one of the device's faults (docs/virtual-terminal.md), with the fault's own keys. */
    break(device: DeviceName, fault: string, keys?: Record<string, unknown>): Promise<void>;
    repair(device: DeviceName): Promise<void>;

    putCard(device: ReaderName, card?: VirtualCard): Promise<void>;
    changeCard(device: ReaderName, card: VirtualCard): Promise<void>;
    takeCard(device: ReaderName): Promise<void>;
    setModule(module: "0501" | "0503"): Promise<void>;
    /** @param iccid 19 or 20 digits */
    insertSim(iccid?: string): Promise<void>;
    pullSim(): Promise<void>;
    /** @param picture a scene, or the bytes of a PNG, JPEG or BMP file */
    setPicture(device: CameraName, picture: "testCard" | "document" | "portrait" | Uint8Array): Promise<void>;

    /** Writes with the pen; rejects when the page has not started the pad. */
    pen(points: PenSample[], options?: { display?: [width: number, height: number] }): Promise<void>;
    /**
     * Waits for the signing window and writes a name on its canvas. Resolves when the service has read it. Characters whose
     * strokes are not known become scribbles; 王中一二三十人大小山口日田 are written.
     */
    sign(text?: string, options?: Waiting): Promise<void>;
    /**
     * Waits for a button in an open window and presses it: "确定", "重签", "取消" with the pen, "拍照", "关闭退出" with a click.
     */
    press(button: string, options?: Waiting & { window?: WindowName }): Promise<void>;
    /** Waits for the capture window, takes a picture there, and closes the window unless `handOver` is false. */
    takePicture(options?: Waiting & { handOver?: boolean }): Promise<void>;

    /** The transfers of a device, one a line; `clear` deletes them. */
    log(device: "pad" | ReaderName, options?: { clear?: boolean }): Promise<string[]>;
    /** A PNG of one of the displays, or of an open window. */
    screenshot(of?: "main" | "pad" | WindowName): Promise<Uint8Array>;

    startService(): Promise<void>;
    stopService(): Promise<void>;
    killService(): Promise<void>;

    /** Sends any command of the control port, and resolves with its result. */
    play(command: string, keys?: Record<string, unknown>): Promise<any>;

    addEventListener(type: "state", listener: () => void): void;
    /** Each line that the service prints. */
    addEventListener(type: "service", listener: (event: Event & { line: string; stream: "output" | "error" }) => void): void;
}
