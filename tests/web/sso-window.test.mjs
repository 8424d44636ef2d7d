// Unit tests of the page library's single sign-on window (SsoWindow in
// web/lib/softphone.js) and of the demo's sign-on state (web/demo/state.js).
// The page's window is faked: an EventTarget whose postMessage hands requests
// to a scripted extension, and whose open() makes popups that behave as a
// browser's do: their address cannot be read while at another origin.
import { test } from "node:test";
import assert from "node:assert/strict";
import * as lib from "../../web/lib/softphone.js";
import { applySsoEvent, createState, ssoControls } from "../../web/demo/state.js";

const ORIGIN = "http://127.0.0.1:8123";
const PROVIDER = "https://127.0.0.1:9443/oidc/auth";
const BACK = `${ORIGIN}/lib/sso-done.html`;
const authUrl = (redirect = BACK) => `${PROVIDER}?client_id=pela-host&redirect_uri=${encodeURIComponent(redirect)}&state=s1`;
const tick = (ms = 0) => new Promise((r) => setTimeout(r, ms));

class FakePopup {
    closed = false;
    at = "about:blank";
    ready = "complete";
    html = "<html><body>done</body></html>";
    constructor(url) {
        this.at = url;
        const popup = this;
        this.location = {
            get href() {
                if (!popup.at.startsWith(ORIGIN) && popup.at !== "about:blank") throw new DOMException("cross-origin", "SecurityError");
                return popup.at;
            },
            set href(url) {
                popup.at = url;
            },
        };
    }
    get document() {
        if (!this.at.startsWith(ORIGIN) && this.at !== "about:blank") throw new DOMException("cross-origin", "SecurityError");
        return { readyState: this.ready, documentElement: { outerHTML: this.html } };
    }
    focus() {}
    close() {
        this.closed = true;
    }
}

class FakeWindow extends EventTarget {
    location = { origin: ORIGIN };
    posted = [];
    popups = [];
    blocked = false; // window.open outside a user gesture
    postMessage(data) {
        const m = structuredClone(data);
        this.posted.push(m);
        setTimeout(() => {
            if (m.type === "hello") this.send({ type: "hello", seq: m.seq, version: "1" });
            else this.send({ type: "reply", id: m.id });
        });
    }
    open(url) {
        if (this.blocked) return null;
        const popup = new FakePopup(url);
        this.popups.push(popup);
        return popup;
    }
    send(body) {
        this.dispatchEvent(Object.assign(new Event("message"), { data: { ns: "pela-softphone", from: "extension", ...body }, source: this, origin: ORIGIN }));
    }
    event(name, content) {
        this.send({ type: "event", name, content });
    }
    completions() {
        return this.posted.filter((m) => m.type === "request" && m.name === "ssoNavigationCompleted").map((m) => m.content);
    }
}

async function open(options = {}) {
    const win = (globalThis.window = new FakeWindow());
    const phone = await lib.connect({ timeoutMs: 500 });
    const phases = [];
    const sso = phone.ssoWindow({ pollMs: 5, onChange: (p) => phases.push(p), ...options });
    return { win, phone, sso, phases };
}

test("a popup at the provider is reported once it is back and loaded at the redirect address, then closed", async () => {
    const { win, sso, phases } = await open();
    win.event("ssoshowwindow", { show: true });
    win.event("ssonavigateto", authUrl());
    await tick(20);
    const [popup] = win.popups;
    assert.equal(popup.at, authUrl());
    popup.at = "https://127.0.0.1:9443/interaction/abc"; // the provider's own pages
    await tick(20);
    // Back on our origin, at another path first (not the redirect), then loading.
    popup.at = `${ORIGIN}/other.html`;
    await tick(20);
    popup.ready = "loading";
    popup.at = `${BACK}?code=c1&state=s1`;
    await tick(20);
    assert.deepEqual(win.completions(), [], "nothing before the page is there whole");
    popup.ready = "complete";
    await tick(30);
    assert.deepEqual(win.completions(), [{ result: 0, url: `${BACK}?code=c1&state=s1`, document: "<html><body>done</body></html>" }]);
    assert.equal(popup.closed, true);
    assert.deepEqual(phases, ["waiting", "open", "idle"]);
    assert.equal(sso.phase, "idle");
    await tick(20);
    assert.equal(win.completions().length, 1, "reported once");
});

test("closed by the user: result 1; hidden by the host: closed, no report; a bad address: result 2", async () => {
    const { win, sso } = await open();
    win.event("ssonavigateto", authUrl());
    await tick(10);
    win.popups[0].closed = true;
    await tick(30);
    assert.deepEqual(win.completions(), [{ result: 1, url: "", document: "" }]);

    win.event("ssonavigateto", authUrl());
    await tick(10);
    win.event("ssoshowwindow", { show: false });
    await tick(30);
    assert.equal(win.popups[1].closed, true);
    assert.equal(win.completions().length, 1);
    assert.equal(sso.phase, "idle");

    for (const bad of ["javascript:alert(1)", "not a url", 42]) win.event("ssonavigateto", bad);
    await tick(20);
    assert.deepEqual(win.completions().slice(1).map((c) => c.result), [2, 2, 2]);
    assert.equal(win.popups.length, 2, "no window for a bad address");

    // A flow nobody finishes is given up, bounded.
    const slow = await open({ timeoutMs: 40 });
    slow.win.event("ssonavigateto", authUrl());
    await tick(100);
    assert.deepEqual(slow.win.completions(), [{ result: 2, url: "", document: "" }]);
    assert.equal(slow.win.popups[0].closed, true);
});

test("a blocked popup waits for openWindow() from a click; a blank window opened first is used", async () => {
    const { win, sso, phases } = await open();
    win.blocked = true;
    win.event("ssoshowwindow", { show: true });
    win.event("ssonavigateto", authUrl());
    await tick(10);
    assert.equal(sso.phase, "blocked");
    assert.equal(sso.pendingUrl, authUrl());
    await tick(30);
    assert.deepEqual(win.completions(), [], "a blocked window is not a closed one");
    win.blocked = false; // the click
    assert.equal(sso.openWindow(), true);
    assert.equal(win.popups[0].at, authUrl());
    assert.equal(sso.pendingUrl, "");
    win.popups[0].closed = true;
    await tick(30);
    assert.deepEqual(win.completions(), [{ result: 1, url: "", document: "" }]);
    assert.deepEqual(phases, ["waiting", "blocked", "open", "idle"]);

    // Refused even from a click: result 2.
    win.blocked = true;
    win.event("ssonavigateto", authUrl());
    await tick(10);
    assert.equal(sso.openWindow(), false);
    assert.equal(win.completions()[1].result, 2);

    // Opened blank from the click that started the sign-in; the address comes later.
    win.blocked = false;
    assert.equal(sso.openWindow(), true);
    const blank = win.popups[1];
    assert.equal(blank.at, "about:blank");
    await tick(20);
    assert.equal(win.completions().length, 2, "a blank window is not the redirect");
    win.blocked = true; // the event comes outside the click: the open window is reused
    win.event("ssonavigateto", authUrl());
    await tick(10);
    assert.equal(blank.at, authUrl());
    blank.at = `${BACK}?error=access_denied&state=s1`;
    await tick(30);
    assert.equal(win.completions()[2].url, `${BACK}?error=access_denied&state=s1`);

    // Closing a blank window before any flow tells the host nothing; dispose stops listening.
    win.blocked = false;
    sso.openWindow();
    win.popups[2].closed = true;
    await tick(20);
    assert.equal(win.completions().length, 3);
    sso.dispose();
    win.event("ssonavigateto", authUrl());
    await tick(20);
    assert.equal(win.popups.length, 3);
    assert.throws(() => new lib.SsoWindow(), TypeError, "an SsoWindow comes from softphone.ssoWindow()");
});

test("demo state: the sign-on buttons follow the host's events and the window's phase", () => {
    const state = createState();
    assert.deepEqual(ssoControls(state), { continueShown: false, cancelShown: false, expiryShown: false, words: "" });
    applySsoEvent(state, "cancancelsinglesignonchanged", { cancancel: true });
    state.sso.phase = "blocked";
    assert.deepEqual(ssoControls(state), { continueShown: true, cancelShown: true, expiryShown: false,
        words: "Your provider's sign-in window was blocked: continue with your provider." });
    state.sso.phase = "open";
    assert.equal(ssoControls(state).continueShown, false);
    assert.match(ssoControls(state).words, /in the provider's window/);
    applySsoEvent(state, "cancancelsinglesignonchanged", { cancancel: "false" });
    assert.equal(ssoControls(state).cancelShown, false);
    applySsoEvent(state, "ssosessionexpirypromptrequired");
    assert.equal(ssoControls(state).expiryShown, true);
    applySsoEvent(state, "lifecyclessosessionchanged", "Expired");
    assert.equal(state.sso.session, "Expired");
    // Signing in again or out ends the prompt and the flow.
    applySsoEvent(state, "loggedin");
    assert.deepEqual([state.sso.expiryPrompt, state.sso.canCancel], [false, false]);
    applySsoEvent(state, "cancancelsinglesignonchanged", { cancancel: true });
    applySsoEvent(state, "ssosessionexpirypromptrequired");
    applySsoEvent(state, "lifecyclestatechanged", "SignedOut");
    assert.deepEqual([state.sso.expiryPrompt, state.sso.canCancel], [false, false]);
    assert.equal(applySsoEvent(state, "callstatechange", {}), false, "not a sign-on event");
});
