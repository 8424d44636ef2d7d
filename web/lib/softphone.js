// The page library: a page's way to the softphone host through the browser
// extension. It speaks the page <-> content-script protocol of docs/browser.md
// on the page's own window and nothing else; no build step, no dependencies.
//
//   import { connect } from "./softphone.js";
//   const phone = await connect();
//   await phone.authorize();

const NS = "pela-softphone";

/** Largest request the browser carries to the host: the UTF-8 size of the JSON message. */
export const MAX_REQUEST_BYTES = 64 * 1024 * 1024;

const DEFAULT_HELLO_TIMEOUT_MS = 3000;
const DEFAULT_REQUEST_TIMEOUT_MS = 15000;
// The user reads and answers a desktop dialog; give them time, but not forever.
const DEFAULT_AUTHORIZE_TIMEOUT_MS = 120000;
// A content script injected after the page's script misses the first hello,
// so it is sent again this often until answered.
const HELLO_RETRY_MS = 250;
// "dockUpdate" is answered only when it fails; silence this long means success.
const DOCK_UPDATE_QUIET_MS = 1000;
const MAX_TIMER_MS = 2147483647;

const freeze = Object.freeze;
const words = (...list) => freeze(Object.fromEntries(list.map((w) => [w, w])));

// ---------------------------------------------------------------------------
// Vocabulary (docs/telephony.md and the host's event names)

export const CallState = words("Idle", "Dialing", "Proceeding", "RingOut", "RingIn", "Connected", "Hold", "RemHold", "Reorder");
export const CallStateNumber = freeze(Object.fromEntries(Object.keys(CallState).map((name, i) => [name, i])));
export const CallEvent = words(
    "evDialing", "evProceeding", "evRingOut", "evRingIn", "evConnected", "evHeld", "evResumed",
    "evRemoteHeld", "evRemoteResumed", "evFailed", "evEnded", "evMediaChanged", "evJoined", "evOther");
export const CallType = words("Outgoing", "Incoming");
export const Capability = words(
    "canAnswer", "canImmediateDivert", "canEndCall", "canHold", "canResume", "canSendDTMF",
    "canSetVideoDirection", "canJoin", "canMuteAudio", "canUnmuteAudio", "canMuteVideo", "canUnmuteVideo",
    "canTransfer", "canCancelTransfer", "canCompleteTransfer");
export const VideoDirection = words("Inactive", "SendOnly", "RecvOnly", "SendRecv");
export const ConnectionStatus = words("Disconnected", "Connecting", "Connected");
export const LifecycleState = words("SigningIn", "SignedIn", "SignedOut");
export const AuthStatus = words("UserDenied", "UserAuthorized", "UserAuthPending", "MustShowAuth");
export const AuthenticationStatus = words("Authenticated", "NotAuthenticated");
export const AuthenticationResult = words("Success", "InvalidCredentials");
export const PhoneMode = words("SoftPhone");
export const Property = words("connectionStatus", "mode", "device", "line");
export const AddressListProperty = words("LoryAddressList", "TftpAddressList", "CtiAddressList");
export const DeviceRole = words("microphone", "speaker", "ringer", "camera");
export const VolumeRole = words("speaker", "microphone", "ringer");
export const DtmfDigits = freeze(["0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "*", "#", "A", "B", "C", "D"]);

export const EventName = freeze({
    UserAuthorized: "userauthorized",
    CallStateChange: "callstatechange",
    AttendedTransferStateChange: "attendedtransferstatechange",
    ConnectionStatusChange: "connectionstatuschange",
    ConnectionFailure: "connectionfailure",
    AuthenticationStatusChange: "authenticationstatuschange",
    CallControlModeChange: "callcontrolmodechange",
    TelephonyDevicesChange: "telephonydeviceschange",
    MultimediaCapabilitiesStarted: "multimediacapabilitiesstarted",
    MultimediaCapabilitiesStopped: "multimediacapabilitiesstopped",
    LifecycleStateChanged: "lifecyclestatechanged",
    LifecycleSsoSessionChanged: "lifecyclessosessionchanged",
    CanCancelSingleSignOnChanged: "cancancelsinglesignonchanged",
    AuthenticationResult: "authenticationresult",
    SsoShowWindow: "ssoshowwindow",
    SsoNavigateTo: "ssonavigateto",
    SsoInvokeResetData: "ssoinvokeresetdata",
    SsoSignInRequired: "ssosigninrequired",
    UserProfileEmailAddressRequired: "userprofileemailaddressrequired",
    UserProfileCredentialsRequired: "userprofilecredentialsrequired",
    LoggedIn: "loggedin",
    SsoSessionExpiryPromptRequired: "ssosessionexpirypromptrequired",
    InvalidCertificate: "invalidcertificate",
    MultimediaDeviceChange: "multimediadevicechange",
    SpeakerVolumeChanged: "speakervolumechanged",
    RingtoneChanged: "ringtonechanged",
    ExternalWindowEvent: "externalwindowevent",
    // The library's own, from the extension's status messages.
    HostDisconnected: "hostdisconnected",
    HostConnected: "hostconnected",
});

export const RESULT_CODE_NAMES = freeze([
    "eNoError", "eInvalidCallId", "eCallNotFound", "eCreateCallFailed", "eNoActiveDevice", "eTftpNotConfigured",
    "eCallOperationFailed", "eLoggedInLock", "eLogoutFailed", "eLoryNotConfigured", "eWindowAlreadyExists",
    "eInvalidState", "eCtiNotConfigured", "eNoPhoneMode", "eNoWindowExists", "eInvalidArgument",
    "eOperationNotSupported", "eCapabilityMissing", "eNotUserAuthorized", "eSyntaxError", "eOperationFailed"]);
export const ResultCode = freeze(Object.fromEntries(RESULT_CODE_NAMES.map((name, i) => [name, i])));

/** Codes of the library's own errors; a host refusal carries its result-code name instead. */
export const ErrorCode = words(
    "ExtensionUnavailable", "Timeout", "HostUnavailable", "RequestTooLarge", "Closed", "BadReply", "InvalidArgument");
export const HostUnavailableCause = words(
    "HostNotFound", "HostForbidden", "HostExited", "HostProtocolError", "ExtensionRestarted", "HostDisconnected");

// ---------------------------------------------------------------------------
// Commands: every name a page may send, with its parameters as the host reads
// them. Types: s string, b boolean, i integer, u integer >= 0, S list of
// strings; "!" marks a required one. NONE sends no content; EMPTY sends {}
// because the host refuses these commands when the content is missing.

const NONE = null;
const EMPTY = freeze({});
const CALL = { callId: "i!" };
const CONNECT = { deviceName: "s!", lineDN: "s", phoneMode: "s", forceRegistration: "b" };
const VOLUME = { volume: "i!" };
const GEOMETRY = { offsetX: "i!", offsetY: "i!", width: "i!", height: "i!", cropOffsetX: "i!", cropOffsetY: "i!", cropWidth: "i!", cropHeight: "i!" };

const COMMAND_PARAMS = {
    // session
    init: NONE, getVersion: NONE, getUserAuthStatus: NONE, showUserAuthorization: NONE,
    // calls
    originate: { recipient: "s!", videoDirection: "s", windowhandle: "u" },
    answer: { callId: "i!", videoDirection: "s", windowhandle: "u" },
    endCall: CALL, hold: CALL, resume: CALL, iDivert: CALL, completeTransfer: CALL, cancelTransfer: CALL,
    mute: { callId: "i!", muteAudio: "b", muteVideo: "b" },
    unmute: { callId: "i!", unmuteAudio: "b", unmuteVideo: "b" },
    sendDTMF: { callId: "i!", digit: "s!" },
    setVideoDirection: { callId: "i!", videoDirection: "s" },
    transferCall: { callId: "i!", transferToNumber: "s!" },
    joinCalls: { callId: "i!", joinCallId: "i!" },
    getCalls: NONE,
    // connection and configuration
    connect: CONNECT, switchMode: CONNECT, logout: NONE,
    configure: { shmLocalName: "s!", shmRemoteName: "s!" },
    getProperty: "value", setProperty: "property", getAvailableDevices: NONE, encryptPboxPassword: "value",
    // sound devices and cameras
    getMultimediaDevices: EMPTY,
    setRecordingDevice: { clientRecordingID: "s" }, setPlayoutDevice: { clientPlayoutID: "s" },
    setCaptureDevice: { clientCaptureID: "s" }, setRingerDevice: { clientRingerID: "s" },
    setCurrentSpeakerVolume: VOLUME, setCurrentRingerVolume: VOLUME, setCurrentMicrophoneVolume: VOLUME,
    getMultimediaDeviceVolume: { device: "s!" },
    getAvailableRingtones: NONE, setCurrentRingtone: { ringtone: "s!" }, setPlayRingerOnAllDevices: NONE,
    // the external video window
    showCallInExternalWindow: CALL, hideExternalWindow: NONE, showPreviewInExternalWindow: NONE,
    getExternalWindowState: NONE,
    setExternalWindowAlwaysOnTop: { alwaysOnTop: "b!" }, setExternalWindowShowControls: { showControls: "b!" },
    setExternalWindowShowSelfViewPip: { showSelfViewPip: "b!" }, setExternalWindowTitle: { title: "s!" },
    addPreviewWindow: NONE, removePreviewWindow: NONE, addWindowToCall: CALL, removeWindowFromCall: CALL,
    dockExternalWindow: { title: "s!", ...GEOMETRY },
    dockUpdate: { ...GEOMETRY, pageWidth: "i!", pageHeight: "i!" },
    undockExternalWindow: NONE,
    // sign-in, single sign-on, certificates
    startSignIn: { manualSettings: "b" },
    setUserProfileEmailAddress: { email: "s!" },
    setUserProfileCredentials: { authenticator: "u!", username: "s!", password: "s!" },
    ssoNavigationCompleted: { result: "i!", url: "s!", document: "s!" },
    cancelSingleSignOn: EMPTY, getSSOSessionTimeRemaining: EMPTY, resetData: EMPTY,
    restablishSSOSession: EMPTY, suppressSSOSessionExpiryPrompt: EMPTY,
    unsuppressSSOSessionExpiryPrompt: { promptIfExpired: "b!" },
    handleInvalidCertificate: { certFingerprint: "s!", accept: "b!" },
};

/** The 65 command names the host serves. */
export const COMMANDS = freeze(Object.keys(COMMAND_PARAMS));

// ---------------------------------------------------------------------------
// Sound devices and cameras by role: which flags of a device record say it can
// play the role and is chosen for it, which identifier chooses it, and the
// command that does.

const ROLES = freeze({
    microphone: { group: "microphones", can: "canRecord", selected: "isSelectedRecordingDevice", id: "clientRecordingID", name: "recordingName", command: "setRecordingDevice" },
    speaker: { group: "speakers", can: "canPlayout", selected: "isSelectedPlayoutDevice", id: "clientPlayoutID", name: "playoutName", command: "setPlayoutDevice" },
    ringer: { group: "ringers", can: "canRing", selected: "isSelectedRingerDevice", id: "clientRingerID", name: "ringerName", command: "setRingerDevice" },
    camera: { group: "cameras", can: "canCapture", selected: "isSelectedCaptureDevice", id: "clientCaptureID", name: "captureName", command: "setCaptureDevice" },
});
const VOLUME_COMMANDS = freeze({ speaker: "setCurrentSpeakerVolume", microphone: "setCurrentMicrophoneVolume", ringer: "setCurrentRingerVolume" });
const DEVICE_FLAGS = [
    "canRecord", "canPlayout", "canCapture", "canRing",
    "isSelectedRecordingDevice", "isSelectedPlayoutDevice", "isSelectedCaptureDevice", "isSelectedRingerDevice"];
const DEVICE_TEXTS = [
    "deviceID", "deviceName", "vendorID", "productID", "hardwareID",
    "recordingName", "playoutName", "captureName", "ringerName",
    "recordingID", "playoutID", "captureID", "ringerID",
    "clientRecordingID", "clientPlayoutID", "clientCaptureID", "clientRingerID"];

// The host has written its flags both as JSON booleans and as "true"/"false".
const flag = (value) => value === true || value === "true";
const text = (value) => (typeof value === "string" ? value : typeof value === "number" ? String(value) : "");

/**
 * The content of a "getMultimediaDevices" reply as plain objects: `all` with
 * real booleans, and per role the devices that can play it, each with the
 * identifier that chooses it, a name and whether it is the chosen one.
 */
export function parseDevices(content) {
    const list = content !== null && typeof content === "object" ? content.multimediadevices : undefined;
    if (!Array.isArray(list)) {
        throw softphoneError(ErrorCode.BadReply, "\"getMultimediaDevices\" answered without a list of devices", { command: "getMultimediaDevices" });
    }
    const result = { microphones: [], speakers: [], ringers: [], cameras: [], all: [] };
    for (const raw of list) {
        if (!isPlainObject(raw)) continue;
        const device = { ...raw };
        for (const key of DEVICE_FLAGS) device[key] = flag(raw[key]);
        for (const key of DEVICE_TEXTS) device[key] = text(raw[key]);
        result.all.push(device);
        for (const role of Object.values(ROLES)) {
            const id = device[role.id];
            // Without its identifier a device cannot be chosen: "" means the default.
            if (!device[role.can] || id === "") continue;
            result[role.group].push({ id, name: device[role.name] || device.deviceName || id, selected: device[role.selected] });
        }
    }
    return result;
}

function roleOf(table, role, what) {
    if (typeof role !== "string" || !Object.hasOwn(table, role)) {
        throw argumentError(`${what}: the role must be one of ${Object.keys(table).map((r) => `"${r}"`).join(", ")}`);
    }
    return table[role];
}

// ---------------------------------------------------------------------------
// Errors and checks

function softphoneError(code, message, extra) {
    const err = new Error(message);
    err.code = code;
    return Object.assign(err, extra);
}

function argumentError(message) {
    const err = new TypeError(message);
    err.code = "InvalidArgument";
    return err;
}

function timeoutOption(options, fallback, what) {
    if (options === undefined || options === null) return fallback;
    if (typeof options !== "object") throw argumentError(`${what}: options must be an object`);
    const ms = options.timeoutMs;
    if (ms === undefined) return fallback;
    if (typeof ms !== "number" || !(ms > 0) || ms > MAX_TIMER_MS) {
        throw argumentError(`${what}: timeoutMs must be a number of milliseconds between 1 and ${MAX_TIMER_MS}`);
    }
    return ms;
}

const TYPE_CHECKS = {
    s: [(v) => typeof v === "string", "a string"],
    b: [(v) => typeof v === "boolean", "a boolean"],
    i: [(v) => Number.isSafeInteger(v), "an integer"],
    u: [(v) => Number.isSafeInteger(v) && v >= 0, "an integer of 0 or more"],
};

function isPlainObject(v) {
    if (v === null || typeof v !== "object" || Array.isArray(v)) return false;
    const proto = Object.getPrototypeOf(v);
    return proto === Object.prototype || proto === null;
}

// The content of a command, or an exception naming what is wrong with params.
function commandContent(name, shape, params) {
    const what = `softphone.${name}`;
    if (shape === NONE) return undefined;
    if (shape === EMPTY) return {};
    if (shape === "value") {
        if (typeof params !== "string") throw argumentError(`${what}: the argument must be a string`);
        return params;
    }
    if (shape === "property") {
        const keys = isPlainObject(params) ? Object.keys(params) : [];
        if (keys.length !== 1) throw argumentError(`${what}: give an object with exactly one property, e.g. { LoryAddressList: ["host"] }`);
        const list = params[keys[0]];
        if (!Array.isArray(list) || !list.every((v) => typeof v === "string")) {
            throw argumentError(`${what}: "${keys[0]}" must be a list of strings`);
        }
        return { [keys[0]]: [...list] };
    }
    if (params === undefined) params = {};
    if (!isPlainObject(params)) throw argumentError(`${what}: parameters must be a plain object`);
    const content = {};
    for (const key of Object.keys(params)) {
        if (!Object.hasOwn(shape, key)) throw argumentError(`${what}: unknown parameter "${key}"`);
    }
    for (const [key, type] of Object.entries(shape)) {
        const value = params[key];
        if (value === undefined) {
            if (type.endsWith("!")) throw argumentError(`${what}: parameter "${key}" is required`);
            continue;
        }
        const [check, expected] = TYPE_CHECKS[type[0]];
        if (!check(value)) throw argumentError(`${what}: parameter "${key}" must be ${expected}`);
        content[key] = value;
    }
    return content;
}

// UTF-8 size of a string from JSON.stringify (which escapes lone surrogates,
// so every surrogate here is half of a 4-byte pair). Exact only when it could
// exceed the limit: a shorter text cannot, and the bytes are not counted.
function utf8Size(text) {
    if (text.length * 3 <= MAX_REQUEST_BYTES) return text.length;
    let size = text.length;
    for (let i = 0; i < text.length; i++) {
        const c = text.charCodeAt(i);
        if (c >= 0x80) size += c < 0x800 || (c >= 0xd800 && c <= 0xdfff) ? 1 : 2;
    }
    return size;
}

function randomToken() {
    const bytes = new Uint8Array(8);
    globalThis.crypto.getRandomValues(bytes);
    return Array.from(bytes, (b) => b.toString(16).padStart(2, "0")).join("");
}

function reportListenerError(err) {
    // The way EventTarget reports a throwing listener; the others still run.
    if (typeof globalThis.reportError === "function") globalThis.reportError(err);
    else console.error("softphone: an event listener threw", err);
}

// ---------------------------------------------------------------------------
// The connection

const internal = Symbol("internal");
const sendCommand = Symbol("sendCommand");

export class Softphone {
    #window;
    #origin;
    #token = randomToken();
    #nextId = 1;
    #pending = new Map(); // request id -> { settle(error, content), timer }
    #waits = new Set(); // ends of bounded waits for events, told when everything stops
    #listeners = new Map(); // event name -> Set of listeners
    #closed = false;
    #onMessage = (ev) => this.#receive(ev);
    #hello = null; // { seq, resolve } while connect() waits

    /** The extension's version, from its answer to hello. */
    extensionVersion = "";

    constructor(key, win) {
        if (key !== internal) throw new TypeError("use connect() to get a Softphone");
        this.#window = win;
        const origin = win.location && win.location.origin;
        this.#origin = typeof origin === "string" && origin !== "null" ? origin : "*";
        win.addEventListener("message", this.#onMessage);
    }

    get closed() {
        return this.#closed;
    }

    // connect() only: hello until answered or timed out.
    [internal](timeoutMs) {
        const seq = parseInt(this.#token.slice(0, 12), 16);
        return new Promise((resolve, reject) => {
            const send = () => this.#post({ ns: NS, from: "page", type: "hello", seq });
            const finish = (err) => {
                clearInterval(retry);
                clearTimeout(timer);
                this.#hello = null;
                if (err) {
                    this.close();
                    reject(err);
                } else {
                    resolve(this);
                }
            };
            const retry = setInterval(() => {
                try {
                    send();
                } catch {
                    // the first attempt already reported why
                }
            }, HELLO_RETRY_MS);
            const timer = setTimeout(() => finish(softphoneError(ErrorCode.ExtensionUnavailable,
                `the softphone extension did not answer within ${timeoutMs} ms (is it installed and enabled for this site?)`)), timeoutMs);
            this.#hello = { seq, resolve: () => finish(null) };
            try {
                send();
            } catch (err) {
                finish(softphoneError(ErrorCode.ExtensionUnavailable, `posting to the extension failed: ${err.message}`));
            }
        });
    }

    #post(message) {
        this.#window.postMessage(message, this.#origin);
    }

    #receive(ev) {
        if (this.#closed || ev.source !== this.#window) return;
        if (this.#origin !== "*" && ev.origin !== this.#origin) return;
        const msg = ev.data;
        if (msg === null || typeof msg !== "object" || msg.ns !== NS || msg.from !== "extension") return;
        switch (msg.type) {
            case "hello":
                if (this.#hello && msg.seq === this.#hello.seq) {
                    this.extensionVersion = typeof msg.version === "string" ? msg.version : "";
                    this.#hello.resolve();
                }
                break;
            case "reply":
                this.#reply(msg);
                break;
            case "event":
                if (typeof msg.name === "string" && msg.name !== "") this.#emit(msg.name, msg.content);
                break;
            case "status":
                if (msg.connected === false) {
                    const cause = typeof msg.cause === "string" ? msg.cause : HostUnavailableCause.HostDisconnected;
                    const message = typeof msg.message === "string" ? msg.message : "";
                    this.#failAll(() => softphoneError(ErrorCode.HostUnavailable, message || cause, { cause }));
                    this.#emit(EventName.HostDisconnected, { cause, message });
                } else if (msg.connected === true) {
                    this.#emit(EventName.HostConnected, undefined);
                }
                break;
        }
    }

    #reply(msg) {
        const entry = this.#pending.get(msg.id);
        if (!entry) return; // another instance's, or one that timed out
        if (msg.error === undefined || msg.error === null || msg.error === "") {
            entry.settle(null, msg.content);
            return;
        }
        const code = String(msg.error);
        if (code === ErrorCode.HostUnavailable) {
            const cause = typeof msg.cause === "string" ? msg.cause : HostUnavailableCause.HostDisconnected;
            const message = typeof msg.message === "string" && msg.message !== "" ? msg.message : cause;
            entry.settle(softphoneError(code, message, { cause, command: entry.name }));
        } else {
            entry.settle(softphoneError(code, `"${entry.name}" failed: ${code}`, { command: entry.name }));
        }
    }

    #emit(name, content) {
        const set = this.#listeners.get(name);
        if (!set) return;
        for (const listener of [...set]) {
            try {
                listener(content, name);
            } catch (err) {
                reportListenerError(err);
            }
        }
    }

    #failAll(makeError) {
        const entries = [...this.#pending.values()];
        for (const entry of entries) entry.settle(makeError(entry.name));
        for (const end of [...this.#waits]) end(makeError());
    }

    // Sends one request; resolves with the reply's content. quietSuccess: the
    // host answers only failures, so the end of the time-out is success.
    #send(name, content, timeoutMs, quietSuccess) {
        if (this.#closed) return Promise.reject(softphoneError(ErrorCode.Closed, `"${name}": the softphone connection is closed`));
        const id = `${this.#token}-${this.#nextId++}`;
        const message = { ns: NS, from: "page", type: "request", id, name };
        if (content !== undefined) message.content = content;
        let json;
        try {
            json = JSON.stringify(message);
        } catch (err) {
            return Promise.reject(argumentError(`"${name}": the content cannot be sent as JSON (${err.message})`));
        }
        const size = utf8Size(json);
        if (size > MAX_REQUEST_BYTES) {
            return Promise.reject(softphoneError(ErrorCode.RequestTooLarge,
                `"${name}": the request is ${size} bytes of JSON, more than the ${MAX_REQUEST_BYTES} the browser carries`, { command: name }));
        }
        return new Promise((resolve, reject) => {
            const entry = {
                name,
                settle: (err, value) => {
                    if (this.#pending.get(id) !== entry) return;
                    this.#pending.delete(id);
                    clearTimeout(entry.timer);
                    if (err) reject(err);
                    else resolve(value);
                },
                timer: setTimeout(() => entry.settle(quietSuccess ? null
                    : softphoneError(ErrorCode.Timeout, `"${name}" got no reply within ${timeoutMs} ms`, { command: name })), timeoutMs),
            };
            this.#pending.set(id, entry);
            try {
                this.#post(message);
            } catch (err) {
                // e.g. a value the structured clone cannot copy
                entry.settle(argumentError(`"${name}": posting the request failed: ${err.message}`));
            }
        });
    }

    /** Sends the command `name` with `content`; resolves with the reply's content. */
    request(name, content, options) {
        if (typeof name !== "string" || name === "") {
            return Promise.reject(argumentError("softphone.request: the command name must be a non-empty string"));
        }
        let timeoutMs;
        try {
            timeoutMs = timeoutOption(options, DEFAULT_REQUEST_TIMEOUT_MS, `softphone.request("${name}")`);
        } catch (err) {
            return Promise.reject(err);
        }
        return this.#send(name, content === null ? undefined : content, timeoutMs, false);
    }

    on(name, listener) {
        checkListenerArgs("on", name, listener);
        if (this.#closed) return;
        let set = this.#listeners.get(name);
        if (!set) this.#listeners.set(name, (set = new Set()));
        set.add(listener);
    }

    off(name, listener) {
        checkListenerArgs("off", name, listener);
        const set = this.#listeners.get(name);
        if (set && set.delete(listener) && set.size === 0) this.#listeners.delete(name);
    }

    // Resolves with the next content of event `name`, or `onTimeout` after
    // timeoutMs; rejects when the host goes away or the connection closes.
    // cancel() ends it quietly.
    #waitFor(name, timeoutMs, onTimeout) {
        let end;
        const promise = new Promise((resolve, reject) => {
            const listener = (content) => end(null, content);
            const timer = setTimeout(() => end(null, onTimeout), timeoutMs);
            end = (err, value) => {
                clearTimeout(timer);
                this.off(name, listener);
                this.#waits.delete(end);
                if (err) reject(err);
                else resolve(value);
            };
            this.#waits.add(end);
            this.on(name, listener);
        });
        return { promise, cancel: () => end(null, onTimeout) };
    }

    /**
     * Asks for the user's permission when the host needs it and resolves with
     * the final status: "UserAuthorized", "UserDenied", or, when the user did not
     * decide within timeoutMs, what the host then says ("UserAuthPending").
     */
    async authorize(options) {
        const timeoutMs = timeoutOption(options, DEFAULT_AUTHORIZE_TIMEOUT_MS, "softphone.authorize");
        const init = await this.#send("init", undefined, DEFAULT_REQUEST_TIMEOUT_MS, false);
        const status = init && init.userauthstatus;
        if (status === AuthStatus.UserAuthorized || status === AuthStatus.UserDenied) return status;
        if (status !== AuthStatus.MustShowAuth && status !== AuthStatus.UserAuthPending) {
            throw softphoneError(ErrorCode.BadReply, `"init" answered an unknown authorization status: ${JSON.stringify(status)}`, { command: "init" });
        }
        // Listen before asking: the host may send the decision before its reply.
        const noAnswer = Symbol("no answer");
        const wait = this.#waitFor(EventName.UserAuthorized, timeoutMs, noAnswer);
        try {
            // Pending: a dialog for this page is already open; only its answer is awaited.
            if (status === AuthStatus.MustShowAuth) await this.#send("showUserAuthorization", undefined, DEFAULT_REQUEST_TIMEOUT_MS, false);
        } catch (err) {
            wait.cancel();
            throw err;
        }
        const decision = await wait.promise;
        if (decision === noAnswer) {
            // The event may have been lost (an extension restart); the host knows.
            const now = await this.#send("getUserAuthStatus", undefined, DEFAULT_REQUEST_TIMEOUT_MS, false);
            if (!Object.hasOwn(AuthStatus, now)) {
                throw softphoneError(ErrorCode.BadReply, `"getUserAuthStatus" answered ${JSON.stringify(now)}`, { command: "getUserAuthStatus" });
            }
            return now;
        }
        // A typed boolean; accept its text too, whichever way the host writes it.
        return decision === true || decision === "true" ? AuthStatus.UserAuthorized : AuthStatus.UserDenied;
    }

    /** The sound devices and cameras, by role: see parseDevices. */
    async devices(options) {
        const content = await this.getMultimediaDevices(options);
        return parseDevices(content);
    }

    /** Chooses the device with identifier `id` for `role`; "" is the system's default. */
    async chooseDevice(role, id, options) {
        const { command, id: key } = roleOf(ROLES, role, "softphone.chooseDevice");
        if (typeof id !== "string") throw argumentError("softphone.chooseDevice: the identifier must be a string (\"\" for the system's default)");
        await this[command]({ [key]: id }, options);
    }

    /** Sets the volume of "speaker", "microphone" or "ringer", 0 to 100. */
    async setVolume(role, volume, options) {
        const command = roleOf(VOLUME_COMMANDS, role, "softphone.setVolume");
        if (!Number.isInteger(volume) || volume < 0 || volume > 100) {
            throw argumentError("softphone.setVolume: the volume must be an integer from 0 to 100");
        }
        await this[command]({ volume }, options);
    }

    /** The volume of "speaker", "microphone" or "ringer", 0 to 100. */
    async volume(role, options) {
        roleOf(VOLUME_COMMANDS, role, "softphone.volume");
        const reply = await this.getMultimediaDeviceVolume({ device: role }, options);
        const given = reply !== null && typeof reply === "object" ? reply.volume : undefined;
        const value = typeof given === "number" ? given : typeof given === "string" && /^\d+$/.test(given) ? Number(given) : NaN;
        if (!Number.isInteger(value) || value < 0 || value > 100) {
            throw softphoneError(ErrorCode.BadReply, `"getMultimediaDeviceVolume" answered ${JSON.stringify(reply)}`, { command: "getMultimediaDeviceVolume" });
        }
        return value;
    }

    /**
     * Runs the single sign-on provider's pages in a popup for this page: see
     * SsoWindow. One per page is enough; dispose() it when done.
     */
    ssoWindow(options) {
        return new SsoWindow(internal, this, this.#window, options);
    }

    /** Stops listening; every pending request and wait is rejected with code "Closed". */
    close() {
        if (this.#closed) return;
        this.#failAll((name) => softphoneError(ErrorCode.Closed, name ? `"${name}": the softphone connection was closed` : "the softphone connection was closed"));
        this.#closed = true;
        this.#window.removeEventListener("message", this.#onMessage);
        this.#listeners.clear();
    }

    // Used by the command methods.
    static [sendCommand](self, name, content, timeoutMs, quietSuccess) {
        return self.#send(name, content, timeoutMs, quietSuccess);
    }
}

// ---------------------------------------------------------------------------
// Single sign-on in a popup. The host names the provider's address
// ("ssonavigateto"); the user signs in there in a window of this page; the
// provider sends the window back to the redirect address, on this page's
// origin, and the host is told the final address and page
// ("ssoNavigationCompleted"). The window is watched by polling: reading its
// address throws while it is at the provider and works again once it is back
// on our origin; its `closed` can always be read.

/** Result codes of "ssoNavigationCompleted". */
export const SsoResult = freeze({ Completed: 0, Closed: 1, Failed: 2 });
export const SsoWindowPhase = words("idle", "waiting", "blocked", "open");

const SSO_POLL_MS = 200;
// The user may take a while at the provider, but a forgotten window is given up.
const SSO_TIMEOUT_MS = 10 * 60 * 1000;
const SSO_FEATURES = "popup,width=520,height=680";

export class SsoWindow {
    #phone;
    #window;
    #name;
    #features;
    #pollMs;
    #timeoutMs;
    #onChange;
    #popup = null;
    #pending = ""; // the provider's address while no window shows it
    #target = null; // origin + path of the redirect address, when the address names one
    #flow = false; // the host asked for the window and has not been answered
    #timer = 0;
    #deadline = 0;
    #disposed = false;
    #unlisten;
    phase = SsoWindowPhase.idle;

    constructor(key, phone, win, options) {
        if (key !== internal) throw new TypeError("use softphone.ssoWindow() to get an SsoWindow");
        const o = options === undefined || options === null ? {} : options;
        if (typeof o !== "object") throw argumentError("softphone.ssoWindow: options must be an object");
        const ms = (value, fallback, what) => {
            if (value === undefined) return fallback;
            if (typeof value !== "number" || !(value > 0) || value > MAX_TIMER_MS) throw argumentError(`softphone.ssoWindow: ${what} must be a number of milliseconds`);
            return value;
        };
        if (o.name !== undefined && typeof o.name !== "string") throw argumentError("softphone.ssoWindow: name must be a string");
        if (o.features !== undefined && typeof o.features !== "string") throw argumentError("softphone.ssoWindow: features must be a string");
        if (o.onChange !== undefined && typeof o.onChange !== "function") throw argumentError("softphone.ssoWindow: onChange must be a function");
        this.#phone = phone;
        this.#window = win;
        this.#name = o.name || "pela-sso";
        this.#features = o.features === undefined ? SSO_FEATURES : o.features;
        this.#pollMs = ms(o.pollMs, SSO_POLL_MS, "pollMs");
        this.#timeoutMs = ms(o.timeoutMs, SSO_TIMEOUT_MS, "timeoutMs");
        this.#onChange = o.onChange || null;
        const show = (content) => this.#show(content);
        const navigate = (content) => this.#navigate(content);
        const gone = () => this.#stop();
        phone.on(EventName.SsoShowWindow, show);
        phone.on(EventName.SsoNavigateTo, navigate);
        phone.on(EventName.HostDisconnected, gone);
        this.#unlisten = () => {
            phone.off(EventName.SsoShowWindow, show);
            phone.off(EventName.SsoNavigateTo, navigate);
            phone.off(EventName.HostDisconnected, gone);
        };
    }

    /** The provider's address waiting for openWindow() when the browser blocked the popup; "" otherwise. */
    get pendingUrl() {
        return this.#pending;
    }

    /**
     * Opens the window now: call it from a click (browsers allow popups only
     * then). Shows the provider's address when it is known, else a blank
     * window the next "ssonavigateto" uses. False when the browser refused;
     * a flow waiting for it is then reported as failed (result 2).
     */
    openWindow() {
        if (this.#disposed) return false;
        if (this.#popupOpen()) {
            if (this.#pending) this.#load(this.#pending);
            this.#focus();
            return true;
        }
        const popup = this.#open(this.#pending || "about:blank");
        if (!popup) {
            if (this.#pending) this.#report(SsoResult.Failed, "", "");
            return false;
        }
        this.#popup = popup;
        if (this.#pending) {
            this.#pending = "";
            this.#watch();
            this.#set(SsoWindowPhase.open);
        } else {
            // Blank until the host names the address; closing it is noticed too.
            this.#watch();
            this.#set(SsoWindowPhase.waiting);
        }
        return true;
    }

    /** Closes the window, if any, and forgets the flow without telling the host. */
    close() {
        this.#stop();
    }

    /** Stops listening to the host and closes the window. */
    dispose() {
        if (this.#disposed) return;
        this.#stop();
        this.#disposed = true;
        this.#unlisten();
    }

    #set(phase) {
        if (this.phase === phase) return;
        this.phase = phase;
        if (this.#onChange) {
            try {
                this.#onChange(phase);
            } catch (err) {
                reportListenerError(err);
            }
        }
    }

    #open(url) {
        try {
            return this.#window.open(url, this.#name, this.#features) || null;
        } catch {
            return null;
        }
    }

    #popupOpen() {
        try {
            return this.#popup !== null && !this.#popup.closed;
        } catch {
            return false;
        }
    }

    #focus() {
        try {
            this.#popup.focus();
        } catch {
            // some browsers refuse focus(); the window is there anyway
        }
    }

    #load(url) {
        this.#pending = "";
        try {
            this.#popup.location.href = url;
        } catch {
            // a window that cannot be told where to go is opened again under its name
            this.#popup = this.#open(url) || this.#popup;
        }
    }

    #show(content) {
        if (this.#disposed) return;
        const show = content !== null && typeof content === "object" ? content.show : content;
        if (show === true || show === "true") {
            this.#flow = true;
            if (this.phase === SsoWindowPhase.idle) this.#set(SsoWindowPhase.waiting);
        } else {
            // The host ended the flow (done, cancelled, timed out): nothing to report.
            this.#stop();
        }
    }

    #navigate(content) {
        if (this.#disposed) return;
        const url = typeof content === "string" ? content : "";
        this.#flow = true;
        let address;
        try {
            address = new URL(url);
        } catch {
            address = null;
        }
        if (!address || (address.protocol !== "https:" && address.protocol !== "http:")) {
            this.#report(SsoResult.Failed, "", "");
            return;
        }
        this.#target = null;
        const redirect = address.searchParams.get("redirect_uri");
        if (redirect) {
            try {
                const back = new URL(redirect);
                this.#target = back.origin + back.pathname;
            } catch {
                // the host's business; any return to our origin ends the watch
            }
        }
        this.#deadline = Date.now() + this.#timeoutMs;
        if (this.#popupOpen()) {
            this.#load(url);
            this.#focus();
        } else {
            const popup = this.#open(url);
            if (!popup) {
                // Blocked outside a user gesture: the page offers a button for openWindow().
                this.#pending = url;
                this.#set(SsoWindowPhase.blocked);
                return;
            }
            this.#popup = popup;
        }
        this.#watch();
        this.#set(SsoWindowPhase.open);
    }

    #watch() {
        if (!this.#deadline) this.#deadline = Date.now() + this.#timeoutMs;
        if (!this.#timer) this.#timer = setInterval(() => this.#poll(), this.#pollMs);
    }

    #poll() {
        if (!this.#popupOpen()) {
            // The user closed it: a cancel for a flow under way.
            this.#popup = null;
            if (this.#flow && !this.#pending) this.#report(SsoResult.Closed, "", "");
            else this.#stop();
            return;
        }
        if (Date.now() > this.#deadline) {
            this.#report(SsoResult.Failed, "", "");
            return;
        }
        if (this.phase !== SsoWindowPhase.open) return;
        let href;
        let doc;
        try {
            // Throws while the window is on another origin.
            href = String(this.#popup.location.href);
            doc = this.#popup.document;
        } catch {
            return;
        }
        if (href === "about:blank" || (this.#target !== null && !href.startsWith(this.#target))) return;
        // Back on our origin: wait for the page to be there whole.
        if (!doc || doc.readyState !== "complete" || !doc.documentElement) return;
        this.#report(SsoResult.Completed, href, doc.documentElement.outerHTML);
    }

    #report(result, url, html) {
        const wasFlow = this.#flow;
        this.#stop();
        if (!wasFlow) return;
        this.#phone.ssoNavigationCompleted({ result, url, document: html }).catch(reportListenerError);
    }

    #stop() {
        clearInterval(this.#timer);
        this.#timer = 0;
        this.#deadline = 0;
        this.#flow = false;
        this.#pending = "";
        this.#target = null;
        if (this.#popup) {
            try {
                if (!this.#popup.closed) this.#popup.close();
            } catch {
                // already gone
            }
        }
        this.#popup = null;
        this.#set(SsoWindowPhase.idle);
    }
}

function checkListenerArgs(method, name, listener) {
    if (typeof name !== "string" || name === "") throw argumentError(`softphone.${method}: the event name must be a non-empty string`);
    if (typeof listener !== "function") throw argumentError(`softphone.${method}: the listener must be a function`);
}

// One method per command: softphone.hold({ callId }), softphone.logout(), ...
for (const [name, shape] of Object.entries(COMMAND_PARAMS)) {
    const takesArgument = shape !== NONE && shape !== EMPTY;
    const quietSuccess = name === "dockUpdate";
    const fallback = quietSuccess ? DOCK_UPDATE_QUIET_MS : DEFAULT_REQUEST_TIMEOUT_MS;
    Object.defineProperty(Softphone.prototype, name, {
        configurable: true,
        writable: true,
        value: {
            [name](...args) {
                try {
                    const content = commandContent(name, shape, takesArgument ? args[0] : undefined);
                    const timeoutMs = timeoutOption(takesArgument ? args[1] : args[0], fallback, `softphone.${name}`);
                    return Softphone[sendCommand](this, name, content, timeoutMs, quietSuccess);
                } catch (err) {
                    return Promise.reject(err);
                }
            },
        }[name],
    });
}

/**
 * Finds the extension on this page and resolves with a Softphone; rejects
 * with code "ExtensionUnavailable" when it does not answer within timeoutMs.
 */
export function connect(options) {
    let timeoutMs;
    try {
        timeoutMs = timeoutOption(options, DEFAULT_HELLO_TIMEOUT_MS, "connect");
    } catch (err) {
        return Promise.reject(err);
    }
    const win = globalThis.window;
    if (!win || typeof win.postMessage !== "function" || typeof win.addEventListener !== "function") {
        return Promise.reject(softphoneError(ErrorCode.ExtensionUnavailable, "connect: there is no page window here to reach the extension through"));
    }
    return new Softphone(internal, win)[internal](timeoutMs);
}
