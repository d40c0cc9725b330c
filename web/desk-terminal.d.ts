// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

export declare const defaultUrl: string;

/** Known words, which an editor proposes, or any other. */
type Open<Known extends string> = Known | (string & {});

type None = Record<string, never>;

/** The parameters of each command. */
export interface CommandParameters {
    ZCDeviceExist: None;
    ZCStartDeviceAB: None;
    ZCBeginSignAB: Area;
    ZCOutputImageBase64AB: None;
    ZCEndSignAB: None;
    ZCSetTransparency: { Percent: number };
    ZCSetPenWidth: { Width: number };
    ZCSetModeAB: { mode: number };
    ZCStopDeviceAB: None;
    ZCResignAB: None;
    ZCSetSignScreenPosSizeAB: Area;
    ZCGetSAMNum: None;
    ZCReadIDCard: None;
    ZCReadHIDOpen: None;
    ZCReadHIDIDCard: None;
    ZCCameraPic: None;
    ZCSIMCard: None;
}

export type CommandName = keyof CommandParameters;

/** Each command's parameters with their minimum and maximum, and the time limit of its reply. */
export declare const commands: {
    readonly [Name in CommandName]: {
        parameters: Record<CommandParameters[Name] extends None ? string : keyof CommandParameters[Name],
            [least: number, greatest: number]>;
        seconds?: number;
    };
};

/** What follows the name in {@link DeskTerminal.request}; a command that is not in the table takes anything. */
type RequestArguments<Name> =
    Name extends CommandName
        ? CommandParameters[Name] extends None
            ? [parameters?: None, options?: CommandOptions]
            : [parameters: CommandParameters[Name], options?: CommandOptions]
        : [parameters?: object, options?: CommandOptions];

/** A rectangle in pixels. */
export interface Area {
    x: number;
    y: number;
    width: number;
    height: number;
}

export interface Picture {
    base64: string;
    type: "image/png" | "image/jpeg" | "image/bmp" | "application/octet-stream";
    /** For the `src` of an image. */
    dataUrl: string;
}

/** An identity card. Fields that a kind of card does not have are empty. */
export interface Card {
    /** The card's type: "I" permanent residence card, "J" residence permit, usually a space for a resident card. */
    CardType: Open<" " | "I" | "J">;
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

/** The words for errors that the client finds; each is the error's `code` and, except "unreachable", its `reason`. */
export type ClientCode =
    | "unreachable" | "connection-lost" | "closed" | "timeout" | "aborted" | "busy" | "ended" | "unknown-command"
    | "card-unreadable";

/** Why a step failed; a table of texts with these keys is complete. */
export type KnownReason =
    | Exclude<ClientCode, "unreachable"> | LikelyReason | "content-security-policy"
    | "pad-absent" | "pad-busy" | "signing-in-progress" | "cancelled" | "not-signed"
    | "reader-absent" | "reader-failed" | "card-absent" | "no-picture";

/** A known reason, or the service's code as text. */
export type Reason = Open<KnownReason>;

/** A failed step of a command. */
export declare class DeskError extends Error {
    constructor(step: string, code: number | string, text: string, reply?: Reply);
    /** The command that failed, "connect" or "ping". */
    readonly step: Open<CommandName | "connect" | "ping">;
    /** The service's code, or a word of the client. */
    readonly code: number | Open<ClientCode>;
    /** The service's message, or the client's. */
    readonly text: string;
    /** A keyword for the cause, for choosing a message. */
    readonly reason: Reason;
    readonly reply?: Reply;
}

export type State = "closed" | "connecting" | "open" | "waiting";

export declare class DeskEvent extends Event {
    constructor(type: keyof DeskEvents, details: object);
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

export interface AbortOptions {
    /**
     * Rejects the promise with the code "aborted". A command that is not sent yet is dropped; one that is sent is
     * carried out by the service, except that a signing session is ended.
     */
    signal?: AbortSignal | undefined;
}

export interface CommandOptions extends AbortOptions {
    /** Milliseconds. */
    timeout?: number | undefined;
}

export interface SigningOptions extends CommandOptions {
    /** End a session that is open already, perhaps another page's, and begin (default false). */
    endOpenSession?: boolean;
    /** Stop the pad after the session (default: false for `beginSigning`, true for `sign`). */
    stopPad?: boolean;
}

export interface WaitOptions extends AbortOptions {
    /** Default "usb". */
    reader?: "usb" | "hid";
    /** Milliseconds between two reads (default 700). */
    pace?: number;
}

/** The connection to the service, and its commands. Each promise rejects with a {@link DeskError}. */
export declare class DeskTerminal extends EventTarget {
    constructor(options?: Options);
    readonly state: State;
    readonly url: string;
    readonly isSigning: boolean;

    connect(options?: AbortOptions): Promise<void>;
    close(): void;
    request<Name extends Open<CommandName>>(name: Name, ...rest: RequestArguments<Name>): Promise<Reply>;
    sendRaw(text: string): void;
    ping(options?: CommandOptions): Promise<void>;

    padPresent(options?: CommandOptions): Promise<boolean>;
    startPad(options?: CommandOptions): Promise<void>;
    stopPad(options?: CommandOptions): Promise<void>;
    beginSigning(area: Area, options?: SigningOptions): Promise<Picture>;
    sign(area: Area, options?: SigningOptions): Promise<Picture>;
    endSigning(options?: CommandOptions): Promise<void>;
    clearSignature(options?: CommandOptions): Promise<void>;
    lastSignature(options?: CommandOptions): Promise<Picture>;
    setTransparency(percent: number, options?: CommandOptions): Promise<void>;
    setPenWidth(width: number, options?: CommandOptions): Promise<void>;
    setMode(mode: number, options?: CommandOptions): Promise<void>;
    setPadScreen(area: Area, options?: CommandOptions): Promise<void>;

    samNumber(options?: CommandOptions): Promise<string>;
    readIdCard(options?: CommandOptions): Promise<Card>;
    readHidIdCard(options?: CommandOptions): Promise<Card>;
    /** Reads until a card lies on the reader. Rejects on every failure but "card-unreadable". */
    waitForCard(options?: WaitOptions): Promise<Card>;
    openHidReader(options?: CommandOptions): Promise<void>;
    takePicture(options?: CommandOptions): Promise<Picture>;
    readSim(options?: CommandOptions): Promise<string>;

    addEventListener<K extends keyof DeskEvents>(
        type: K, listener: (event: DeskEvents[K]) => void, options?: AddEventListenerOptions): void;
    addEventListener(
        type: string, listener: EventListenerOrEventListenerObject | null, options?: AddEventListenerOptions | boolean): void;
}

export declare function encodeRequest(request: object): string;
export declare function picture(base64: string): Picture;
export declare function likelyReason(
    url: string, page?: { protocol: string; hostname: string }): Promise<LikelyReason>;
