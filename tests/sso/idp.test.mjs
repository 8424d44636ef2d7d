// The single sign-on fixture: the provider (npm oidc-provider), its pages
// driven by agent.mjs, and the provisioning service, over real HTTPS with the
// fixture's own CA.

import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import { execFile, spawn, spawnSync } from "node:child_process";
import { createHash, createHmac, createPublicKey, randomBytes, verify } from "node:crypto";
import { once } from "node:events";
import { mkdtempSync, readFileSync, rmSync, statSync } from "node:fs";
import { request } from "node:https";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";

const HERE = new URL(".", import.meta.url).pathname;
const SECRET = "bed-secret";
const REDIRECT = "http://127.0.0.1/sso-done";
const PAGE_REDIRECT = "http://127.0.0.1:8123/lib/sso-done.html";
const dir = mkdtempSync(join(tmpdir(), "pela-idp-test-"));
const idps = [];

async function startIdp(name, extra = []) {
  const stderr = [];
  const child = spawn(process.execPath, [join(HERE, "idp.mjs"), "--dir", join(dir, name), "--domain", "sso.test",
    "--registrar", "127.0.0.1:5070;transport=udp", "--secret", SECRET, "--redirect", REDIRECT, "--redirect", PAGE_REDIRECT,
    "--users", "alice:alice-pw,bob:bob-pw", ...extra], { stdio: ["pipe", "pipe", "pipe"] });
  child.stderr.on("data", (chunk) => stderr.push(chunk));
  const first = once(createInterface({ input: child.stdout }), "line");
  const timer = setTimeout(() => child.kill("SIGKILL"), 20000);
  const [line] = await Promise.race([first, once(child, "exit").then(() => { throw new Error("idp.mjs exited: " + Buffer.concat(stderr)); })]);
  clearTimeout(timer);
  const info = { ...JSON.parse(line), child, log: () => Buffer.concat(stderr).toString() };
  idps.push(info);
  return info;
}

// One HTTPS exchange with the fixture, trusting only its CA.
function call(idp, method, url, { form, headers = {} } = {}) {
  return new Promise((resolveCall, reject) => {
    const body = form ? new URLSearchParams(form).toString() : "";
    const req = request(new URL(url, idp.provisioning), {
      method, ca: readFileSync(idp.ca), timeout: 10000,
      headers: { ...headers, ...(form ? { "content-type": "application/x-www-form-urlencoded", "content-length": Buffer.byteLength(body) } : {}) },
    }, (res) => {
      const chunks = [];
      res.on("data", (c) => chunks.push(c));
      res.on("end", () => {
        const text = Buffer.concat(chunks).toString();
        let json;
        try {
          json = JSON.parse(text);
        } catch {
          json = undefined;
        }
        resolveCall({ status: res.statusCode, json, text });
      });
    });
    req.on("timeout", () => req.destroy(new Error("no answer in time")));
    req.on("error", reject);
    req.end(body);
  });
}

function agent(idp, url, user, password, ...extra) {
  return new Promise((resolveAgent) => {
    execFile(process.execPath, [join(HERE, "agent.mjs"), "--ca", idp.ca, "--url", url, "--user", user, "--password", password, ...extra],
      { timeout: 30000 }, (error, stdout) => resolveAgent({ code: error ? error.code : 0, ...JSON.parse(stdout) }));
  });
}

// An authorization request as the host makes it: PKCE S256, state, nonce.
// offline_access (a refresh token) needs prompt=consent, as OpenID Connect says.
async function authorization(idp, { redirect = "http://127.0.0.1:45999/sso-done", pkce = true } = {}) {
  const discovery = (await call(idp, "GET", `${idp.issuer}/.well-known/openid-configuration`)).json;
  const verifier = randomBytes(32).toString("base64url");
  const state = randomBytes(8).toString("hex");
  const params = new URLSearchParams({ client_id: idp.clientId, response_type: "code", scope: "openid email offline_access", redirect_uri: redirect, state, nonce: "n-" + state, prompt: "consent" });
  if (pkce) {
    params.set("code_challenge", createHash("sha256").update(verifier).digest("base64url"));
    params.set("code_challenge_method", "S256");
  }
  return { discovery, verifier, state, redirect, url: `${discovery.authorization_endpoint}?${params}` };
}

const codeOf = (flow, url) => {
  const back = new URL(url);
  assert.equal(back.origin + back.pathname, flow.redirect, "back at the redirect address asked for");
  assert.equal(back.searchParams.get("state"), flow.state);
  return back.searchParams.get("code");
};

const tokens = (idp, flow, form) => call(idp, "POST", flow.discovery.token_endpoint, { form: { client_id: idp.clientId, ...form } });
const credentials = (idp, token) => call(idp, "POST", "/v1/sip-credentials", token === undefined ? {} : { headers: { authorization: `Bearer ${token}` } });

let idp;
const jar = join(dir, "alice.jar");
const secrets = ["alice-pw", "bob-pw"];

before(async () => {
  idp = await startIdp("main");
});

after(async () => {
  for (const { child } of idps) {
    if (child.exitCode === null) {
      child.kill("SIGTERM");
      await once(child, "exit");
    }
  }
  rmSync(dir, { recursive: true, force: true });
});

test("provisioning names the provider, the client and the registrar of a known domain only", async () => {
  assert.match(idp.issuer, /^https:\/\/127\.0\.0\.1:\d+\/oidc$/);
  assert.equal(idp.provisioning, idp.issuer.slice(0, -5));
  assert.deepEqual((await call(idp, "GET", "/v1/domains/sso.test")).json, {
    domain: "sso.test", signIn: "oidc", issuer: idp.issuer, clientId: "pela-host", redirectUri: REDIRECT,
    scopes: "openid email offline_access", registrars: ["127.0.0.1:5070;transport=udp"],
  });
  const chosen = await call(idp, "GET", `/v1/domains/SSO.test?redirect=${encodeURIComponent(PAGE_REDIRECT)}`);
  assert.equal(chosen.json.redirectUri, PAGE_REDIRECT);
  assert.deepEqual(await call(idp, "GET", "/v1/domains/sso.test?redirect=http%3A%2F%2F127.0.0.1%2Felsewhere").then((r) => [r.status, r.json]),
    [400, { error: "unknown_redirect" }]);
  assert.deepEqual(await call(idp, "GET", "/v1/domains/other.test").then((r) => [r.status, r.json]), [404, { error: "unknown_domain" }]);
  // The certificate is for 127.0.0.1 and localhost, from the CA given out.
  const pem = readFileSync(join(dir, "main/server.pem"), "utf8");
  const san = spawnSync("openssl", ["x509", "-noout", "-ext", "subjectAltName"], { input: pem }).stdout.toString();
  assert.match(san, /IP Address:127\.0\.0\.1/);
  assert.match(san, /DNS:localhost/);
  assert.equal(statSync(join(dir, "main")).isDirectory() && spawnSync("ls", [join(dir, "main")]).stdout.toString().includes(".key"), false,
    "no private key is left on disk");
});

test("code flow with PKCE: login, consent, tokens, refresh, SIP credentials; the session is reused", async () => {
  const flow = await authorization(idp);
  const signedIn = await agent(idp, flow.url, "alice", "alice-pw", "--jar", jar);
  assert.equal(signedIn.code, 0, signedIn.error);
  const code = codeOf(flow, signedIn.url);
  assert.ok(code);
  assert.equal(statSync(jar).mode & 0o777, 0o600);

  const wrongVerifier = await tokens(idp, flow, { grant_type: "authorization_code", code, redirect_uri: flow.redirect, code_verifier: randomBytes(32).toString("base64url") });
  assert.deepEqual([wrongVerifier.status, wrongVerifier.json.error], [400, "invalid_grant"], "a wrong verifier is refused");

  // The refused exchange spent the code: a fresh flow, which reuses the
  // provider's session (a wrong password is never asked for), gets another.
  const again = await authorization(idp);
  const reused = await agent(idp, again.url, "alice", "not-asked", "--jar", jar);
  assert.equal(reused.code, 0, reused.error);
  const exchanged = await tokens(idp, again, { grant_type: "authorization_code", code: codeOf(again, reused.url), redirect_uri: again.redirect, code_verifier: again.verifier });
  assert.equal(exchanged.status, 200, exchanged.text);
  const { access_token: access, refresh_token: refresh, id_token: idToken, token_type: type } = exchanged.json;
  assert.equal(type, "Bearer");
  assert.ok(access && refresh && idToken);
  secrets.push(code, access, refresh, again.verifier);

  // The ID token is signed RS256 with a key the provider publishes, and names alice.
  const [head, payload, signature] = idToken.split(".");
  const header = JSON.parse(Buffer.from(head, "base64url"));
  assert.equal(header.alg, "RS256");
  const jwks = (await call(idp, "GET", again.discovery.jwks_uri)).json;
  const key = createPublicKey({ key: jwks.keys.find((k) => k.kid === header.kid), format: "jwk" });
  assert.ok(verify("sha256", Buffer.from(`${head}.${payload}`), key, Buffer.from(signature, "base64url")));
  const claims = JSON.parse(Buffer.from(payload, "base64url"));
  assert.deepEqual([claims.iss, claims.aud, claims.sub, claims.email], [idp.issuer, "pela-host", "alice", "alice@sso.test"]);


  // What the registrar's ephemeral authentication checks.
  const before = Math.floor(Date.now() / 1000);
  const sip = await credentials(idp, access);
  assert.equal(sip.status, 200, sip.text);
  assert.deepEqual([sip.json.user, sip.json.domain, sip.json.expiresIn], ["alice", "sso.test", 600]);
  const [expiry, user] = sip.json.username.split(":");
  assert.equal(user, "alice");
  assert.ok(Number(expiry) >= before + 600 && Number(expiry) <= before + 602, `expiry ${expiry}`);
  assert.equal(sip.json.password, createHmac("sha1", SECRET).update(sip.json.username).digest("base64"));
  secrets.push(sip.json.password);

  for (const bad of [undefined, "not-a-token", access + "x"]) {
    const refused = await credentials(idp, bad);
    assert.deepEqual([refused.status, refused.json], [401, { error: "invalid_token" }], `token ${bad}`);
  }

  const refreshed = await tokens(idp, again, { grant_type: "refresh_token", refresh_token: refresh });
  assert.equal(refreshed.status, 200, refreshed.text);
  assert.equal((await credentials(idp, refreshed.json.access_token)).status, 200);

  // Revoking alice ends her grants, tokens and session: the jar no longer signs her in.
  const revoked = await call(idp, "POST", "/test/revoke?user=alice");
  assert.equal(revoked.status, 200);
  assert.ok(revoked.json.grants >= 1 && revoked.json.sessions >= 1, revoked.text);
  assert.equal((await credentials(idp, refreshed.json.access_token)).status, 401);
  assert.equal((await tokens(idp, again, { grant_type: "refresh_token", refresh_token: refreshed.json.refresh_token })).json.error, "invalid_grant");
  const third = await authorization(idp);
  const refusedLogin = await agent(idp, third.url, "alice", "not-asked", "--jar", jar);
  assert.equal(refusedLogin.code, 1);
  assert.match(refusedLogin.error, /login refused: Wrong user name or password/);
  assert.equal((await call(idp, "POST", "/test/revoke?user=mallory")).status, 404);
  const replay = await tokens(idp, again, { grant_type: "authorization_code", code: codeOf(again, reused.url), redirect_uri: again.redirect, code_verifier: again.verifier });
  assert.equal(replay.json.error, "invalid_grant", "a code works once");


  // Two exchanges, a refusal, two refreshes and the replay; six asks, two answered.
  assert.deepEqual((await call(idp, "GET", "/test/stats")).json, { tokenRequests: 5, credentialRequests: 6, credentialsIssued: 2 });
});

test("refusals: a wrong password, the user's deny, no PKCE, an unknown redirect, bad flags", async () => {
  const wrong = await agent(idp, (await authorization(idp)).url, "bob", "guess");
  assert.deepEqual([wrong.code, wrong.error], [1, "login refused: Wrong user name or password."]);

  const denied = await authorization(idp, { redirect: "http://127.0.0.1:8123/lib/sso-done.html" });
  const deny = await agent(idp, denied.url, "bob", "bob-pw", "--deny");
  assert.equal(deny.code, 0, deny.error);
  const back = new URL(deny.url);
  assert.equal(back.searchParams.get("error"), "access_denied");
  assert.equal(back.searchParams.get("state"), denied.state);
  assert.equal(back.searchParams.get("code"), null);

  // A valid redirect address gets the error, before any login.
  const noPkce = await agent(idp, (await authorization(idp, { pkce: false })).url, "bob", "guess");
  assert.equal(noPkce.code, 0, noPkce.error);
  assert.equal(new URL(noPkce.url).searchParams.get("error"), "invalid_request");
  assert.match(new URL(noPkce.url).searchParams.get("error_description"), /PKCE/);
  const elsewhere = await agent(idp, (await authorization(idp, { redirect: "http://example.test/done" })).url, "bob", "bob-pw");
  assert.match(elsewhere.error, /400.*redirect_uri/);

  const flags = spawnSync(process.execPath, [join(HERE, "idp.mjs"), "--dir", dir, "--domain", "sso.test"], { input: "", timeout: 10000 });
  assert.equal(flags.status, 2);
  assert.match(flags.stderr.toString(), /--registrar is required/);
  const redirect = spawnSync(process.execPath, [join(HERE, "idp.mjs"), "--dir", dir, "--domain", "d", "--registrar", "r", "--secret", "s", "--redirect", "https://example.test/"], { input: "", timeout: 10000 });
  assert.match(redirect.stderr.toString(), /only http loopback/);
  const usage = spawnSync(process.execPath, [join(HERE, "agent.mjs"), "--url", "x"], { timeout: 10000 });
  assert.equal(usage.status, 1);
  assert.match(JSON.parse(usage.stdout).error, /--ca is required/);
});

test("without refresh tokens, an expired access token gets no credentials; stdin closing ends the fixture", async () => {
  const short = await startIdp("short", ["--refresh", "0", "--access-ttl", "1", "--credential-ttl", "60"]);
  const flow = await authorization(short);
  const signedIn = await agent(short, flow.url, "bob", "bob-pw");
  const exchanged = await tokens(short, flow, { grant_type: "authorization_code", code: codeOf(flow, signedIn.url), redirect_uri: flow.redirect, code_verifier: flow.verifier });
  assert.equal(exchanged.status, 200, exchanged.text);
  assert.equal(exchanged.json.refresh_token, undefined);
  assert.equal((await credentials(short, exchanged.json.access_token)).json.expiresIn, 60);
  await new Promise((r) => setTimeout(r, 2100));
  assert.equal((await credentials(short, exchanged.json.access_token)).status, 401);

  const exited = once(short.child, "exit");
  short.child.stdin.end();
  const [code] = await Promise.race([exited, new Promise((_, reject) => setTimeout(() => reject(new Error("did not exit")), 5000))]);
  assert.equal(code, 0);
});

test("the logs carry no password, code, token or verifier", () => {
  const logs = idps.map((i) => i.log()).join("\n");
  assert.match(logs, /login of alice/);
  for (const secret of secrets) assert.ok(!logs.includes(secret), "a secret in the log");
});
