// The product as a user meets it: Chromium with the extension opens the demo
// softphone page, served from this machine, with a local SIP registrar and an
// answering SIP phone ("bob") to call. With a display the browser stays open
// until you close it; without one, the page is driven through its own
// buttons, every step is printed and screenshots are saved.
// Run through scripts/demo, which builds first.

import { mkdirSync } from "node:fs";
import { join } from "node:path";

import { BUILD, hostHome, hostLog, launchBrowser, removeHome, serveWeb, startSipBed } from "../tests/web/harness.mjs";

const headless = !process.env.DISPLAY && !process.env.WAYLAND_DISPLAY;
const screens = join(BUILD, "demo-screens");
const say = (text) => console.log(`demo: ${text}`);

const sip = await startSipBed({ autoAnswer: true });
const site = await serveWeb("127.0.0.1");
// A private home for the host: its log, engine files and the site approval.
const home = hostHome(["127.0.0.1"]);
let browser;
try {
  say(`SIP registrar on ${sip.registrar} (domain ${sip.domain}); "bob" answers every call`);
  browser = await launchBrowser(home, { headless });
  const page = await browser.context.newPage();
  const url = `${site.origin}/demo/index.html`;
  const opened = Date.now();
  await page.goto(url);
  await page.getByTestId("auth-state").filter({ hasText: "may use the softphone" }).waitFor({ timeout: 20000 });
  say(`${url} is connected and authorized after ${Date.now() - opened} ms`);
  await page.getByTestId("signin-registrars").fill(`${sip.registrar};transport=udp`);
  await page.getByTestId("signin-email").fill(`${sip.user}@${sip.domain}`);

  if (!headless) {
    say(`sign in with the password "${sip.password}" (filled in), then call "bob"; close the browser to end`);
    await page.getByTestId("signin-password").fill(sip.password);
    await new Promise((resolve) => browser.context.on("close", resolve));
  } else {
    mkdirSync(screens, { recursive: true });
    const shot = async (name) => {
      await page.screenshot({ path: join(screens, `${name}.png`), fullPage: true });
      say(`  screenshot ${join(screens, name + ".png")}`);
    };
    const text = (id) => page.getByTestId(id).textContent();
    const step = async (what, act, done) => {
      await act();
      await done();
      say(what);
    };
    const row = (state) => page.locator(`#call-list li[data-call-state="${state}"]`);
    await page.getByTestId("signin-password").fill(sip.password);
    await step("signed in as alice", () => page.getByTestId("signin-button").click(), () =>
      page.getByTestId("signin-state").filter({ hasText: /^Signed in$/ }).waitFor({ timeout: 20000 }));
    say(`  registration: ${await text("connection-status")}; line: ${await text("signin-line")}`);
    await shot("1-signed-in");
    await page.getByTestId("number-field").fill("bob");
    await step("called bob, who answered", () => page.getByTestId("call-button").click(), () => row("Connected").waitFor({ timeout: 20000 }));
    await shot("2-connected");
    await step("held the call", () => row("Connected").locator('[data-action="hold"]').click(), () => row("Hold").waitFor({ timeout: 15000 }));
    await shot("3-held");
    await step("resumed it", () => row("Hold").locator('[data-action="resume"]').click(), () => row("Connected").waitFor({ timeout: 15000 }));
    for (const key of ["1", "2", "3"]) await page.getByTestId(`dialpad-${key}`).click();
    await new Promise((r) => setTimeout(r, 1200));
    say(`sent the digits 123; bob heard: ${(await sip.command("peer dtmf-received")).replace("ok dtmf-received ", "")}`);
    await step("hung up", () => row("Connected").locator('[data-action="end"]').click(), () =>
      page.locator("#call-list li[data-call-id]").first().waitFor({ state: "detached", timeout: 15000 }));
    await shot("4-ended");
  }
} catch (e) {
  console.error(`demo: failed: ${e.message}`);
  console.error(hostLog(home).split("\n").slice(-15).join("\n"));
  process.exitCode = 1;
} finally {
  await browser?.context.close().catch(() => {});
  await site.close();
  await sip.stop();
  removeHome(home);
}
