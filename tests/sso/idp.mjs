// A real OpenID provider (npm oidc-provider) and the provisioning service of a
// single sign-on domain, on one HTTPS server on 127.0.0.1, for the tests.
//
//   node tests/sso/idp.mjs --dir DIR --domain sso.test --registrar "127.0.0.1:PORT;transport=udp"
//        --secret SECRET --redirect URI [--redirect URI ...] [--users alice:alice-pw,bob:bob-pw]
//        [--credential-ttl 600] [--access-ttl 3600] [--refresh 1|0]
//
// Prints one JSON line on stdout once it serves:
//   {"issuer":"https://127.0.0.1:PORT/oidc","provisioning":"https://127.0.0.1:PORT","ca":"DIR/ca.pem","clientId":"pela-host"}
// and ends when its standard input closes or on SIGTERM. Logs go to stderr and
// never carry a token, a code or a password.
//
// Routes: /oidc/... the provider; /interaction/<uid>[/login|/confirm|/abort]
// its login and consent pages; GET /v1/domains/<domain>[?redirect=URI];
// POST /v1/sip-credentials (Bearer access token); test controls
// POST /test/revoke?user=NAME and GET /test/stats.

import { execFileSync } from "node:child_process";
import { createHmac, generateKeyPairSync, randomBytes } from "node:crypto";
import { mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createServer } from "node:https";
import { join, resolve } from "node:path";
import { parseArgs } from "node:util";

const CLIENT_ID = "pela-host";
const SCOPES = "openid email offline_access";
const MAX_BODY = 16 * 1024;

const log = (line) => process.stderr.write(`idp: ${line}\n`);

function fail(message) {
  process.stderr.write(`idp: ${message}\n`);
  process.exit(2);
}

function options() {
  let parsed;
  try {
    parsed = parseArgs({
      options: {
        dir: { type: "string" },
        domain: { type: "string" },
        registrar: { type: "string" },
        secret: { type: "string" },
        redirect: { type: "string", multiple: true },
        users: { type: "string", default: "alice:alice-pw,bob:bob-pw" },
        "credential-ttl": { type: "string", default: "600" },
        "access-ttl": { type: "string", default: "3600" },
        refresh: { type: "string", default: "1" },
      },
      strict: true,
      allowPositionals: false,
    }).values;
  } catch (error) {
    fail(`${error.message}\nusage: idp.mjs --dir DIR --domain DOMAIN --registrar HOST:PORT[;transport=udp] --secret SECRET --redirect URI [--redirect URI ...] [--users u:pw,...] [--credential-ttl S] [--access-ttl S] [--refresh 1|0]`);
  }
  for (const name of ["dir", "domain", "registrar", "secret"]) {
    if (!parsed[name]) fail(`--${name} is required`);
  }
  if (!parsed.redirect || parsed.redirect.length === 0) fail("at least one --redirect is required");
  for (const uri of parsed.redirect) {
    let url;
    try {
      url = new URL(uri);
    } catch {
      fail(`--redirect ${JSON.stringify(uri)} is not an absolute URL`);
    }
    if (url.protocol !== "http:" || !["127.0.0.1", "localhost", "[::1]"].includes(url.hostname)) {
      fail(`--redirect ${uri}: only http loopback addresses are accepted (the client is a native one)`);
    }
  }
  const seconds = (name) => {
    const text = parsed[name];
    if (!/^\d+$/.test(text) || Number(text) < 1 || Number(text) > 86400 * 30) fail(`--${name} must be a number of seconds from 1 to 2592000`);
    return Number(text);
  };
  if (!["0", "1"].includes(parsed.refresh)) fail("--refresh must be 1 or 0");
  const users = new Map();
  for (const entry of parsed.users.split(",")) {
    const colon = entry.indexOf(":");
    const name = entry.slice(0, colon);
    if (colon < 1 || colon === entry.length - 1 || !/^[A-Za-z0-9._-]+$/.test(name)) {
      fail(`--users: "${entry.slice(0, Math.max(colon, 0))}..." is not user:password`);
    }
    users.set(name, entry.slice(colon + 1));
  }
  return {
    dir: resolve(parsed.dir),
    domain: parsed.domain.toLowerCase(),
    registrar: parsed.registrar,
    secret: parsed.secret,
    redirects: parsed.redirect,
    users,
    credentialTtl: seconds("credential-ttl"),
    accessTtl: seconds("access-ttl"),
    refresh: parsed.refresh === "1",
  };
}

// A test CA and a certificate for 127.0.0.1 and localhost signed by it. The
// private keys are on disk only while openssl needs them.
function makeCertificates(dir) {
  mkdirSync(dir, { recursive: true });
  const keys = join(dir, "keys");
  rmSync(keys, { recursive: true, force: true });
  mkdirSync(keys, { mode: 0o700 });
  const ec = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"];
  const openssl = (...args) => execFileSync("openssl", args, { stdio: ["ignore", "ignore", "pipe"] });
  try {
    openssl("req", "-x509", ...ec, "-keyout", join(keys, "ca.key"), "-out", join(dir, "ca.pem"), "-days", "2",
      "-subj", "/CN=pela test CA", "-addext", "basicConstraints=critical,CA:TRUE",
      "-addext", "keyUsage=critical,keyCertSign,cRLSign");
    openssl("req", "-new", ...ec, "-keyout", join(keys, "server.key"), "-out", join(keys, "server.csr"), "-subj", "/CN=127.0.0.1");
    writeFileSync(join(keys, "server.ext"),
      "subjectAltName=IP:127.0.0.1,DNS:localhost\nbasicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature\nextendedKeyUsage=serverAuth\n");
    openssl("x509", "-req", "-in", join(keys, "server.csr"), "-CA", join(dir, "ca.pem"), "-CAkey", join(keys, "ca.key"),
      "-CAcreateserial", "-CAserial", join(keys, "ca.srl"), "-out", join(dir, "server.pem"), "-days", "2",
      "-extfile", join(keys, "server.ext"));
    return { key: readFileSync(join(keys, "server.key")), cert: readFileSync(join(dir, "server.pem")) };
  } catch (error) {
    fail(`openssl failed: ${error.stderr ? error.stderr.toString().trim() : error.message}`);
  } finally {
    rmSync(keys, { recursive: true, force: true });
  }
}

// The provider's storage, in memory, with what the test controls need: every
// grant and session of one account.
const stored = new Map(); // "Model:id" -> { payload, expiresAt }

class MemoryStore {
  constructor(model) {
    this.model = model;
  }
  key(id) {
    return `${this.model}:${id}`;
  }
  async upsert(id, payload, expiresIn) {
    stored.set(this.key(id), { payload: { ...payload }, expiresAt: expiresIn ? Date.now() + expiresIn * 1000 : Infinity });
  }
  async find(id) {
    const entry = stored.get(this.key(id));
    if (!entry) return undefined;
    if (entry.expiresAt <= Date.now()) {
      stored.delete(this.key(id));
      return undefined;
    }
    return { ...entry.payload };
  }
  async findByUid(uid) {
    return this.#findWhere((payload) => payload.uid === uid);
  }
  async findByUserCode(userCode) {
    return this.#findWhere((payload) => payload.userCode === userCode);
  }
  async consume(id) {
    const entry = stored.get(this.key(id));
    if (entry) entry.payload.consumed = Math.floor(Date.now() / 1000);
  }
  async destroy(id) {
    stored.delete(this.key(id));
  }
  async revokeByGrantId(grantId) {
    for (const [key, entry] of stored) {
      if (key.startsWith(`${this.model}:`) && entry.payload.grantId === grantId) stored.delete(key);
    }
  }
  async #findWhere(match) {
    for (const [key, entry] of stored) {
      if (key.startsWith(`${this.model}:`) && match(entry.payload)) return this.find(key.slice(this.model.length + 1));
    }
    return undefined;
  }
}

// Every grant (with its tokens) and every session of `user`; how many of each.
function revokeUser(user) {
  const grants = new Set();
  let sessions = 0;
  for (const [key, entry] of stored) {
    if (entry.payload.accountId !== user) continue;
    if (key.startsWith("Grant:")) grants.add(entry.payload.jti);
    if (key.startsWith("Session:")) {
      stored.delete(key);
      sessions++;
    }
  }
  for (const [key, entry] of stored) {
    if (grants.has(entry.payload.grantId) || (entry.payload.accountId === user && !key.startsWith("Client:"))) stored.delete(key);
  }
  return { grants: grants.size, sessions };
}

const escapeHtml = (text) =>
  String(text).replace(/[&<>"']/g, (c) => ({ "&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;", "'": "&#39;" })[c]);

function page(title, body) {
  return `<!doctype html><html lang="en"><head><meta charset="utf-8"><title>${escapeHtml(title)}</title>` +
    "<style>body{font:16px sans-serif;max-width:28em;margin:3em auto}label,input,button{display:block;margin:.4em 0}" +
    ".error{color:#a00}</style></head><body>" + body + "</body></html>";
}

function loginPage(uid, client, error = "", user = "") {
  return page("Sign in", `<h1>Sign in to ${escapeHtml(client)}</h1>` +
    (error ? `<p class="error" role="alert">${escapeHtml(error)}</p>` : "") +
    `<form method="post" action="/interaction/${escapeHtml(uid)}/login" autocomplete="off">` +
    `<label for="username">User name</label><input id="username" name="username" value="${escapeHtml(user)}" autofocus>` +
    `<label for="password">Password</label><input id="password" name="password" type="password">` +
    "<button type=\"submit\">Sign in</button></form>");
}

function consentPage(uid, client, user, scopes) {
  return page("Allow access", `<h1>Allow ${escapeHtml(client)} access?</h1>` +
    `<p>Signed in as ${escapeHtml(user)}. It asks for: ${escapeHtml(scopes)}.</p>` +
    `<form method="post" action="/interaction/${escapeHtml(uid)}/confirm"><button type="submit">Allow</button></form>` +
    `<form method="post" action="/interaction/${escapeHtml(uid)}/abort"><button type="submit">Deny</button></form>`);
}

function send(res, status, body, type = "application/json") {
  const text = typeof body === "string" ? body : JSON.stringify(body);
  res.writeHead(status, { "content-type": type, "cache-control": "no-store", "content-length": Buffer.byteLength(text) });
  res.end(text);
}

function readForm(req) {
  return new Promise((resolveForm, reject) => {
    let size = 0;
    const chunks = [];
    req.on("data", (chunk) => {
      size += chunk.length;
      if (size > MAX_BODY) {
        reject(Object.assign(new Error("the form is too large"), { status: 413 }));
        req.destroy();
        return;
      }
      chunks.push(chunk);
    });
    req.on("end", () => resolveForm(new URLSearchParams(Buffer.concat(chunks).toString("utf8"))));
    req.on("error", reject);
  });
}

async function main() {
  const opts = options();
  const { default: Provider, errors } = await import("oidc-provider");
  const tls = makeCertificates(opts.dir);
  const stats = { tokenRequests: 0, credentialRequests: 0, credentialsIssued: 0 };

  let handle = null;
  const server = createServer(tls, (req, res) => {
    handle(req, res).catch((error) => {
      log(`${req.method} ${new URL(req.url, "https://x").pathname}: ${error.message}`);
      if (!res.headersSent) send(res, error.status || 500, { error: error.status === 413 ? "too_large" : "server_error" });
      else res.destroy();
    });
  });
  server.listen(0, "127.0.0.1");
  await new Promise((r, reject) => {
    server.once("listening", r);
    server.once("error", reject);
  });
  const origin = `https://127.0.0.1:${server.address().port}`;
  const issuer = `${origin}/oidc`;

  const { privateKey } = generateKeyPairSync("rsa", { modulusLength: 2048 });
  const signingKey = { ...privateKey.export({ format: "jwk" }), kid: "pela-idp-1", use: "sig", alg: "RS256" };

  const provider = new Provider(issuer, {
    adapter: MemoryStore,
    clients: [{
      client_id: CLIENT_ID,
      // A desktop program cannot keep a secret; loopback redirects on any port.
      application_type: "native",
      token_endpoint_auth_method: "none",
      grant_types: ["authorization_code", "refresh_token"],
      response_types: ["code"],
      redirect_uris: opts.redirects,
      scope: SCOPES,
    }],
    pkce: { required: () => true },
    scopes: SCOPES.split(" "),
    claims: { openid: ["sub"], email: ["email", "email_verified"] },
    // The ID token carries the email granted, so the host can name the user.
    conformIdTokenClaims: false,
    findAccount: async (ctx, id) =>
      opts.users.has(id)
        ? { accountId: id, claims: async () => ({ sub: id, email: `${id}@${opts.domain}`, email_verified: true }) }
        : undefined,
    issueRefreshToken: async (ctx, client, code) =>
      opts.refresh && client.grantTypeAllowed("refresh_token") && code.scopes.has("offline_access"),
    ttl: {
      AccessToken: opts.accessTtl,
      AuthorizationCode: 120,
      IdToken: 3600,
      RefreshToken: 86400,
      Interaction: 3600,
      Session: 86400,
      Grant: 86400,
    },
    features: { devInteractions: { enabled: false }, revocation: { enabled: true } },
    interactions: { url: (ctx, interaction) => `/interaction/${interaction.uid}` },
    cookies: {
      keys: [randomBytes(32).toString("base64url")],
      long: { httpOnly: true, sameSite: "lax", signed: true },
      short: { httpOnly: true, sameSite: "lax", signed: true },
    },
    jwks: { keys: [signingKey] },
    renderError: async (ctx, out) => {
      ctx.type = "html";
      ctx.body = page("Sign-in error", `<h1>Sign-in error</h1><p class="error" role="alert">${escapeHtml(out.error)}: ${escapeHtml(out.error_description || "")}</p>`);
    },
  });
  provider.on("server_error", (ctx, error) => log(`provider error: ${error.message}`));
  const providerCallback = provider.callback();

  async function interaction(req, res, uid, action) {
    let details;
    try {
      details = await provider.interactionDetails(req, res);
    } catch (error) {
      if (error instanceof errors.SessionNotFound) {
        send(res, 400, page("Sign-in expired", "<h1>This sign-in has expired</h1><p class=\"error\" role=\"alert\">Start again from the application.</p>"), "text/html");
        return;
      }
      throw error;
    }
    if (details.uid !== uid) {
      send(res, 400, page("Sign-in error", "<p class=\"error\" role=\"alert\">This page belongs to another sign-in.</p>"), "text/html");
      return;
    }
    const { prompt, params } = details;
    if (req.method === "GET" && !action) {
      if (prompt.name === "login") send(res, 200, loginPage(uid, params.client_id), "text/html");
      else send(res, 200, consentPage(uid, params.client_id, details.session.accountId, params.scope || ""), "text/html");
      return;
    }
    if (req.method !== "POST") {
      send(res, 405, { error: "method_not_allowed" });
      return;
    }
    const form = await readForm(req);
    if (action === "login") {
      const user = form.get("username") || "";
      const password = form.get("password") || "";
      if (!opts.users.has(user) || opts.users.get(user) !== password) {
        log(`login refused for ${JSON.stringify(user.slice(0, 64))}`);
        send(res, 200, loginPage(uid, params.client_id, "Wrong user name or password.", user), "text/html");
        return;
      }
      log(`login of ${user}`);
      await provider.interactionFinished(req, res, { login: { accountId: user } }, { mergeWithLastSubmission: false });
      return;
    }
    if (action === "abort") {
      log("consent denied");
      await provider.interactionFinished(req, res, { error: "access_denied", error_description: "the user denied access" },
        { mergeWithLastSubmission: false });
      return;
    }
    if (action === "confirm" && prompt.name === "consent") {
      const accountId = details.session.accountId;
      const grant = details.grantId
        ? await provider.Grant.find(details.grantId)
        : new provider.Grant({ accountId, clientId: params.client_id });
      if (prompt.details.missingOIDCScope) grant.addOIDCScope(prompt.details.missingOIDCScope.join(" "));
      if (prompt.details.missingOIDCClaims) grant.addOIDCClaims(prompt.details.missingOIDCClaims);
      // A native client is asked every time: the grant it has already covers it.
      const grantId = await grant.save();
      log(`consent of ${accountId}`);
      await provider.interactionFinished(req, res, { consent: details.grantId ? {} : { grantId } }, { mergeWithLastSubmission: true });
      return;
    }
    send(res, 400, page("Sign-in error", "<p class=\"error\" role=\"alert\">Nothing to do here now.</p>"), "text/html");
  }

  async function sipCredentials(req, res) {
    stats.credentialRequests++;
    const header = req.headers.authorization || "";
    const match = /^Bearer ([A-Za-z0-9._~+/-]+=*)$/.exec(header);
    const token = match ? await provider.AccessToken.find(match[1]) : undefined;
    if (!token || !token.accountId || !opts.users.has(token.accountId)) {
      res.setHeader("www-authenticate", 'Bearer error="invalid_token"');
      send(res, 401, { error: "invalid_token" });
      return;
    }
    // What the registrar's ephemeral authentication checks: "<expiry>:<user>"
    // and the base64 HMAC-SHA1 of it under the shared secret.
    const user = token.accountId;
    const username = `${Math.floor(Date.now() / 1000) + opts.credentialTtl}:${user}`;
    const password = createHmac("sha1", opts.secret).update(username).digest("base64");
    stats.credentialsIssued++;
    log(`SIP credentials for ${user}`);
    send(res, 200, { user, domain: opts.domain, username, password, expiresIn: opts.credentialTtl });
  }

  function domainInfo(res, domain, query) {
    if (domain.toLowerCase() !== opts.domain) {
      send(res, 404, { error: "unknown_domain" });
      return;
    }
    let redirectUri = opts.redirects[0];
    if (query.has("redirect")) {
      redirectUri = query.get("redirect");
      if (!opts.redirects.includes(redirectUri)) {
        send(res, 400, { error: "unknown_redirect" });
        return;
      }
    }
    send(res, 200, {
      domain: opts.domain,
      signIn: "oidc",
      issuer,
      clientId: CLIENT_ID,
      redirectUri,
      scopes: SCOPES,
      registrars: [opts.registrar],
    });
  }

  handle = async (req, res) => {
    const url = new URL(req.url, origin);
    const path = url.pathname;
    res.on("finish", () => log(`${req.method} ${path} ${res.statusCode}`));
    if (path === "/oidc" || path.startsWith("/oidc/")) {
      if (path === "/oidc/token") stats.tokenRequests++;
      // Mounted below /oidc: the provider sees its own paths.
      req.originalUrl = req.url;
      req.url = req.url.slice("/oidc".length) || "/";
      providerCallback(req, res);
      return;
    }
    const interactionPath = /^\/interaction\/([A-Za-z0-9_-]+)(?:\/(login|confirm|abort))?$/.exec(path);
    if (interactionPath) return interaction(req, res, interactionPath[1], interactionPath[2]);
    const domainPath = /^\/v1\/domains\/([^/]+)$/.exec(path);
    if (domainPath && req.method === "GET") return domainInfo(res, decodeURIComponent(domainPath[1]), url.searchParams);
    if (path === "/v1/sip-credentials" && req.method === "POST") return sipCredentials(req, res);
    if (path === "/test/revoke" && req.method === "POST") {
      const user = url.searchParams.get("user") || "";
      if (!opts.users.has(user)) return send(res, 404, { error: "unknown_user" });
      const revoked = revokeUser(user);
      log(`revoked ${revoked.grants} grants and ${revoked.sessions} sessions of ${user}`);
      return send(res, 200, revoked);
    }
    if (path === "/test/stats" && req.method === "GET") return send(res, 200, stats);
    send(res, 404, { error: "not_found" });
  };

  let stopping = false;
  const stop = (why) => {
    if (stopping) return;
    stopping = true;
    log(`stopping: ${why}`);
    server.close();
    server.closeAllConnections();
    setTimeout(() => process.exit(0), 2000).unref();
  };
  process.on("SIGTERM", () => stop("SIGTERM"));
  process.on("SIGINT", () => stop("SIGINT"));
  process.stdin.on("end", () => stop("standard input closed"));
  process.stdin.on("error", () => stop("standard input failed"));
  process.stdin.resume();

  process.stdout.write(JSON.stringify({ issuer, provisioning: origin, ca: join(opts.dir, "ca.pem"), clientId: CLIENT_ID }) + "\n");
  log(`serving ${issuer} for ${opts.domain}`);
}

main().catch((error) => fail(error.stack || error.message));
