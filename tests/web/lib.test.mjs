// Unit tests of the page library's logic (web/lib/softphone.js). Only the
// window is faked: an EventTarget whose postMessage hands each message the page
// posts to a scripted extension, which answers as the content script would.
import { test } from "node:test";
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import * as lib from "../../web/lib/softphone.js";

const ORIGIN = "https://page.test";
const helloBack = (m, w) => m.type === "hello" && w.send({ type: "hello", seq: m.seq, version: "1.2.3" });

class FakeWindow extends EventTarget {
    location = { origin: ORIGIN };
    posted = [];
    listening = 0;
    constructor(answer = helloBack) {
        super();
        this.answer = answer; // the extension: (message the page posted, this window)
    }
    addEventListener(type, fn) { this.listening++; super.addEventListener(type, fn); }
    removeEventListener(type, fn) { this.listening--; super.removeEventListener(type, fn); }
    postMessage(data, targetOrigin) {
        assert.equal(targetOrigin, ORIGIN);
        const copy = structuredClone(data);
        this.posted.push(copy);
        setTimeout(() => this.answer(copy, this));
    }
    dispatch(data, { source = this, origin = ORIGIN } = {}) {
        this.dispatchEvent(Object.assign(new Event("message"), { data, source, origin }));
    }
    send(body, where) { this.dispatch({ ns: "pela-softphone", from: "extension", ...body }, where); }
    requests() { return this.posted.filter((m) => m.type === "request"); }
}

// A Softphone connected through a fresh fake window; reply(request, win) answers requests.
async function open(reply = () => {}) {
    const win = (globalThis.window = new FakeWindow((m, w) => (m.type === "hello" ? helloBack(m, w) : reply(m, w))));
    return { win, phone: await lib.connect({ timeoutMs: 500 }) };
}
const ok = (content) => (m, w) => w.send({ type: "reply", id: m.id, content });
const code = (promise, expected) => assert.rejects(promise, (e) => e.code === expected);
const tick = (ms = 0) => new Promise((r) => setTimeout(r, ms));

test("connect: finds the extension, resends hello to a late one, gives up cleanly without it", async () => {
    const { phone, win } = await open();
    assert.equal(phone.extensionVersion, "1.2.3");
    assert.deepEqual(Object.keys(win.posted[0]).sort(), ["from", "ns", "seq", "type"]);

    let hellos = 0; // a content script injected late answers only the third hello
    globalThis.window = new FakeWindow((m, w) => ++hellos === 3 && helloBack(m, w));
    assert.equal((await lib.connect({ timeoutMs: 2000 })).extensionVersion, "1.2.3");

    // Wrong seq, another window, another origin, the page's own message: no answer.
    const silent = (globalThis.window = new FakeWindow((m, w) => {
        w.send({ type: "hello", seq: m.seq + 1 });
        w.send({ type: "hello", seq: m.seq }, { source: {} });
        w.send({ type: "hello", seq: m.seq }, { origin: "https://evil.test" });
        w.dispatch({ ns: "pela-softphone", from: "page", type: "hello", seq: m.seq });
    }));
    await code(lib.connect({ timeoutMs: 300 }), "ExtensionUnavailable");
    const count = silent.posted.length;
    await tick(600);
    assert.deepEqual([silent.posted.length, silent.listening], [count, 0], "no hello nor listener after giving up");

    await code(lib.connect({ timeoutMs: -5 }), "InvalidArgument");
    delete globalThis.window;
    await code(lib.connect(), "ExtensionUnavailable");
});

test("requests: replies match ids, errors carry codes, time-outs and closing leave nothing behind", async () => {
    const { phone, win } = await open((m, w) => {
        if (m.name === "bad") return w.send({ type: "reply", id: m.id, error: "eInvalidArgument" });
        if (m.name === "gone") return w.send({ type: "reply", id: m.id, error: "HostUnavailable", cause: "HostExited", message: "Native host has exited." });
        if (m.name !== "slow") setTimeout(() => ok({ echo: m.content })(m, w), m.content === 1 ? 30 : 0);
    });
    // Answered in the other order, each gets its own reply.
    assert.deepEqual(await Promise.all([phone.request("x", 1), phone.request("x", 2)]), [{ echo: 1 }, { echo: 2 }]);
    await phone.request("x");
    assert.deepEqual(win.requests().map((m) => "content" in m), [true, true, false], "no content key without content");
    assert.equal(new Set(win.requests().map((m) => m.id)).size, 3);

    await assert.rejects(phone.request("bad"), { code: "eInvalidArgument", command: "bad" });
    await assert.rejects(phone.request("gone"), { code: "HostUnavailable", cause: "HostExited", message: "Native host has exited." });
    await code(phone.request("slow", undefined, { timeoutMs: 30 }), "Timeout");
    win.send({ type: "reply", id: win.requests().at(-1).id, content: "late" }); // ignored

    const bad = [phone.request(), phone.request(""), phone.request(7), phone.request("x", { n: 1n }), phone.request("x", 1, { timeoutMs: 0 })];
    await Promise.all(bad.map((promise) => code(promise, "InvalidArgument")));

    const pending = phone.request("slow");
    phone.close();
    await code(pending, "Closed");
    await code(phone.request("x"), "Closed");
    assert.deepEqual([phone.closed, win.listening], [true, 0]);
});

test("RequestTooLarge counts UTF-8 bytes of the JSON and posts nothing", async () => {
    const { phone, win } = await open(ok());
    // 22.4 million "€" are 67.1 MB of UTF-8 but fewer UTF-16 units than the limit.
    const euros = "€".repeat(Math.ceil(lib.MAX_REQUEST_BYTES / 3));
    await assert.rejects(phone.request("configure", { s: euros }), { code: "RequestTooLarge", command: "configure" });
    assert.equal(win.requests().length, 0);
    await phone.request("configure", { s: "é".repeat(lib.MAX_REQUEST_BYTES / 2 - 200) }); // just under
    assert.equal(win.requests().length, 1);
});

test("events: to every instance, listeners isolated; a broken way to the host fails what is pending", async () => {
    const { phone: one, win } = await open((m, w) => m.name === "x" && ok(m.id)(m, w));
    const two = await lib.connect({ timeoutMs: 500 });
    const [id1, id2] = await Promise.all([one.request("x"), two.request("x")]);
    assert.notEqual(id1.split("-")[0], id2.split("-")[0], "each instance has its own ids");

    const [seen, reported] = [[], []];
    const consoleError = console.error;
    console.error = (...args) => reported.push(args);
    try {
        const once = (c) => { seen.push(`once:${c.callId}`); one.off("callstatechange", once); };
        one.on("callstatechange", () => { throw new Error("listener bug"); });
        one.on("callstatechange", once);
        one.on("callstatechange", (c, name) => seen.push(`${name}:${c.callId}`));
        two.on("callstatechange", (c) => seen.push(`two:${c.callId}`));
        for (const callId of [1, 2]) win.send({ type: "event", name: "callstatechange", content: { callId } });
    } finally {
        console.error = consoleError;
    }
    assert.equal(reported.length, 2, "each throw reported");
    assert.deepEqual(seen, ["once:1", "callstatechange:1", "two:1", "callstatechange:2", "two:2"]);
    assert.throws(() => one.on("", () => {}), TypeError);
    assert.throws(() => one.on("x", "not a function"), TypeError);

    const status = [];
    one.on("hostdisconnected", (c) => status.push(c));
    one.on("hostconnected", (c) => status.push(c));
    const pending = one.request("hold", { callId: 1 }, { timeoutMs: 2000 });
    await tick();
    const broken = { cause: "HostNotFound", message: "Specified native messaging host not found." };
    win.send({ type: "status", connected: false, ...broken });
    await assert.rejects(pending, { code: "HostUnavailable", ...broken });
    win.send({ type: "status", connected: true });
    assert.deepEqual(status, [broken, undefined]);
});

test("command methods send exactly the host's parameters and refuse bad ones before posting", async () => {
    const { phone, win } = await open((m, w) => m.name !== "dockUpdate" && ok({ callId: 4 })(m, w));
    assert.equal(lib.COMMANDS.length, 65);
    for (const name of lib.COMMANDS) assert.equal(typeof phone[name], "function", name);

    assert.deepEqual(await phone.originate({ recipient: "bob", videoDirection: "SendRecv" }), { callId: 4 });
    await phone.hold({ callId: 4 });
    await phone.logout();
    await phone.resetData(); // the host refuses it without a content
    await phone.startSignIn(); // all-optional parameters still make an object
    await phone.getProperty("mode");
    await phone.setProperty({ LoryAddressList: ["127.0.0.1:5060"] });
    assert.deepEqual(win.requests().map(({ name, content }) => [name, content]), [
        ["originate", { recipient: "bob", videoDirection: "SendRecv" }], ["hold", { callId: 4 }], ["logout", undefined],
        ["resetData", {}], ["startSignIn", {}], ["getProperty", "mode"], ["setProperty", { LoryAddressList: ["127.0.0.1:5060"] }]]);

    const count = win.posted.length;
    const bad = [phone.hold({ callId: "4" }), phone.hold({}), phone.mute({ callId: 1, muteAudio: true, volume: 3 }),
        phone.setUserProfileCredentials({ authenticator: -1, username: "", password: "p" }),
        phone.setProperty({ LoryAddressList: ["a"], TftpAddressList: [] }), phone.getProperty({ name: "mode" }),
        phone.logout({ timeoutMs: "soon" })];
    await Promise.all(bad.map((promise) => code(promise, "InvalidArgument")));
    assert.equal(win.posted.length, count);

    // dockUpdate is answered only on failure: silence is success.
    const geometry = { offsetX: -5, offsetY: 0, width: 640, height: 480, pageWidth: 900, pageHeight: 700, cropOffsetX: 0, cropOffsetY: 0, cropWidth: 640, cropHeight: 480 };
    assert.equal(await phone.dockUpdate(geometry, { timeoutMs: 50 }), undefined);
    win.answer = (m, w) => w.send({ type: "reply", id: m.id, error: "eOperationNotSupported" });
    await code(phone.dockUpdate(geometry), "eOperationNotSupported");
});

test("authorize: at once, through the dialog, denied, unanswered, host lost", async () => {
    // The host says initStatus to "init"; onShow answers "showUserAuthorization".
    const run = async (initStatus, onShow, timeoutMs = 2000) => {
        const { phone, win } = await open((m, w) => {
            if (m.name === "init") ok({ userauthstatus: initStatus, version: {} })(m, w);
            if (m.name === "showUserAuthorization") onShow(m, w);
            if (m.name === "getUserAuthStatus") ok("UserAuthPending")(m, w);
        });
        return { result: phone.authorize({ timeoutMs }), names: () => win.requests().map((m) => m.name) };
    };
    const decide = (content, eventFirst) => (m, w) => {
        if (!eventFirst) ok()(m, w);
        w.send({ type: "event", name: "userauthorized", content });
        if (eventFirst) ok()(m, w);
    };
    let r = await run("UserAuthorized");
    assert.deepEqual([await r.result, r.names()], ["UserAuthorized", ["init"]]);
    assert.equal(await (await run("UserDenied")).result, "UserDenied");
    r = await run("MustShowAuth", decide(true, true)); // the decision before the reply
    assert.deepEqual([await r.result, r.names()], ["UserAuthorized", ["init", "showUserAuthorization"]]);
    assert.equal(await (await run("MustShowAuth", decide("true", false))).result, "UserAuthorized");
    assert.equal(await (await run("MustShowAuth", decide(false, false))).result, "UserDenied");
    r = await run("MustShowAuth", ok(), 50);
    assert.deepEqual([await r.result, r.names()], ["UserAuthPending", ["init", "showUserAuthorization", "getUserAuthStatus"]]);
    r = await run("MustShowAuth", (m, w) => { ok()(m, w); w.send({ type: "status", connected: false, cause: "HostExited", message: "" }); });
    await assert.rejects(r.result, { code: "HostUnavailable", cause: "HostExited" });
    await code((await run("???")).result, "BadReply");
});

test("the declarations name every export and every command; the vocabulary is frozen", () => {
    const dts = readFileSync(new URL("../../web/lib/softphone.d.ts", import.meta.url), "utf8");
    const declared = [...dts.matchAll(/^export declare (?:const|function|class) (\w+)/gm)].map((m) => m[1]);
    assert.deepEqual(declared.sort(), Object.keys(lib).sort());
    for (const name of lib.COMMANDS) assert.match(dts, new RegExp(`^    ${name}(<[^>]*>)?\\(`, "m"), name);
    assert.deepEqual(lib.RESULT_CODE_NAMES.map((n) => lib.ResultCode[n]), [...Array(21).keys()]);
    assert.deepEqual([lib.CallStateNumber.Idle, lib.CallStateNumber.Connected, lib.CallStateNumber.Reorder], [0, 5, 8]);
    assert.ok([lib.CallState, lib.COMMANDS, lib.EventName, lib.ResultCode].every(Object.isFrozen));
});

// Device records as the host sends them (trimmed from a real reply on a
// desktop with two speakers and a microphone); the headset writes its flags as
// text, as the host has done.
const device = (deviceID, roles, selected = "", flags = {}) => {
    const has = (r) => roles.includes(r);
    const id = (r) => (has(r) ? deviceID : "");
    return {
        deviceID, deviceName: deviceID.replace(/^.*: /, ""), hardwareID: "PulseAudio",
        canRecord: has("m"), canPlayout: has("s"), canRing: has("r"), canCapture: has("c"),
        isSelectedRecordingDevice: selected.includes("m"), isSelectedPlayoutDevice: selected.includes("s"),
        isSelectedRingerDevice: selected.includes("r"), isSelectedCaptureDevice: selected.includes("c"),
        clientRecordingID: id("m"), clientPlayoutID: id("s"), clientRingerID: id("r"), clientCaptureID: id("c"),
        playoutName: has("s") ? deviceID.replace(/^.*: /, "") : "", ...flags,
    };
};
const DEVICES = [
    device("PulseAudio Unknown: Speakers", "sr", "r"),
    device("PulseAudio Unknown: Headset", "sr", "", { canPlayout: "true", canRing: "false", isSelectedPlayoutDevice: "true" }),
    device("PulseAudio Unknown: Microphone", "m", "m"),
    device("StaticImage: Static picture", "c", "c", { deviceName: "StaticImage: Static picture" }),
    // Can ring, but offers no identifier to choose it by.
    device("ALSA Unknown: odd", "", "", { canRing: true }),
    "not a device",
];

test("parseDevices: groups by role with real booleans; anything but a list is a bad reply", () => {
    const list = lib.parseDevices({ multimediadevices: DEVICES });
    const ids = (group) => group.map((d) => `${d.name}${d.selected ? "*" : ""}`);
    assert.deepEqual(ids(list.speakers), ["Speakers", "Headset*"]);
    assert.deepEqual(ids(list.ringers), ["Speakers*"], "\"false\" is false; no identifier, no choice");
    assert.deepEqual(ids(list.microphones), ["Microphone*"]);
    assert.deepEqual(ids(list.cameras), ["StaticImage: Static picture*"], "a nameless role falls back to the device's name");
    assert.equal(list.speakers[1].id, "PulseAudio Unknown: Headset");
    assert.equal(list.all.length, 5, "records that are not objects are dropped");
    assert.deepEqual([list.all[1].canPlayout, list.all[1].canRing, list.all[1].vendorID], [true, false, ""]);

    assert.deepEqual(lib.parseDevices({ multimediadevices: [] }).speakers, []);
    for (const bad of [undefined, null, "", {}, { multimediadevices: "" }, [DEVICES[0]]]) {
        assert.throws(() => lib.parseDevices(bad), { code: "BadReply" }, JSON.stringify(bad));
    }
});

test("devices, chooseDevice, setVolume, volume: the host's commands by role, bad roles and values refused", async () => {
    const { phone, win } = await open((m, w) => {
        if (m.name === "getMultimediaDevices") return ok({ multimediadevices: DEVICES })(m, w);
        if (m.name === "getMultimediaDeviceVolume") return ok({ volume: { speaker: 40, microphone: "7", ringer: "loud" }[m.content.device], device: m.content.device })(m, w);
        if (m.content && m.content.clientPlayoutID === "gone") return w.send({ type: "reply", id: m.id, error: "eInvalidArgument" });
        ok()(m, w);
    });
    assert.deepEqual((await phone.devices()).microphones, [{ id: "PulseAudio Unknown: Microphone", name: "Microphone", selected: true }]);
    await phone.chooseDevice("microphone", "PulseAudio Unknown: Microphone");
    await phone.chooseDevice(lib.DeviceRole.speaker, "");
    await phone.chooseDevice("ringer", "x");
    await phone.chooseDevice("camera", "StaticImage: Static picture");
    await phone.setVolume("speaker", 0);
    await phone.setVolume("microphone", 100);
    await phone.setVolume("ringer", 55);
    assert.equal(await phone.volume("speaker"), 40);
    assert.equal(await phone.volume("microphone"), 7);
    await code(phone.volume("ringer"), "BadReply");
    await assert.rejects(phone.chooseDevice("speaker", "gone"), { code: "eInvalidArgument", command: "setPlayoutDevice" });
    assert.deepEqual(win.requests().map(({ name, content }) => [name, content]), [
        ["getMultimediaDevices", {}],
        ["setRecordingDevice", { clientRecordingID: "PulseAudio Unknown: Microphone" }], ["setPlayoutDevice", { clientPlayoutID: "" }],
        ["setRingerDevice", { clientRingerID: "x" }], ["setCaptureDevice", { clientCaptureID: "StaticImage: Static picture" }],
        ["setCurrentSpeakerVolume", { volume: 0 }], ["setCurrentMicrophoneVolume", { volume: 100 }], ["setCurrentRingerVolume", { volume: 55 }],
        ["getMultimediaDeviceVolume", { device: "speaker" }], ["getMultimediaDeviceVolume", { device: "microphone" }],
        ["getMultimediaDeviceVolume", { device: "ringer" }], ["setPlayoutDevice", { clientPlayoutID: "gone" }]]);

    const count = win.posted.length;
    const bad = [phone.chooseDevice("printer", "x"), phone.chooseDevice("speaker"), phone.chooseDevice("toString", ""),
        phone.setVolume("camera", 5), phone.setVolume("speaker", 101), phone.setVolume("speaker", -1),
        phone.setVolume("speaker", 2.5), phone.setVolume("speaker", "50"), phone.volume("camera"),
        phone.devices({ timeoutMs: 0 })];
    await Promise.all(bad.map((promise) => code(promise, "InvalidArgument")));
    assert.equal(win.posted.length, count);
});
