// The demo page's devices panel in Chromium, against the built host on a
// private PulseAudio server (speakers "Speakers" and "Headset", microphone
// "Microphone"), Kamailio and an answering SIP phone. What the panel shows is
// checked against the host's own replies and against the sound server.
// A screenshot goes to <build>/artifacts/demo-devices.png.

import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import { mkdirSync, readFileSync } from "node:fs";
import { join } from "node:path";

import { BUILD, hostHome, hostPids, launchBrowser, removeHome, serveWeb, startPulse, startSipBed, waitFor } from "./harness.mjs";

const HEADSET = "PulseAudio Unknown: Headset";
let sip, pulse, site, home, browser, page;

// The page's own connection, beside the demo's: what the host says, and the
// events it sends.
async function library() {
  await page.evaluate(async () => {
    const lib = await import("/lib/softphone.js");
    window.__events = [];
    window.__sp = await lib.connect({ timeoutMs: 5000 });
    window.__sp.on("multimediadevicechange", () => window.__events.push("multimediadevicechange"));
  });
}
const hostSays = (method, ...args) => page.evaluate(([method, args]) => window.__sp[method](...args), [method, args]);
const selectedSpeaker = async () => (await hostSays("devices")).speakers.filter((d) => d.selected).map((d) => d.name);
const optionLabels = (testid) => page.getByTestId(testid).locator("option").allTextContents();
const row = (state) => page.locator(`#call-list li[data-call-state="${state}"]`);

// The sink index and volume line of each of the host's streams at the sound server.
async function hostStreams() {
  const blocks = (await pulse.pactl("list", "sink-inputs")).split(/^Sink Input #/m).slice(1);
  return blocks
    .filter((block) => block.includes('application.name = "pelahost"'))
    .map((block) => ({ sink: /^\s*Sink: (\d+)/m.exec(block)?.[1], volume: /^\s*Volume: (.*)$/m.exec(block)?.[1] }));
}

before(async () => {
  mkdirSync(join(BUILD, "artifacts"), { recursive: true });
  pulse = await startPulse();
  sip = await startSipBed({ autoAnswer: true });
  site = await serveWeb("127.0.0.1");
  home = hostHome(["127.0.0.1"]);
  browser = await launchBrowser(home, { extraEnv: { PULSE_SERVER: pulse.server } });
  page = await browser.context.newPage();
  await page.setViewportSize({ width: 900, height: 1100 });
  await page.goto(site.origin + "/demo/index.html");
  await page.getByTestId("auth-state").filter({ hasText: "may use the softphone" }).waitFor({ timeout: 20000 });
  await library();
});

after(async () => {
  await browser?.context.close();
  await site?.close();
  await sip?.stop();
  await pulse?.stop();
  if (home) removeHome(home);
});

test("the panel lists the desktop's devices; a chosen headset and set volumes are what the host and the call use", { timeout: 90000 }, async () => {
  // The browser handed the private sound server to the host it started.
  const [pid] = await waitFor(() => hostPids(home), 10000, "the host");
  assert.ok(readFileSync(`/proc/${pid}/environ`, "utf8").split("\0").includes("PULSE_SERVER=" + pulse.server));

  const speaker = page.getByTestId("device-speaker");
  await speaker.locator("option", { hasText: "Headset" }).waitFor({ state: "attached", timeout: 15000 });
  assert.equal(await page.getByTestId("devices-state").textContent(), "");
  const speakers = await optionLabels("device-speaker");
  assert.equal(speakers[0], "System default");
  assert.ok(speakers.includes("Speakers") && speakers.includes("Headset"), speakers.join());
  assert.ok(!speakers.includes("Microphone"), "a microphone cannot play");
  assert.ok((await optionLabels("device-microphone")).includes("Microphone"));
  // The desktop's defaults are the ones shown chosen.
  const chosen = (testid) => page.getByTestId(testid).evaluate((select) => select.selectedOptions[0]?.textContent);
  assert.deepEqual([await chosen("device-speaker"), await chosen("device-ringer"), await chosen("device-microphone")],
    ["Speakers", "Speakers", "Microphone"]);
  assert.notEqual(await page.getByTestId("device-camera").inputValue(), "", "the host's camera is shown chosen");
  assert.equal(await page.getByTestId("volume-speaker-value").textContent(), "100%");

  // The headset for the speaker: the host lists it chosen, the ringer stays.
  await speaker.selectOption({ label: "Headset" });
  await page.getByTestId("status-message").filter({ hasText: '"Headset" is used as the speaker' }).waitFor({ timeout: 10000 });
  assert.deepEqual(await selectedSpeaker(), ["Headset"]);
  assert.equal(await speaker.inputValue(), HEADSET);
  assert.equal(await chosen("device-ringer"), "Speakers");

  // Each slider sets its own volume at the host.
  await page.getByTestId("volume-microphone").fill("30");
  await page.getByTestId("volume-ringer").fill("20");
  await waitFor(async () => (await hostSays("volume", "microphone")) === 30 && (await hostSays("volume", "ringer")) === 20,
    5000, "the microphone and ringer volumes");
  assert.equal(await hostSays("volume", "speaker"), 100);
  assert.equal(await page.getByTestId("volume-ringer-value").textContent(), "20%");

  // A call plays on the headset.
  await page.getByTestId("signin-registrars").fill(`${sip.registrar};transport=udp`);
  await page.getByTestId("signin-email").fill(`${sip.user}@${sip.domain}`);
  await page.getByTestId("signin-password").fill(sip.password);
  await page.getByTestId("signin-button").click();
  await page.getByTestId("signin-state").filter({ hasText: /^Signed in$/ }).waitFor({ timeout: 20000 });
  await page.getByTestId("number-field").fill("bob");
  await page.getByTestId("call-button").click();
  await row("Connected").waitFor({ timeout: 15000 });
  const headsetSink = /^(\d+)\s+headset\s/m.exec(await pulse.pactl("list", "short", "sinks"))[1];
  const [stream] = await waitFor(async () => {
    const streams = await hostStreams();
    return streams.length ? streams : null;
  }, 10000, "the call's stream at the sound server");
  assert.equal(stream.sink, headsetSink, "the call plays on the headset");

  // The speaker slider turns the call's stream down.
  await page.getByTestId("volume-speaker").fill("40");
  await waitFor(async () => (await hostSays("volume", "speaker")) === 40, 5000, "the speaker volume at the host");
  const turned = await waitFor(async () => {
    const [now] = await hostStreams();
    return now && now.volume !== stream.volume ? now : null;
  }, 5000, "the stream's volume to change");
  assert.doesNotMatch(turned.volume, /\b100%/);
  await page.screenshot({ path: join(BUILD, "artifacts", "demo-devices.png"), fullPage: true });

  // Another page's change is followed by the speaker slider.
  await hostSays("setVolume", "speaker", 65);
  await page.getByTestId("volume-speaker-value").filter({ hasText: /^65%$/ }).waitFor({ timeout: 5000 });
  assert.equal(await page.getByTestId("volume-speaker").inputValue(), "65");

  await row("Connected").locator('[data-action="end"]').click();
  await page.locator("#call-list li[data-call-id]").first().waitFor({ state: "detached", timeout: 15000 });
});

test("a device gone since the list was read is refused in words, and the picker goes back", { timeout: 30000 }, async () => {
  const speaker = page.getByTestId("device-speaker");
  // As after an unplug the page has not heard of yet: an entry the host does not know.
  await speaker.evaluate((select) => select.add(new Option("Gone", "PulseAudio Unknown: Gone")));
  await speaker.selectOption({ label: "Gone" });
  await page.getByTestId("error-message").filter({ hasText: 'Could not use "Gone" as the speaker' }).waitFor({ timeout: 10000 });
  assert.match(await page.getByTestId("error-message").textContent(), /does not have that device any more/);
  await waitFor(async () => (await speaker.inputValue()) === HEADSET, 5000, "the picker to show the headset again");
  assert.deepEqual(await selectedSpeaker(), ["Headset"]);
});

test("a speaker plugged in appears in the picker", { timeout: 30000 }, async () => {
  const from = await page.evaluate(() => window.__events.length);
  assert.match(await pulse.pactl("load-module", "module-null-sink", "sink_name=usb", "sink_properties=device.description=USB"), /^\d+/);
  await waitFor(() => page.evaluate((n) => window.__events.length > n, from), 5000, "multimediadevicechange");
  await page.getByTestId("device-speaker").locator("option", { hasText: "USB" }).waitFor({ state: "attached", timeout: 5000 });
  assert.equal(await page.getByTestId("device-speaker").inputValue(), HEADSET, "the choice stays");
});
