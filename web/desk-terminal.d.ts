// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

export declare const defaultUrl: string;

export type CommandName =
    | "ZCDeviceExist" | "ZCStartDeviceAB" | "ZCBeginSignAB" | "ZCOutputImageBase64AB" | "ZCEndSignAB"
    | "ZCSetTransparency" | "ZCSetPenWidth" | "ZCSetModeAB" | "ZCStopDeviceAB" | "ZCResignAB"
    | "ZCSetSignScreenPosSizeAB" | "ZCGetSAMNum" | "ZCReadIDCard" | "ZCReadHIDOpen" | "ZCReadHIDIDCard"
    | "ZCCameraPic" | "ZCSIMCard";

/** Each command's parameters with their minimum and maximum, and the time limit of its reply. */
export declare const commands: Readonly<
    Record<CommandName, { parameters: Record<string, [least: number, greatest: number]>; seconds?: number }>
>;

/** A rectangle in pixels. */
export interface Area {
    x: number;
    y: number;
    width: number;
    height: number;
}

export interface Picture {
    base64: string;
    /** "image/png", "image/jpeg" or "image/bmp". */
    type: string;
    /** For the `src` of an image. */
    dataUrl: string;
}

/** An identity card. Fields that a kind of card does not have are empty. */
export interface Card {
    /** The code of the card's type, "J", "I" or another. */
    CardType: string;
    name: string;
    englishName: string;
    gender: string;
    nation: string;
    nationCode: string;
    /** Eight digits: year, month, day. */
    birthday: string;
    address: string;
    idNum: string;
    issueOrg: string;
    effectDate: string;
    expireDate: string;
    passNum: string;
    signCount: string;
    CertVersion: string;
    dn: string;
    /** Fingerprints: 2048 hexadecimal digits, or empty. */
    figData: string;
    photo: Picture | null;
}

/** A reply, unchanged. */
export interface Reply {
    functionName?: string;
    _tflag?: string;
    success?: number;
    msg?: string;
    data?: string | object;
    Base64?: string;
    err_code?: number;
    err_msg?: string;
}

export type LikelyReason =
    | "service-not-running" | "public-http" | "permission-denied" | "permission-needed" | "mixed-content";

/** A failed step of a command. */
export declare class DeskError extends Error {
    constructor(step: string, code: number | string, text: string, reply?: Reply);
    /** The command that failed, "connect" or "ping". */
    readonly step: string;
    /**
     * The service's code, or "unreachable", "connection-lost", "closed", "timeout", "busy", "ended",
     * "unknown-command", "card-unreadable".
     */
    readonly code: number | string;
    /** The service's message, or the client's. */
    readonly text: string;
    /** A keyword for the cause, for choosing a message. */
    readonly reason: string;
    readonly reply?: Reply;
}

export type State = "closed" | "connecting" | "open" | "waiting";

export declare class DeskEvent extends Event {
    constructor(type: string, details: object);
}

export interface StateEvent extends DeskEvent {
    readonly state: State;
    /** Milliseconds until the next attempt, while waiting. */
    readonly delay?: number;
    readonly error?: DeskError;
}

export interface FrameEvent extends DeskEvent {
    readonly direction: "sent" | "received";
    readonly time: Date;
    readonly text?: string;
    readonly bytes?: Uint8Array;
}

/** A reply that does not belong to a command of this page. */
export interface StrayEvent extends DeskEvent {
    readonly text: string;
}

interface DeskEvents {
    state: StateEvent;
    frame: FrameEvent;
    stray: StrayEvent;
}

export interface Options {
    url?: string;
    /** A WebSocket class, for platforms without one (Node before 22). */
    WebSocket?: unknown;
    /** Reconnect when the connection is lost (default true). */
    reconnect?: boolean;
    /** Milliseconds before the first new attempt; doubled after each (default 500). */
    firstDelay?: number;
    /** Milliseconds (default 10000). */
    longestDelay?: number;
    /** Milliseconds (default 5000). */
    connectTimeout?: number;
    /** Milliseconds between checks whether another page ended the signing session (default 10000; 0: never). */
    sessionCheck?: number;
}

export interface CommandOptions {
    /** Milliseconds. */
    timeout?: number;
}

export interface SigningOptions extends CommandOptions {
    /** End a session that is open already, perhaps another page's, and begin (default false). */
    endOpenSession?: boolean;
}

/** The connection to the service, and its commands. Each promise rejects with a {@link DeskError}. */
export declare class DeskTerminal extends EventTarget {
    constructor(options?: Options);
    readonly state: State;
    readonly url: string;
    readonly isSigning: boolean;

    connect(): Promise<void>;
    close(): void;
    request(name: string, parameters?: object, options?: CommandOptions): Promise<Reply>;
    sendRaw(text: string): void;
    ping(): Promise<void>;

    padPresent(): Promise<boolean>;
    startPad(): Promise<void>;
    stopPad(): Promise<void>;
    beginSigning(area: Area, options?: SigningOptions): Promise<Picture>;
    sign(area: Area, options?: SigningOptions): Promise<Picture>;
    endSigning(): Promise<void>;
    clearSignature(): Promise<void>;
    lastSignature(): Promise<Picture>;
    setTransparency(percent: number): Promise<void>;
    setPenWidth(width: number): Promise<void>;
    setMode(mode: number): Promise<void>;
    setPadScreen(area: Area): Promise<void>;

    samNumber(): Promise<string>;
    readIdCard(): Promise<Card>;
    readHidIdCard(): Promise<Card>;
    openHidReader(): Promise<void>;
    takePicture(options?: CommandOptions): Promise<Picture>;
    readSim(): Promise<string>;

    addEventListener<K extends keyof DeskEvents>(
        type: K, listener: (event: DeskEvents[K]) => void, options?: AddEventListenerOptions): void;
    addEventListener(
        type: string, listener: EventListenerOrEventListenerObject | null, options?: AddEventListenerOptions | boolean): void;
}

export declare function encodeRequest(request: object): string;
export declare function picture(base64: string): Picture;
export declare function likelyReason(
    url: string, page?: { protocol: string; hostname: string }): Promise<LikelyReason>;
