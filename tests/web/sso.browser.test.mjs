// Sign-in through an OpenID provider from the demo page, in Chromium, end to
// end: the page's popup shows the provider's own pages (tests/sso/idp.mjs,
// npm oidc-provider, over HTTPS with its own CA), the host exchanges the code,
// gets short-lived SIP credentials from the provisioning service and
// registers them with Kamailio. Screenshots go to <build>/artifacts/sso-*.png.

import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import { mkdirSync } from "node:fs";
import { join } from "node:path";

import { BUILD, hostHome, hostLog, launchBrowser, removeHome, serveWeb, startIdp, startSipBed } from "./harness.mjs";

const ARTIFACTS = join(BUILD, "artifacts");
const SECRET = "sso-bed-secret";
let sip, site, idp, home, browser, page;
const redirected = []; // the addresses the provider sent the popup back to

before(async () => {
  mkdirSync(ARTIFACTS, { recursive: true });
  sip = await startSipBed({ ephemeral: SECRET });
  site = await serveWeb("127.0.0.1");
  idp = await startIdp({
    domain: sip.domain,
    registrar: `${sip.registrar};transport=udp`,
    secret: SECRET,
    // The page's own landing page: the popup comes back to the page's origin.
    redirects: [`${site.origin}/lib/sso-done.html`],
  });
  home = hostHome(["127.0.0.1"]);
  // Chromium trusts the provider's certificate by its key; the host, which
  // Chromium starts, trusts the provider's CA through its environment.
  browser = await launchBrowser(home, {
    extraEnv: { SSL_CERT_FILE: idp.ca },
    extraArgs: [`--ignore-certificate-errors-spki-list=${idp.spki}`],
  });
  browser.context.on("request", (request) => {
    if (request.url().startsWith(`${site.origin}/lib/sso-done.html`)) redirected.push(request.url());
  });
  page = await browser.context.newPage();
  await page.setViewportSize({ width: 900, height: 1000 });
  await page.goto(site.origin + "/demo/index.html");
  await page.getByTestId("auth-state").filter({ hasText: "may use the softphone" }).waitFor({ timeout: 20000 });
});

after(async () => {
  await browser?.context.close();
  await idp?.stop();
  await site?.close();
  await sip?.stop();
  if (home) removeHome(home);
});

const signInState = () => page.getByTestId("signin-state");

// Waits for the sign-in line to read `words`; on failure says what the page shows.
async function signInReads(words, timeout) {
  try {
    await signInState().filter({ hasText: words }).waitFor({ timeout });
  } catch (error) {
    const facts = await page.evaluate(() =>
      ["signin-state", "connection-status", "connection-failure", "status-message", "error-message", "sso-state", "signin-prompt"]
        .map((id) => `${id}: ${document.getElementById(id).textContent}`).join("; "));
    throw new Error(`${error.message}\nthe page shows: ${facts}`);
  }
}
const ssoStateEmpty = () => page.waitForFunction(() => document.getElementById("sso-state").textContent === "", null, { timeout: 10000 });

// Starts a sign-in from the page and resolves with the provider's popup: the
// one the page opened at once, or the one "Continue with your provider"
// opens when the browser blocked it.
async function signInToPopup() {
  await page.getByTestId("signin-provisioning").fill(idp.provisioning);
  await page.getByTestId("signin-email").fill(`alice@${sip.domain}`);
  const popup = browser.context.waitForEvent("page", { timeout: 30000 });
  await page.getByTestId("signin-button").click();
  const first = await Promise.race([
    popup,
    page.getByTestId("sso-continue").waitFor({ state: "visible", timeout: 30000 }).then(() => null),
  ]);
  if (first) return first;
  console.log("# the browser blocked the popup; continuing from the page's button");
  await page.getByTestId("sso-continue").click();
  return popup;
}

test("the demo signs in through the provider's pages in a popup and registers", { timeout: 180000 }, async () => {
  const started = Date.now();
  const popup = await signInToPopup();
  await popup.waitForLoadState("domcontentloaded");
  assert.ok(popup.url().startsWith(`${idp.provisioning}/interaction/`), popup.url());
  await page.getByTestId("sso-state").filter({ hasText: "provider's window" }).waitFor({ timeout: 10000 });

  // A wrong password shows the form again with the provider's error.
  await popup.getByLabel("User name").fill("alice");
  await popup.getByLabel("Password").fill("wrong");
  await popup.getByRole("button", { name: "Sign in" }).click();
  await popup.getByRole("alert").filter({ hasText: "Wrong user name or password" }).waitFor({ timeout: 10000 });
  await popup.getByLabel("Password").fill("alice-pw");
  await popup.getByRole("button", { name: "Sign in" }).click();
  await popup.getByRole("button", { name: "Allow" }).waitFor({ timeout: 10000 });
  await popup.screenshot({ path: join(ARTIFACTS, "sso-consent.png") });
  const closed = popup.waitForEvent("close", { timeout: 20000 });
  await popup.getByRole("button", { name: "Allow" }).click();
  await closed; // the page closes it once it is back

  await signInReads(/^Signed in$/, 30000);
  await page.getByTestId("connection-status").filter({ hasText: /^Registered$/ }).waitFor({ timeout: 30000 });
  console.log(`# sign-in through the provider: ${Date.now() - started} ms`);
  await page.screenshot({ path: join(ARTIFACTS, "sso-signed-in.png"), fullPage: true });
  await ssoStateEmpty();

  // The host used the code and the provisioning service's credentials.
  const stats = await fetchStats();
  assert.ok(stats.tokenRequests >= 1 && stats.credentialsIssued >= 1, JSON.stringify(stats));
  assert.equal(redirected.length, 1);
  const code = new URL(redirected[0]).searchParams.get("code");
  assert.ok(code, redirected[0]);
  const log = hostLog(home);
  for (const secret of [code, "alice-pw", SECRET]) assert.ok(!log.includes(secret), "a secret in the host's log");

  // The phone is reachable as alice: bob calls her.
  assert.match(await sip.command(`peer call sip:alice@${sip.domain}`), /^ok call/);
  await page.locator('#call-list li[data-call-state="RingIn"]').waitFor({ timeout: 15000 });
  await page.locator('#call-list li[data-call-state="RingIn"] [data-action="end"]').click();
  await page.locator("#call-list li[data-call-id]").first().waitFor({ state: "detached", timeout: 15000 });

  await page.getByTestId("logout-button").click();
  await signInReads(/^Signed out$/, 20000);
});

test("closing the provider's window cancels the sign-in: the page is signed out, nothing hangs", { timeout: 120000 }, async () => {
  const popup = await signInToPopup();
  await popup.waitForLoadState("domcontentloaded");
  await toConsent(popup);
  const before = await fetchStats();
  await popup.close();

  await signInReads(/^(Signed out|Not signed in)$/, 20000);
  await ssoStateEmpty();
  assert.equal(await page.getByTestId("sso-continue").isHidden(), true);
  assert.equal(await page.getByTestId("signin-button").isEnabled(), true, "the user can sign in again");
  assert.deepEqual(await fetchStats(), before, "no code was exchanged");
  await page.screenshot({ path: join(ARTIFACTS, "sso-cancelled.png"), fullPage: true });

  // And the page still works: a second attempt reaches the provider again.
  const again = await signInToPopup();
  await toConsent(again);
  const closed = again.waitForEvent("close", { timeout: 20000 });
  await again.getByRole("button", { name: "Allow" }).click();
  await closed;
  await signInReads(/^Signed in$/, 30000);
});

// Brings the popup to the provider's consent page: it asks for the password
// only when it has no session for alice (the first test left one).
async function toConsent(popup) {
  const allow = popup.getByRole("button", { name: "Allow" });
  const login = popup.getByLabel("User name");
  await Promise.race([allow.waitFor({ timeout: 15000 }), login.waitFor({ timeout: 15000 })]);
  if (await login.isVisible()) {
    await login.fill("alice");
    await popup.getByLabel("Password").fill("alice-pw");
    await popup.getByRole("button", { name: "Sign in" }).click();
  }
  await allow.waitFor({ timeout: 10000 });
}

async function fetchStats() {
  // From the test's side: Node trusts the fixture's CA for this one request.
  const { request } = await import("node:https");
  const { readFileSync } = await import("node:fs");
  return new Promise((resolveStats, reject) => {
    const req = request(`${idp.provisioning}/test/stats`, { ca: readFileSync(idp.ca), timeout: 5000 }, (res) => {
      let text = "";
      res.on("data", (c) => (text += c));
      res.on("end", () => resolveStats(JSON.parse(text)));
    });
    req.on("timeout", () => req.destroy(new Error("no stats in time")));
    req.on("error", reject);
    req.end();
  });
}
