// Real parts for the browser tests and the browser demo: Debian's Chromium
// with the unpacked extension, the built host registered in the browser's
// profile, pages served from loopback, Kamailio with an answering SIP phone
// (pela_sipbed), and a private PulseAudio sound server.

import { execFile, spawn } from "node:child_process";
import { once } from "node:events";
import { mkdtempSync, mkdirSync, writeFileSync, readFileSync, readdirSync, rmSync, existsSync, createReadStream, openSync, closeSync } from "node:fs";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { join, resolve, extname, normalize } from "node:path";
import { createInterface } from "node:readline";

export const ROOT = resolve(new URL("../..", import.meta.url).pathname);
export const BUILD = resolve(ROOT, process.env.PELA_BUILD_DIR || "build");
export const HOST_NAME = "com.norva.pelahost";
export const EXTENSION_DIR = join(ROOT, "web/extension");
const EXTENSION_ID = "lmnahaiacchplepagfbmjmnhciglnagc";

const TYPES = { ".html": "text/html", ".js": "text/javascript", ".mjs": "text/javascript", ".css": "text/css", ".json": "application/json", ".png": "image/png", ".svg": "image/svg+xml" };

export function chromiumPath() {
  for (const path of [process.env.PELA_CHROMIUM, "/usr/lib/chromium/chromium", "/usr/bin/chromium"]) {
    if (path && existsSync(path)) return path;
  }
  throw new Error("Chromium is not installed: scripts/setup installs Debian's chromium package");
}

// Serves web/ on one loopback address; "/" is a blank page.
export async function serveWeb(address) {
  const root = join(ROOT, "web");
  const server = createServer((request, response) => {
    const path = decodeURIComponent(new URL(request.url, "http://x").pathname);
    if (path === "/" || path === "/blank.html") {
      response.writeHead(200, { "content-type": "text/html" });
      response.end("<!doctype html><title>blank</title><p>blank</p>");
      return;
    }
    const file = normalize(join(root, path));
    if (!file.startsWith(root + "/") || !existsSync(file)) {
      response.writeHead(404);
      response.end();
      return;
    }
    response.writeHead(200, { "content-type": TYPES[extname(file)] || "application/octet-stream", "cache-control": "no-store" });
    createReadStream(file).pipe(response);
  });
  server.listen(0, address);
  await once(server, "listening");
  return { server, origin: `http://${address}:${server.address().port}`, close: () => new Promise((r) => server.close(r)) };
}

// Kamailio and the phone "bob"; commands as pela_sipbed takes them. With
// video the phone sends the engine's moving test pattern; with ephemeral (a
// secret) the registrar also takes the short-lived credentials single sign-on
// provisioning hands out.
export async function startSipBed({ autoAnswer = false, video = false, ephemeral = "" } = {}) {
  const args = [...(autoAnswer ? ["--auto-answer"] : []), ...(video ? ["--video"] : []), ...(ephemeral ? ["--ephemeral", ephemeral] : [])];
  const child = spawn(join(BUILD, "bin/pela_sipbed"), args, { stdio: ["pipe", "pipe", "inherit"] });
  const lines = createInterface({ input: child.stdout });
  const waiting = [];
  const early = [];
  lines.on("line", (line) => (waiting.length ? waiting.shift()(line) : early.push(line)));
  const nextLine = (ms) =>
    new Promise((resolveLine, reject) => {
      if (early.length) return resolveLine(early.shift());
      const timer = setTimeout(() => reject(new Error("pela_sipbed did not answer in time")), ms);
      waiting.push((line) => {
        clearTimeout(timer);
        resolveLine(line);
      });
    });
  const info = JSON.parse(await nextLine(30000));
  let chain = Promise.resolve();
  const command = (line, ms = 15000) => {
    const result = chain.then(() => {
      child.stdin.write(line + "\n");
      return nextLine(ms);
    });
    chain = result.catch(() => {});
    return result;
  };
  const stop = async () => {
    child.stdin.end();
    const timer = setTimeout(() => child.kill("SIGKILL"), 10000);
    if (child.exitCode === null) await once(child, "exit");
    clearTimeout(timer);
  };
  return { ...info, command, stop };
}

// A private PulseAudio sound server, as a desktop has one: speakers "speakers"
// (the default) and "headset" (null sinks), a microphone "mic" (a 1 kHz sine,
// the default). Anonymous access on a socket in a private folder, started
// without the machine's configuration; nothing of the machine's own sound.
// `server` is for PULSE_SERVER; `pactl(...args)` resolves with its output.
export async function startPulse(ms = 10000) {
  const dir = mkdtempSync(join(tmpdir(), "pela-pulse-"));
  const socket = join(dir, "run/native");
  mkdirSync(join(dir, "run"), { mode: 0o700 });
  writeFileSync(
    join(dir, "default.pa"),
    `load-module module-native-protocol-unix auth-anonymous=1 socket=${socket}\n` +
      "load-module module-null-sink sink_name=speakers sink_properties=device.description=Speakers\n" +
      "load-module module-null-sink sink_name=headset sink_properties=device.description=Headset\n" +
      "load-module module-sine-source source_name=mic frequency=1000 source_properties=device.description=Microphone\n" +
      "set-default-sink speakers\nset-default-source mic\n",
  );
  const env = Object.fromEntries(
    Object.entries(process.env).filter(([key]) => key !== "HOME" && key !== "PULSE_SERVER" && key !== "DISPLAY" && !key.startsWith("XDG_")),
  );
  const server = "unix:" + socket;
  const log = openSync(join(dir, "pulse.log"), "w", 0o600);
  const child = spawn(
    "/usr/bin/pulseaudio",
    ["-n", "-F", join(dir, "default.pa"), "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no", "--log-target=stderr"],
    { env: { ...env, HOME: dir, XDG_RUNTIME_DIR: join(dir, "run"), XDG_CONFIG_HOME: join(dir, "config") }, stdio: ["ignore", log, log] },
  );
  closeSync(log);
  let failed = null; // spawning failed: no process to wait for
  child.on("error", (error) => {
    failed = error;
  });
  const pactl = (...args) =>
    new Promise((resolvePactl) =>
      execFile("pactl", ["-s", server, ...args], { env: { ...env, HOME: dir, LC_ALL: "C" }, timeout: 5000 }, (error, stdout) =>
        resolvePactl(error ? "" : stdout)),
    );
  const stop = async () => {
    if (!failed && child.exitCode === null && child.signalCode === null) {
      child.kill("SIGTERM");
      const timer = setTimeout(() => child.kill("SIGKILL"), 5000);
      await once(child, "exit");
      clearTimeout(timer);
    }
    rmSync(dir, { recursive: true, force: true });
  };
  try {
    await waitFor(async () => {
      if (failed) throw failed;
      return (await pactl("list", "short", "sinks")).includes("speakers");
    }, ms, "PulseAudio to start");
  } catch (error) {
    const why = failed ? failed.message : readFileSync(join(dir, "pulse.log"), "utf8") || error.message;
    await stop();
    throw new Error("PulseAudio did not start: " + why);
  }
  return { server, pactl, stop };
}

// A desktop of its own: Xvfb on a free display with openbox managing its
// windows. `display` is for DISPLAY; `run(command, ...args)` runs an X tool
// on it and resolves with its output ("" when it failed); `screen()` is what
// the screen shows now: { width, height, pixel(x, y) -> [r, g, b] }.
export async function startDesktop({ size = "1280x1024", ms = 10000 } = {}) {
  const children = [];
  // Xvfb keeps its screen in a file there, as an XWD image.
  const fbdir = mkdtempSync(join(tmpdir(), "pela-xvfb-"));
  const stop = async () => {
    for (const child of children.reverse()) {
      if (child.exitCode !== null || child.signalCode !== null) continue;
      child.kill("SIGTERM");
      const timer = setTimeout(() => child.kill("SIGKILL"), 5000);
      await once(child, "exit");
      clearTimeout(timer);
    }
    rmSync(fbdir, { recursive: true, force: true });
  };
  const failed = (child, what) =>
    new Promise((_, reject) => {
      child.on("error", (error) => reject(new Error(`${what} did not start: ${error.message}`)));
      child.on("exit", (code) => reject(new Error(`${what} exited (${code}) while starting`)));
    });
  try {
    // Xvfb writes the number of the display it found free to descriptor 3.
    const xvfb = spawn("Xvfb", ["-displayfd", "3", "-noreset", "-nolisten", "tcp", "-screen", "0", `${size}x24`, "-fbdir", fbdir], { stdio: ["ignore", "ignore", "ignore", "pipe"] });
    children.push(xvfb);
    let timer;
    const number = await Promise.race([
      new Promise((resolveNumber) => {
        let text = "";
        xvfb.stdio[3].on("data", (chunk) => {
          text += chunk;
          if (text.includes("\n")) resolveNumber(text.trim());
        });
      }),
      failed(xvfb, "Xvfb"),
      new Promise((_, reject) => {
        timer = setTimeout(() => reject(new Error("Xvfb did not give its display in time")), ms);
      }),
    ]).finally(() => clearTimeout(timer));
    xvfb.stdio[3].destroy();
    const display = ":" + number;
    const env = { ...process.env, DISPLAY: display };
    delete env.WAYLAND_DISPLAY;
    const run = (command, ...args) =>
      new Promise((resolveRun) =>
        execFile(command, args, { env, timeout: 5000 }, (error, stdout) => resolveRun(error ? "" : stdout)));
    const openbox = spawn("openbox", ["--sm-disable"], { env, stdio: "ignore" });
    children.push(openbox);
    const started = failed(openbox, "openbox");
    started.catch(() => {});
    await Promise.race([
      started,
      waitFor(async () => (await run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK")).includes("window id"), ms, "openbox to manage the screen"),
    ]);
    return { display, run, screen: () => readXwd(join(fbdir, "Xvfb_screen0")), stop };
  } catch (error) {
    await stop();
    throw error;
  }
}

// The XWD image Xvfb keeps its screen in (-fbdir), 32 bits a pixel at depth 24.
function readXwd(file) {
  const data = readFileSync(file);
  const word = (n) => data.readUInt32BE(n * 4);
  const [headerSize, width, height, byteOrder, bitsPerPixel, bytesPerLine, colours] = [word(0), word(4), word(5), word(7), word(11), word(12), word(19)];
  if (bitsPerPixel !== 32) throw new Error(`the screen has ${bitsPerPixel} bits a pixel, not 32`);
  const start = headerSize + colours * 12;
  const pixel = (x, y) => {
    const value = byteOrder === 0 ? data.readUInt32LE(start + y * bytesPerLine + x * 4) : data.readUInt32BE(start + y * bytesPerLine + x * 4);
    return [(value >> 16) & 0xff, (value >> 8) & 0xff, value & 0xff];
  };
  return { width, height, pixel };
}

// A private home for the host with the given sites pre-approved.
export function hostHome(approvedSites = []) {
  const home = mkdtempSync(join(tmpdir(), "pela-web-"));
  for (const folder of ["config/com.norva.Tollbridge", "state", "run"]) mkdirSync(join(home, folder), { recursive: true, mode: 0o700 });
  const preferences = Object.fromEntries(approvedSites.map((site) => ["AlwaysAllow_" + site, true]));
  writeFileSync(join(home, "config/com.norva.Tollbridge/preferences.json"), JSON.stringify(preferences), { mode: 0o600 });
  return home;
}

// The engine's own config file (the framework's state folder), as the host
// reads it when the framework starts: e.g. "[video]\nsize=qvga\n".
export function writeEngineConfig(home, text) {
  const folder = join(home, "state/Marlin Web SDK/zep");
  mkdirSync(folder, { recursive: true, mode: 0o700 });
  writeFileSync(join(folder, "linphonerc"), text, { mode: 0o600 });
}

export function hostLog(home) {
  const file = join(home, "state/Marlin Web SDK/softphone.log");
  return existsSync(file) ? readFileSync(file, "utf8") : "";
}

// Chromium with the extension loaded and the host registered in its profile,
// as `pelahost --install` would register it for a user.
// registerAs: the origin the manifest allows, or null for no manifest at all.
// extraEnv: more for the browser's environment, which the host inherits.
// viewport: null makes the page as large as a headed browser's window;
// extraArgs: more command line switches.
export async function launchBrowser(home, { headless = true, registerAs = `chrome-extension://${EXTENSION_ID}/`, extraEnv = {}, viewport, extraArgs = [] } = {}) {
  const { chromium } = await import("playwright-core");
  const profile = join(home, "profile");
  mkdirSync(join(profile, "NativeMessagingHosts"), { recursive: true });
  if (registerAs) registerHost(home, registerAs);
  // The host inherits the browser's environment: its files go to the private home.
  const env = { ...process.env, HOME: home, XDG_CONFIG_HOME: join(home, "config"), XDG_STATE_HOME: join(home, "state"), XDG_RUNTIME_DIR: join(home, "run"), NO_AT_BRIDGE: "1", ...extraEnv };
  if (headless) {
    delete env.DISPLAY;
    delete env.WAYLAND_DISPLAY;
  }
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: chromiumPath(),
    headless,
    env,
    args: [`--disable-extensions-except=${EXTENSION_DIR}`, `--load-extension=${EXTENSION_DIR}`, "--no-first-run", "--disable-gpu", "--disable-features=DnsOverHttps", "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1, EXCLUDE 127.0.0.2", ...extraArgs],
    ...(viewport === undefined ? {} : { viewport }),
    timeout: 60000,
  });
  let worker = context.serviceWorkers().find((w) => w.url().includes(EXTENSION_ID));
  if (!worker) worker = await context.waitForEvent("serviceworker", { timeout: 20000 });
  return { context, worker };
}

export function registerHost(home, origin) {
  writeFileSync(
    join(home, "profile", "NativeMessagingHosts", HOST_NAME + ".json"),
    JSON.stringify({ name: HOST_NAME, description: "test host", path: join(BUILD, "bin/pelahost"), type: "stdio", allowed_origins: [origin] }),
  );
}

// The host processes started by a browser whose home is `home`.
export function hostPids(home) {
  const pids = [];
  for (const entry of readdirSync("/proc")) {
    if (!/^\d+$/.test(entry)) continue;
    try {
      const cmdline = readFileSync(`/proc/${entry}/cmdline`, "utf8");
      if (!cmdline.startsWith(join(BUILD, "bin/pelahost"))) continue;
      const environ = readFileSync(`/proc/${entry}/environ`, "utf8").split("\0");
      if (environ.includes("HOME=" + home)) pids.push(Number(entry));
    } catch {
      // gone meanwhile, or not ours to read
    }
  }
  return pids;
}

// The single sign-on provider and provisioning service (tests/sso/idp.mjs),
// its files in a folder of its own; `stop()` ends it and removes them.
// Resolves with what it printed ({ issuer, provisioning, ca, clientId }) and
// `spki`, the hash of its server key for Chromium's
// --ignore-certificate-errors-spki-list.
export async function startIdp({ domain, registrar, secret, redirects, users = "alice:alice-pw,bob:bob-pw", extra = [] }) {
  const { X509Certificate, createHash } = await import("node:crypto");
  const dir = mkdtempSync(join(tmpdir(), "pela-idp-"));
  const args = [join(ROOT, "tests/sso/idp.mjs"), "--dir", dir, "--domain", domain, "--registrar", registrar, "--secret", secret, "--users", users, ...extra];
  for (const uri of redirects) args.push("--redirect", uri);
  const child = spawn(process.execPath, args, { stdio: ["pipe", "pipe", "inherit"] });
  const stop = async () => {
    if (child.exitCode === null && child.signalCode === null) {
      child.stdin.end();
      const timer = setTimeout(() => child.kill("SIGKILL"), 5000);
      await once(child, "exit");
      clearTimeout(timer);
    }
    rmSync(dir, { recursive: true, force: true });
  };
  try {
    let timer;
    const [line] = await Promise.race([
      once(createInterface({ input: child.stdout }), "line"),
      once(child, "exit").then(([code]) => { throw new Error(`idp.mjs exited (${code}) while starting`); }),
      new Promise((_, reject) => { timer = setTimeout(() => reject(new Error("idp.mjs did not start in time")), 20000); }),
    ]).finally(() => clearTimeout(timer));
    const info = JSON.parse(line);
    const key = new X509Certificate(readFileSync(join(dir, "server.pem"))).publicKey.export({ type: "spki", format: "der" });
    return { ...info, spki: createHash("sha256").update(key).digest("base64"), stop };
  } catch (error) {
    await stop();
    throw error;
  }
}

export async function waitFor(check, ms, what) {
  const until = Date.now() + ms;
  for (;;) {
    const value = await check();
    if (value) return value;
    if (Date.now() > until) throw new Error("timed out waiting for " + what);
    await new Promise((r) => setTimeout(r, 50));
  }
}

export function removeHome(home) {
  rmSync(home, { recursive: true, force: true });
}
