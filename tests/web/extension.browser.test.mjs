// The whole product in a real browser: Debian's Chromium with the extension,
// the built host, pages on loopback, Kamailio and a SIP phone ("bob").
// Run: node --test tests/web/extension.browser.test.mjs (after scripts/setup build).

import { after, before, describe, test } from "node:test";
import assert from "node:assert/strict";

import { hostHome, hostLog, hostPids, launchBrowser, registerHost, removeHome, serveWeb, startSipBed, waitFor } from "./harness.mjs";

const APPROVED = "127.0.0.1";
let sip, siteA, siteB, home, browser;

// Opens a page of `site`, connects the library and records every event.
async function openPage(site) {
  const page = await browser.context.newPage();
  await page.goto(site.origin + "/");
  await page.evaluate(async () => {
    const lib = await import("/lib/softphone.js");
    window.__events = [];
    window.__sp = await lib.connect({ timeoutMs: 5000 });
    const names = [...Object.values(lib.EventName)];
    for (const name of names) window.__sp.on(name, (content) => window.__events.push({ name, content }));
  });
  return page;
}

// A request through the page; resolves with { content } or { error: code, cause }.
function ask(page, name, content, timeoutMs = 10000) {
  return page.evaluate(
    ([name, content, timeoutMs]) =>
      window.__sp.request(name, content, { timeoutMs }).then(
        (content) => ({ content }),
        (e) => ({ error: e.code, cause: e.cause }),
      ),
    [name, content, timeoutMs],
  );
}

// The first event named `name` (from index `from` on) that `match` accepts.
async function event(page, name, match = () => true, from = 0, ms = 15000) {
  return waitFor(
    async () => {
      const events = await page.evaluate(() => window.__events);
      return events.slice(from).find((e) => e.name === name && match(e.content || {}));
    },
    ms,
    `event ${name}`,
  );
}

const eventCount = (page) => page.evaluate(() => window.__events.length);
const callState = (id, state) => (c) => Number(c.callId) === id && c.callState === state;

async function signIn(page) {
  assert.equal(await page.evaluate(() => window.__sp.authorize()), "UserAuthorized");
  await event(page, "multimediacapabilitiesstarted");
  assert.equal((await ask(page, "setProperty", { LoryAddressList: [sip.registrar + ";transport=udp"] })).error, undefined);
  const from = await eventCount(page);
  assert.equal((await ask(page, "startSignIn", {})).error, undefined);
  const prompt = await event(page, "userprofileemailaddressrequired", () => true, from);
  assert.ok(prompt);
  assert.equal((await ask(page, "setUserProfileEmailAddress", { email: `${sip.user}@${sip.domain}` })).error, undefined);
  const credentials = await event(page, "userprofilecredentialsrequired", () => true, from);
  const sent = await ask(page, "setUserProfileCredentials", {
    authenticator: Number(credentials.content.authenticatorId),
    username: sip.user,
    password: sip.password,
  });
  assert.equal(sent.error, undefined);
  await event(page, "loggedin", () => true, from);
}

before(async () => {
  sip = await startSipBed();
  siteA = await serveWeb("127.0.0.1");
  siteB = await serveWeb("127.0.0.2");
  home = hostHome([APPROVED]);
  browser = await launchBrowser(home);
});

after(async () => {
  await browser?.context.close();
  await siteA?.close();
  await siteB?.close();
  await sip?.stop();
  if (home && process.env.PELA_KEEP_HOME !== "1") removeHome(home);
});

describe("pages reach the host through the extension", { timeout: 240000 }, () => {
  let a, b;

  test("an approved site is authorized, another is refused without a desktop, a forged name changes nothing", async () => {
    a = await openPage(siteA);
    b = await openPage(siteB);
    assert.equal(await a.evaluate(() => window.__sp.authorize()), "UserAuthorized");
    assert.equal(await b.evaluate(() => window.__sp.authorize()), "UserDenied");
    assert.equal((await ask(b, "getCalls")).error, "eNotUserAuthorized");

    // The page says it is the approved site; the extension names it by its real URL.
    const forged = await b.evaluate(
      (approved) =>
        new Promise((resolve) => {
          window.addEventListener("message", (e) => {
            if (e.data && e.data.from === "extension" && e.data.id === "forged-1") resolve(e.data);
          });
          window.postMessage(
            { ns: "pela-softphone", from: "page", type: "request", id: "forged-1", name: "getCalls", hostname: approved, client: { id: "x", hostname: approved, url: `http://${approved}/` } },
            window.location.origin,
          );
        }),
      APPROVED,
    );
    assert.equal(forged.error, "eNotUserAuthorized");
    assert.match(hostLog(home), /hostname=\[127\.0\.0\.2\]/);

    // One host serves every page.
    assert.equal(hostPids(home).length, 1);
    // Refusals come back as codes, never as a lost port.
    assert.equal((await ask(a, "noSuchCommand")).error, "eSyntaxError");
    const huge = await a.evaluate(() => window.__sp.request("getVersion", { blob: "x".repeat(65 * 1024 * 1024) }).catch((e) => e.code));
    assert.equal(huge, "RequestTooLarge");
    assert.ok((await ask(a, "getVersion")).content);
    // Content that is not an object reaches the host as it is.
    assert.ok((await ask(a, "getProperty", "connectionStatus")).content.connectionStatus);
  });

  test("sign-in, an answered outgoing call with hold, resume and digits, an incoming call, the far end hangs up", async () => {
    await signIn(a);
    await sip.command("mark");
    let from = await eventCount(a);
    const fromB = await eventCount(b);
    const placed = await ask(a, "originate", { recipient: "bob", videoDirection: "Inactive" });
    assert.equal(placed.error, undefined);
    const id = Number(placed.content.callId);
    assert.match(await sip.command("wait 10000 call \\d+ IncomingReceived"), /^ok/);
    assert.match(await sip.command("peer answer"), /^ok/);
    await event(a, "callstatechange", callState(id, "Connected"), from);

    assert.equal((await ask(a, "hold", { callId: id })).error, undefined);
    await event(a, "callstatechange", callState(id, "Hold"), from);
    assert.match(await sip.command("wait 10000 call \\d+ PausedByRemote"), /^ok/);
    // Counted before the request: the event can reach the page before its reply is read.
    from = await eventCount(a);
    assert.equal((await ask(a, "resume", { callId: id })).error, undefined);
    await event(a, "callstatechange", callState(id, "Connected"), from);

    for (const digit of ["1", "#", "9"]) assert.equal((await ask(a, "sendDTMF", { callId: id, digit })).error, undefined);
    await waitFor(async () => (await sip.command("peer dtmf-received")) === "ok dtmf-received 1#9", 10000, "digits at the phone");

    assert.match(await sip.command("peer hangup"), /^ok/);
    await event(a, "callstatechange", callState(id, "Idle"), from);
    // The denied page of the other site saw none of it.
    assert.equal((await b.evaluate(() => window.__events)).slice(fromB).filter((e) => e.name === "callstatechange").length, 0);

    // Incoming: bob calls alice, the page answers, then ends it.
    from = await eventCount(a);
    assert.match(await sip.command(`peer call sip:${sip.user}@${sip.domain}`), /^ok call/);
    const ringing = await event(a, "callstatechange", (c) => c.callState === "RingIn", from);
    const incoming = Number(ringing.content.callId);
    assert.equal((await ask(a, "answer", { callId: incoming, videoDirection: "Inactive" })).error, undefined);
    await event(a, "callstatechange", callState(incoming, "Connected"), from);
    assert.equal((await ask(a, "endCall", { callId: incoming })).error, undefined);
    await event(a, "callstatechange", callState(incoming, "Idle"), from);
  });

  test("two tabs of the approved site are two clients and both get the events", async () => {
    const second = await openPage(siteA);
    assert.equal(await second.evaluate(() => window.__sp.authorize()), "UserAuthorized");
    const fromA = await eventCount(a);
    const fromSecond = await eventCount(second);
    const placed = await ask(second, "originate", { recipient: "bob", videoDirection: "Inactive" });
    const id = Number(placed.content.callId);
    await event(a, "callstatechange", callState(id, "Dialing"), fromA);
    await event(second, "callstatechange", callState(id, "Dialing"), fromSecond);
    assert.equal((await ask(a, "endCall", { callId: id })).error, undefined);
    await event(second, "callstatechange", callState(id, "Idle"), fromSecond);
    await second.close();
    await waitFor(() => /clientConnected=false/.test(hostLog(home)), 5000, "the closed tab announced to the host");
  });

  test("a stopped worker or a killed host: pages are told, pending requests rejected, the next request reconnects", async () => {
    // A live call first: closing the channel must end it at the far end before the browser kills the host.
    await sip.command("mark");
    const placed = await ask(a, "originate", { recipient: "bob", videoDirection: "Inactive" });
    assert.match(await sip.command("wait 10000 call \\d+ IncomingReceived"), /^ok/);
    assert.match(await sip.command("peer answer"), /^ok/);
    await event(a, "callstatechange", callState(Number(placed.content.callId), "Connected"));
    await sip.command("mark");

    const [host] = hostPids(home);
    process.kill(host, "SIGSTOP"); // so that a request stays pending
    const pending = ask(a, "getCalls", undefined, 20000);
    await new Promise((r) => setTimeout(r, 300));
    const cdp = await browser.context.newCDPSession(a);
    await cdp.send("ServiceWorker.enable");
    await cdp.send("ServiceWorker.stopAllWorkers");
    assert.deepEqual(await pending, { error: "HostUnavailable", cause: "ExtensionRestarted" });
    process.kill(host, "SIGCONT");
    const bye = await sip.command("wait 4000 call \\d+ End");
    assert.match(bye, /^ok/, "the far end got the BYE before the host was killed");
    await event(a, "hostdisconnected", (c) => c.cause === "ExtensionRestarted");
    await waitFor(() => hostPids(home).every((pid) => pid !== host), 5000, "the old host gone");

    // The next request starts the worker and a new host.
    assert.ok((await ask(a, "getVersion")).content);
    const [second] = hostPids(home);
    assert.ok(second && second !== host);

    // The host dies under a pending request.
    process.kill(second, "SIGSTOP");
    const dying = ask(a, "getCalls", undefined, 20000);
    await new Promise((r) => setTimeout(r, 300));
    process.kill(second, "SIGKILL");
    assert.deepEqual(await dying, { error: "HostUnavailable", cause: "HostExited" });
    await event(a, "hostdisconnected", (c) => c.cause === "HostExited");
    assert.ok((await ask(a, "getVersion")).content, "reconnected after the crash");
  });
});

test("a host not installed, then not allowing our extension, then installed: each told, then working", { timeout: 120000 }, async () => {
  const bare = hostHome([APPROVED]);
  const other = await launchBrowser(bare, { registerAs: null });
  try {
    const page = await other.context.newPage();
    await page.goto(siteA.origin + "/");
    const phone = () =>
      page.evaluate(async () => {
        const lib = await import("/lib/softphone.js");
        const sp = window.__sp || (window.__sp = await lib.connect({ timeoutMs: 5000 }));
        return sp.request("getVersion", undefined, { timeoutMs: 15000 }).then(() => "ok", (e) => e.cause || e.code);
      });
    assert.equal(await phone(), "HostNotFound");
    registerHost(bare, "chrome-extension://aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa/");
    assert.equal(await phone(), "HostForbidden");
    registerHost(bare, "chrome-extension://lmnahaiacchplepagfbmjmnhciglnagc/");
    assert.equal(await phone(), "ok");
  } finally {
    await other.context.close();
    removeHome(bare);
  }
});
