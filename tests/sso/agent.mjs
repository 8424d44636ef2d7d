// A scripted user at the provider's pages, for tests without a browser: it
// follows the authorization address like a browser with a cookie jar, signs
// in on the login form, answers the consent page, and stops at the redirect
// away from the provider, which it never fetches.
//
//   node tests/sso/agent.mjs --ca CA --url AUTHURL --user alice --password pw [--deny] [--jar FILE]
//
// Prints one JSON line: {"url": "<the redirect address, with ?code=...&state=...>"}
// (or with ?error=access_denied after --deny), exit 0; or {"error": "..."},
// exit 1. With --jar the provider's cookies are kept in FILE (mode 0600)
// across runs, so a second run reuses the provider's session and is not asked
// for the password.

import { readFileSync, writeFileSync, existsSync } from "node:fs";
import { request } from "node:https";
import { parseArgs } from "node:util";

const MAX_STEPS = 20;
const STEP_TIMEOUT_MS = 10000;
const MAX_PAGE = 256 * 1024;

function finish(result, code) {
  process.stdout.write(JSON.stringify(result) + "\n");
  process.exit(code);
}

let opts;
try {
  opts = parseArgs({
    options: {
      ca: { type: "string" },
      url: { type: "string" },
      user: { type: "string" },
      password: { type: "string" },
      deny: { type: "boolean", default: false },
      jar: { type: "string" },
    },
    strict: true,
  }).values;
} catch (error) {
  finish({ error: `${error.message} (usage: agent.mjs --ca CA --url AUTHURL --user NAME --password PW [--deny] [--jar FILE])` }, 1);
}
for (const name of ["ca", "url", "user", "password"]) {
  if (opts[name] === undefined) finish({ error: `--${name} is required` }, 1);
}

let start;
try {
  start = new URL(opts.url);
} catch {
  finish({ error: "--url is not an absolute URL" }, 1);
}
if (start.protocol !== "https:") finish({ error: "--url must be an https address of the provider" }, 1);
let ca;
try {
  ca = readFileSync(opts.ca);
} catch (error) {
  finish({ error: `cannot read the CA file: ${error.message}` }, 1);
}

// The jar: cookies of the provider's origin, { name: { value, path, expires } }.
let jar = {};
if (opts.jar && existsSync(opts.jar)) {
  try {
    jar = JSON.parse(readFileSync(opts.jar, "utf8"));
  } catch {
    jar = {};
  }
}
const now = () => Date.now();

function cookieHeader(path) {
  return Object.entries(jar)
    .filter(([, c]) => (!c.expires || c.expires > now()) && (path === c.path || path.startsWith(c.path.endsWith("/") ? c.path : c.path + "/")))
    .map(([name, c]) => `${name}=${c.value}`)
    .join("; ");
}

function takeCookies(headers, path) {
  for (const line of headers["set-cookie"] || []) {
    const [pair, ...attributes] = line.split(";").map((part) => part.trim());
    const eq = pair.indexOf("=");
    if (eq < 1) continue;
    const name = pair.slice(0, eq);
    const cookie = { value: pair.slice(eq + 1), path: path.slice(0, path.lastIndexOf("/")) || "/", expires: 0 };
    for (const attribute of attributes) {
      const [key, value = ""] = attribute.split("=");
      const lower = key.toLowerCase();
      if (lower === "path" && value.startsWith("/")) cookie.path = value;
      else if (lower === "expires") cookie.expires = Date.parse(value) || 0;
      else if (lower === "max-age") cookie.expires = now() + Number(value) * 1000;
    }
    if (cookie.expires && cookie.expires <= now()) delete jar[name];
    else jar[name] = cookie;
  }
}

function fetchPage(url, form) {
  return new Promise((resolvePage, reject) => {
    const body = form ? new URLSearchParams(form).toString() : null;
    const headers = { accept: "text/html", "user-agent": "pela-sso-agent" };
    const cookies = cookieHeader(url.pathname);
    if (cookies) headers.cookie = cookies;
    if (body !== null) {
      headers["content-type"] = "application/x-www-form-urlencoded";
      headers["content-length"] = Buffer.byteLength(body);
    }
    const req = request(url, { method: body === null ? "GET" : "POST", ca, headers, timeout: STEP_TIMEOUT_MS }, (res) => {
      takeCookies(res.headers, url.pathname);
      const chunks = [];
      let size = 0;
      res.on("data", (chunk) => {
        size += chunk.length;
        if (size > MAX_PAGE) {
          req.destroy(new Error("the page is too large"));
          return;
        }
        chunks.push(chunk);
      });
      res.on("end", () => resolvePage({ status: res.statusCode, location: res.headers.location, html: Buffer.concat(chunks).toString("utf8") }));
      res.on("error", reject);
    });
    req.on("timeout", () => req.destroy(new Error(`no answer from ${url.origin} within ${STEP_TIMEOUT_MS} ms`)));
    req.on("error", reject);
    if (body !== null) req.write(body);
    req.end();
  });
}

const decode = (text) => text.replace(/&quot;/g, '"').replace(/&#39;/g, "'").replace(/&lt;/g, "<").replace(/&gt;/g, ">").replace(/&amp;/g, "&");
const formAction = (html, ending) => {
  for (const match of html.matchAll(/<form[^>]*\saction="([^"]*)"/g)) {
    if (decode(match[1]).endsWith(ending)) return decode(match[1]);
  }
  return null;
};
const alertText = (html) => {
  const match = /role="alert">([^<]*)</.exec(html);
  return match ? decode(match[1]) : "";
};

async function run() {
  let url = start;
  let form = null;
  let loggedIn = false;
  for (let step = 0; step < MAX_STEPS; step++) {
    const answer = await fetchPage(url, form);
    form = null;
    if (answer.status >= 300 && answer.status < 400 && answer.location) {
      const next = new URL(answer.location, url);
      // Leaving the provider: that is the application's redirect address.
      if (next.origin !== start.origin) return { url: next.href };
      url = next;
      continue;
    }
    if (answer.status !== 200) {
      return { error: `the provider answered ${answer.status} at ${url.pathname}${alertText(answer.html) ? ": " + alertText(answer.html) : ""}` };
    }
    const login = formAction(answer.html, "/login");
    const confirm = formAction(answer.html, "/confirm");
    const abort = formAction(answer.html, "/abort");
    if (login) {
      if (loggedIn) return { error: `login refused: ${alertText(answer.html) || "the login form came back"}` };
      loggedIn = true;
      url = new URL(login, url);
      form = { username: opts.user, password: opts.password };
    } else if (confirm && abort) {
      url = new URL(opts.deny ? abort : confirm, url);
      form = {};
    } else {
      return { error: `a page the agent does not know at ${url.pathname}${alertText(answer.html) ? ": " + alertText(answer.html) : ""}` };
    }
  }
  return { error: `no redirect away from the provider after ${MAX_STEPS} steps` };
}

let result;
try {
  result = await run();
} catch (error) {
  result = { error: error.message };
}
if (opts.jar) writeFileSync(opts.jar, JSON.stringify(jar), { mode: 0o600 });
finish(result, result.error ? 1 : 0);
