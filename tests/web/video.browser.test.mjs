// The demo page's video window in Chromium on a desktop of its own (Xvfb with
// openbox), against the built host, Kamailio and a SIP phone sending the
// engine's moving test pattern. The host's window is found and measured on
// the X server, and what the screen shows is read from Xvfb's framebuffer.
// Where the page is on the screen is measured with the pointer: moved by the
// X server to a screen point, it lands on a page point the page reports.
// A screenshot of the page goes to <build>/artifacts/demo-video.png.

import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import { mkdirSync, readFileSync } from "node:fs";
import { join } from "node:path";

import { BUILD, hostHome, hostPids, launchBrowser, removeHome, serveWeb, startDesktop, startSipBed, waitFor, writeEngineConfig } from "./harness.mjs";

const MIRE = "Mire: Mire (synthetic moving picture)";
const BOX_COLOUR = [0x20, 0x24, 0x2c]; // the dock target's background in style.css
let desktop, sip, site, home, browser, page, hostPid, browserPid, viewport;

const row = (state) => page.locator(`#call-list li[data-call-state="${state}"]`);
const x = (...args) => desktop.run(...args);
const pause = (ms) => new Promise((r) => setTimeout(r, ms));

// A window's place on the screen (inside any frame) and whether it is shown.
async function geometry(id) {
  const info = await x("xwininfo", "-id", id);
  const number = (label) => Number(new RegExp(`${label}:\\s+(-?\\d+)`).exec(info)?.[1]);
  return { x: number("Absolute upper-left X"), y: number("Absolute upper-left Y"), width: number("Width"), height: number("Height"), viewable: info.includes("IsViewable") };
}

// The one shown top-level window of a process, by its _NET_WM_PID; null if none.
async function shownWindow(pid) {
  const ids = (await x("xdotool", "search", "--onlyvisible", "--pid", String(pid))).split("\n").filter(Boolean);
  return ids.length === 1 ? ids[0] : null;
}
const hostWindow = () => shownWindow(hostPid);

// Where the viewport's top left corner is on the screen, found by pointing
// at the screen point (screenX, screenY), which must be in the viewport.
async function viewportOrigin(screenX, screenY) {
  await page.evaluate(() => {
    window.__pointer = [];
    addEventListener("mousemove", (e) => window.__pointer.push([e.screenX, e.screenY, e.clientX, e.clientY]));
  });
  // From elsewhere, so that the last move is one the page sees.
  await x("xdotool", "mousemove", String(screenX + 7), String(screenY + 7));
  await x("xdotool", "mousemove", String(screenX), String(screenY));
  const [, , clientX, clientY] = await waitFor(
    () => page.evaluate(([sx, sy]) => window.__pointer.find(([px, py]) => px === sx && py === sy), [screenX, screenY]),
    5000, "the page to see the pointer");
  return { x: screenX - clientX, y: screenY - clientY };
}

// The part of the dock target inside the viewport (scroll bars left out), on the screen.
async function targetOnScreen() {
  const seen = await page.getByTestId("dock-target").evaluate((box) => {
    const r = box.getBoundingClientRect();
    const root = document.documentElement;
    const left = Math.max(0, Math.round(r.left));
    const top = Math.max(0, Math.round(r.top));
    return { left, top, width: Math.min(root.clientWidth, Math.round(r.right)) - left, height: Math.min(root.clientHeight, Math.round(r.bottom)) - top };
  });
  return { x: viewport.x + seen.left, y: viewport.y + seen.top, width: seen.width, height: seen.height };
}

const scrollTargetTo = (top) =>
  page.getByTestId("dock-target").evaluate((box, want) => scrollBy(0, box.getBoundingClientRect().top - want), top);

// Waits until the host's window covers `want` within 2 pixels.
async function windowAt(want, what, ms = 5000) {
  let got = null;
  await waitFor(async () => {
    got = await geometry(await hostWindow());
    return ["x", "y", "width", "height"].every((k) => Math.abs(got[k] - want[k]) <= 2);
  }, ms, what).catch(() => assert.fail(`${what}: the window is at ${JSON.stringify(got)}, the page's box at ${JSON.stringify(want)}`));
}

// The share of the middle third of a screen rectangle that shows a picture:
// neither black nor the colour of the page's empty box.
function pictureShare(rect) {
  const screen = desktop.screen();
  let lit = 0;
  let all = 0;
  for (let y = rect.y + 4; y < rect.y + rect.height - 4; y += 4) {
    for (let px = rect.x + Math.floor(rect.width / 3); px < rect.x + Math.floor((2 * rect.width) / 3); px += 4) {
      const [r, g, b] = screen.pixel(px, y);
      const box = [r, g, b].every((v, i) => Math.abs(v - BOX_COLOUR[i]) <= 3);
      if (r + g + b > 24 && !box) lit++;
      all++;
    }
  }
  return all ? lit / all : 0;
}

// The window's state as the host tells it, through a connection of our own.
function hostWindowState() {
  return page.evaluate(async () => {
    const sp = window.__sp || (window.__sp = await (await import("/lib/softphone.js")).connect({ timeoutMs: 5000 }));
    return new Promise((resolve, reject) => {
      const timer = setTimeout(() => reject(new Error("no externalwindowevent")), 5000);
      const listener = (state) => {
        clearTimeout(timer);
        sp.off("externalwindowevent", listener);
        resolve(state);
      };
      sp.on("externalwindowevent", listener);
      sp.getExternalWindowState().catch(reject);
    });
  });
}

before(async () => {
  mkdirSync(join(BUILD, "artifacts"), { recursive: true });
  desktop = await startDesktop();
  sip = await startSipBed({ autoAnswer: true, video: true });
  site = await serveWeb("127.0.0.1");
  home = hostHome(["127.0.0.1"]);
  writeEngineConfig(home, "[video]\nsize=qvga\n");
  browser = await launchBrowser(home, {
    headless: false,
    viewport: null, // the page is the window's, as a user has it
    extraEnv: { DISPLAY: desktop.display, GDK_BACKEND: "x11", WAYLAND_DISPLAY: "" },
    extraArgs: ["--ozone-platform=x11", "--start-maximized"],
  });
  page = browser.context.pages()[0] || (await browser.context.newPage());
  await page.goto(site.origin + "/demo/index.html");
  await page.getByTestId("auth-state").filter({ hasText: "may use the softphone" }).waitFor({ timeout: 20000 });
});

after(async () => {
  if (browser) await Promise.race([browser.context.close(), pause(15000)]);
  // The host leaves when the browser closes its pipe; it must not outlive the test.
  if (home) {
    await waitFor(() => hostPids(home).length === 0, 5000, "the host to exit").catch(() => {
      for (const pid of hostPids(home)) process.kill(pid, "SIGKILL");
    });
  }
  await site?.close();
  await sip?.stop();
  await desktop?.stop();
  if (home) removeHome(home);
});

test("a call with video both ways shows in the host's window, with self view and kept on top", { timeout: 60000 }, async () => {
  [hostPid] = await waitFor(() => hostPids(home), 10000, "the host");
  browserPid = readFileSync(`/proc/${hostPid}/stat`, "utf8").split(") ")[1].split(" ")[1];
  // Maximized, the page is the bottom of the browser's window, full width.
  viewport = await viewportOrigin(40, 400);
  const chromium = await geometry(await waitFor(() => shownWindow(browserPid), 5000, "Chromium's window"));
  const inner = await page.evaluate(() => [innerWidth, innerHeight]);
  assert.deepEqual([viewport.x, viewport.y, inner[0]], [chromium.x, chromium.y + chromium.height - inner[1], chromium.width]);

  // Offered by the host: video, and docking on this X desktop.
  await page.getByTestId("dock-button").waitFor({ timeout: 10000 });
  const camera = page.getByTestId("device-camera");
  await camera.locator(`option[value="${MIRE}"]`).waitFor({ state: "attached", timeout: 15000 });
  await camera.selectOption(MIRE);
  await page.getByTestId("status-message").filter({ hasText: "is used as the camera" }).waitFor({ timeout: 10000 });

  await page.getByTestId("signin-registrars").fill(`${sip.registrar};transport=udp`);
  await page.getByTestId("signin-email").fill(`${sip.user}@${sip.domain}`);
  await page.getByTestId("signin-password").fill(sip.password);
  await page.getByTestId("signin-button").click();
  await page.getByTestId("signin-state").filter({ hasText: /^Signed in$/ }).waitFor({ timeout: 20000 });

  await page.getByTestId("video-direction").selectOption("SendRecv");
  await page.getByTestId("number-field").fill("bob");
  await page.getByTestId("call-button").click();
  const call = row("Connected");
  await call.locator('[data-field="flags"]', { hasText: "video both ways" }).waitFor({ timeout: 15000 });
  const callId = await call.getAttribute("data-call-id");
  // The far end receives our camera: the test pattern, at the size configured.
  let received = "";
  await waitFor(async () => /^ok video 320x240 \d+ SendRecv/i.test((received = await sip.command("peer video"))), 10000,
    "the far end to receive video").catch(() => assert.fail(`the far end says: ${received}`));

  await call.locator('[data-action="show-video"]').click();
  await page.getByTestId("video-state").filter({ hasText: `shows call ${callId} with bob.` }).waitFor({ timeout: 10000 });
  await call.locator('[data-action="hide-video"]').waitFor({ timeout: 5000 });
  const id = await waitFor(hostWindow, 10000, "the host's window on the screen");
  assert.match(await x("xprop", "-id", id, "WM_NAME"), new RegExp(`"Call ${callId} with bob"`));
  assert.doesNotMatch(await x("xprop", "-id", id, "_NET_FRAME_EXTENTS"), /= 0, 0, 0, 0/, "openbox frames the window");

  await page.getByTestId("video-selfview").check();
  await waitFor(async () => (await hostWindowState()).selfViewPip === true, 5000, "the host to show the self view");
  await page.getByTestId("video-ontop").check();
  await waitFor(async () => (await x("xprop", "-id", id, "_NET_WM_STATE")).includes("_NET_WM_STATE_ABOVE"), 5000,
    "the window manager to keep the window on top");
  assert.equal(await page.getByTestId("video-selfview").isChecked(), true);
});

test("docked, the window covers the page's box, shows the far end and follows the page as it scrolls", { timeout: 30000 }, async () => {
  // A page longer than the window, so that the box can leave it at the top too.
  await page.addStyleTag({ content: "body { padding-bottom: 150vh; }" });
  await scrollTargetTo(300);
  await page.getByTestId("dock-button").click();
  await page.getByTestId("dock-button").filter({ hasText: "Undock" }).waitFor({ timeout: 5000 });
  await page.getByTestId("video-state").filter({ hasText: "docked in this page" }).waitFor({ timeout: 5000 });
  const want = await targetOnScreen();
  assert.deepEqual([want.width, want.height], [512, 288], "the box is whole on the page");
  await windowAt(want, "docked");
  const id = await hostWindow();
  // Without a frame, over Chromium's window and moving with it.
  assert.match(await x("xprop", "-id", id, "_NET_FRAME_EXTENTS"), /= 0, 0, 0, 0/);
  const browserWindow = Number(await shownWindow(browserPid));
  assert.match(await x("xprop", "-id", id, "WM_TRANSIENT_FOR"), new RegExp(`window id # 0x${browserWindow.toString(16)}\\b`));
  let share = 0;
  await waitFor(() => (share = pictureShare(want)) > 0.9, 5000, "the far end's picture")
    .catch(() => assert.fail(`${Math.round(share * 100)}% of the box's middle shows a picture`));
  await page.screenshot({ path: join(BUILD, "artifacts", "demo-video.png") });

  // Whole, cut at the top, cut at the bottom, whole again.
  for (const top of [500, -100, 700, 200]) {
    await scrollTargetTo(top);
    await windowAt(await targetOnScreen(), `the box's top at ${top}`);
  }
});

test("with a sliver of the box on the page, the window covers only that sliver", {
  timeout: 20000,
}, async () => {
  await scrollTargetTo(-250);
  await windowAt(await targetOnScreen(), "38 px at the top", 3000);
  await scrollTargetTo(await page.evaluate(() => document.documentElement.clientHeight - 40));
  await windowAt(await targetOnScreen(), "40 px at the bottom", 3000);
});

test("with none of the box on the page, the window covers nothing", {
  timeout: 20000,
}, async () => {
  const screenHeight = desktop.screen().height;
  for (const top of [-1000, 2000]) {
    await scrollTargetTo(top);
    let got = null;
    await waitFor(async () => {
      const id = await hostWindow();
      got = id && (await geometry(id));
      return !got || got.y + got.height <= 0 || got.y >= screenHeight;
    }, 3000, "the window to go").catch(() => assert.fail(`the box's top at ${top}: the window is at ${JSON.stringify(got)}`));
  }
});

test("in a Chromium window that is not maximized, the window still covers the box", {
  timeout: 20000,
}, async () => {
  await scrollTargetTo(300);
  const cdp = await browser.context.newCDPSession(page);
  const { windowId } = await cdp.send("Browser.getWindowForTarget");
  await cdp.send("Browser.setWindowBounds", { windowId, bounds: { windowState: "normal" } });
  await cdp.send("Browser.setWindowBounds", { windowId, bounds: { left: 100, top: 50, width: 1000, height: 900 } });
  const { bounds } = await cdp.send("Browser.getWindowBounds", { windowId });
  await cdp.detach();
  // Left of the box, where the host's window is not.
  viewport = await viewportOrigin(bounds.left + 20, bounds.top + 300);
  await windowAt(await targetOnScreen(), "not maximized", 3000);
});

test("undocked, the window has its frame again and stands on its own", { timeout: 20000 }, async () => {
  await page.getByTestId("dock-button").click();
  await page.getByTestId("dock-button").filter({ hasText: "Dock here" }).waitFor({ timeout: 5000 });
  await page.getByTestId("video-state").filter({ hasText: /shows call \d+ with bob\.$/ }).waitFor({ timeout: 5000 });
  const id = await hostWindow();
  await waitFor(async () => !/= 0, 0, 0, 0/.test(await x("xprop", "-id", id, "_NET_FRAME_EXTENTS")), 5000, "openbox to frame the window");
  const box = await targetOnScreen();
  await waitFor(async () => {
    const got = await geometry(id);
    return got.width !== box.width || got.height !== box.height;
  }, 5000, "the window to leave the box's size");
});

test("undocked, the window is no longer transient for the browser's", {
  timeout: 10000,
}, async () => {
  const id = await hostWindow();
  await waitFor(async () => (await x("xprop", "-id", id, "WM_TRANSIENT_FOR")).includes("not found"), 3000, "WM_TRANSIENT_FOR to go");
});

test("hidden from the page, then the call ends", { timeout: 20000 }, async () => {
  await page.getByTestId("video-hide").click();
  await page.getByTestId("video-state").filter({ hasText: "The video window is hidden." }).waitFor({ timeout: 5000 });
  await waitFor(async () => (await hostWindow()) === null, 5000, "the host's window to go");
  const call = row("Connected");
  await call.locator('[data-action="show-video"]').waitFor({ timeout: 5000 });
  await call.locator('[data-action="end"]').click();
  await page.locator("#call-list li[data-call-id]").first().waitFor({ state: "detached", timeout: 15000 });
});
