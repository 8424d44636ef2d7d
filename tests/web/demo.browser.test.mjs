// The demo softphone page driven through its own controls in Chromium, against
// the built host, Kamailio and a SIP phone. Screenshots of its key states go
// to <build>/artifacts/demo-*.png.

import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import { mkdirSync } from "node:fs";
import { join } from "node:path";

import { BUILD, hostHome, launchBrowser, removeHome, serveWeb, startSipBed } from "./harness.mjs";

const ARTIFACTS = join(BUILD, "artifacts");
let sip, site, home, browser, page;

const shot = (name) => page.screenshot({ path: join(ARTIFACTS, `demo-${name}.png`), fullPage: true });
const row = (state) => page.locator(`#call-list li[data-call-state="${state}"]`);

before(async () => {
  mkdirSync(ARTIFACTS, { recursive: true });
  sip = await startSipBed();
  site = await serveWeb("127.0.0.1");
  home = hostHome(["127.0.0.1"]);
  browser = await launchBrowser(home);
  page = await browser.context.newPage();
  await page.setViewportSize({ width: 900, height: 900 });
});

after(async () => {
  await browser?.context.close();
  await site?.close();
  await sip?.stop();
  if (home) removeHome(home);
});

test("the demo page signs in, calls, holds, sends digits, takes a call and shows the far end hanging up", { timeout: 180000 }, async () => {
  const opened = Date.now();
  await page.goto(site.origin + "/demo/index.html");
  await page.getByTestId("auth-state").filter({ hasText: "may use the softphone" }).waitFor({ timeout: 20000 });
  console.log(`# demo page opened to authorized: ${Date.now() - opened} ms`);

  await page.getByTestId("signin-registrars").fill(`${sip.registrar};transport=udp`);
  await page.getByTestId("signin-email").fill(`${sip.user}@${sip.domain}`);
  await page.getByTestId("signin-password").fill(sip.password);
  await page.getByTestId("signin-button").click();
  await page.getByTestId("signin-state").filter({ hasText: /^Signed in$/ }).waitFor({ timeout: 20000 });
  assert.equal(await page.getByTestId("signin-password").inputValue(), "", "the password does not stay in the form");
  await shot("signed-in");

  // An outgoing call, answered by the phone.
  await sip.command("mark");
  // By keyboard: type the number, Enter calls.
  await page.getByTestId("number-field").focus();
  await page.keyboard.type("bob");
  await page.keyboard.press("Enter");
  assert.match(await sip.command("wait 10000 call \\d+ IncomingReceived"), /^ok/);
  assert.match(await sip.command("peer answer"), /^ok/);
  await row("Connected").waitFor({ timeout: 15000 });
  // Only what the call's capabilities offer: no answer button on a connected call.
  assert.equal(await row("Connected").locator('[data-action="answer"]').count(), 0);
  await row("Connected").locator('[data-action="hold"]').click();
  await row("Hold").waitFor({ timeout: 15000 });
  await shot("call-held");
  await row("Hold").locator('[data-action="resume"]').click();
  await row("Connected").waitFor({ timeout: 15000 });

  // Digits typed on the keyboard and pressed on the dial pad reach the phone in order.
  await row("Connected").focus();
  await page.keyboard.type("42");
  await page.getByTestId("dialpad-hash").click();
  let heard = "";
  for (let i = 0; i < 100 && heard !== "ok dtmf-received 42#"; i++) {
    heard = await sip.command("peer dtmf-received");
    await new Promise((r) => setTimeout(r, 100));
  }
  assert.equal(heard, "ok dtmf-received 42#");
  await shot("call-connected");

  // The far end hangs up: the row goes.
  assert.match(await sip.command("peer hangup"), /^ok/);
  await page.locator("#call-list li[data-call-id]").first().waitFor({ state: "detached", timeout: 15000 });

  // An incoming call, answered from the page, then ended.
  assert.match(await sip.command(`peer call sip:${sip.user}@${sip.domain}`), /^ok call/);
  await page.getByTestId("incoming-notice").filter({ hasText: /\S/ }).waitFor({ timeout: 15000 });
  await row("RingIn").waitFor({ timeout: 15000 });
  await shot("incoming");
  await row("RingIn").locator('[data-action="answer"]').click();
  await row("Connected").waitFor({ timeout: 15000 });
  await row("Connected").locator('[data-action="end"]').click();
  await page.locator("#call-list li[data-call-id]").first().waitFor({ state: "detached", timeout: 15000 });
});
