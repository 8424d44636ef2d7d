// The extension's service worker: one native port to pelahost for every page.
//
// Each page's content script opens a runtime port to this worker; the page is
// then one client of the host, with an id of its own. Who the page is (URL,
// host name) comes from the browser's sender information, never from the
// page, so a page cannot borrow another site's remembered approval.

import { HOST_NAME, causeOf, backoffMs, MAX_TO_HOST_BYTES, utf8Length } from "./channel.js";

const PAGE_PORT = "pela-page";
// How long the host is kept after the last page left: a reload comes back
// within it and finds the same host.
const IDLE_CLOSE_MS = 10000;

let native = null; // the port to the host, or null
let answered = false; // the host has sent anything on this port
let failures = 0; // breaks in a row without any answer from the host
let nextAttemptAt = 0;
let retryTimer = null;
let idleTimer = null;
let brokenBefore = false; // pages were told of a break and not yet of recovery

// clientId -> { port, client, pending: Set of request ids }
const pages = new Map();
// Requests waiting for the next connection attempt: { clientId, envelope }.
let backlog = [];

function envelopeFor(client, request) {
  const message = { name: request.name, messageId: request.id };
  if (request.content !== undefined) message.content = request.content;
  return { norvaChannelMessage: { client, norvaSDKClientMessage: message } };
}

function toPage(page, message) {
  try {
    page.port.postMessage(message);
  } catch (e) {
    // The page went away between our look-up and the post: nothing to tell.
  }
}

function broadcast(message) {
  for (const page of pages.values()) toPage(page, message);
}

function connectNative() {
  if (native) return true;
  const wait = nextAttemptAt - Date.now();
  if (wait > 0) {
    if (!retryTimer) retryTimer = setTimeout(() => { retryTimer = null; flushBacklog(); }, wait);
    return false;
  }
  let port;
  try {
    port = chrome.runtime.connectNative(HOST_NAME);
  } catch (e) {
    hostBroke(port, String(e && e.message));
    return false;
  }
  native = port;
  answered = false;
  port.onMessage.addListener((message) => fromHost(port, message));
  port.onDisconnect.addListener(() => {
    const error = chrome.runtime.lastError;
    hostBroke(port, error ? error.message : "");
  });
  return true;
}

function sendToHost(envelope) {
  try {
    native.postMessage(envelope);
    return true;
  } catch (e) {
    hostBroke(native, String(e && e.message));
    return false;
  }
}

function flushBacklog() {
  if (backlog.length === 0 || !connectNative()) return;
  const waiting = backlog;
  backlog = [];
  for (const item of waiting) {
    if (!pages.has(item.clientId)) continue; // the page left meanwhile
    if (!native || !sendToHost(item.envelope)) break;
  }
}

// The port to the host closed: every page is told why and every request it
// still waits for is answered, so nothing is left hanging.
function hostBroke(port, text) {
  if (port && port !== native) return; // an older port, already handled
  native = null;
  const { cause, message } = causeOf(text);
  failures = answered ? 0 : failures + 1;
  nextAttemptAt = Date.now() + backoffMs(failures);
  answered = false;
  const sent = new Set(backlog.map((item) => item.clientId + "\n" + item.envelope.norvaChannelMessage.norvaSDKClientMessage.messageId));
  for (const [clientId, page] of pages) {
    for (const id of page.pending) {
      if (sent.has(clientId + "\n" + id)) continue; // not sent yet: it waits for the next attempt
      toPage(page, { type: "reply", id, error: "HostUnavailable", cause, message });
      page.pending.delete(id);
    }
    toPage(page, { type: "status", connected: false, cause, message });
  }
  brokenBefore = true;
  if (backlog.length > 0) flushBacklog();
}

function fromHost(port, message) {
  if (port !== native) return;
  answered = true;
  failures = 0;
  if (brokenBefore) {
    brokenBefore = false;
    broadcast({ type: "status", connected: true });
  }
  const envelope = message && message.norvaChannelMessage;
  const server = envelope && envelope.norvaSDKServerMessage;
  const clientId = envelope && envelope.client && envelope.client.id;
  const page = pages.get(clientId);
  if (!server || !page) return; // for a page that has left
  if (server.replyToMessageId) {
    const id = server.replyToMessageId;
    page.pending.delete(id);
    const reply = { type: "reply", id };
    if (server.error) reply.error = server.error;
    if (server.content !== undefined) reply.content = server.content;
    toPage(page, reply);
  } else {
    toPage(page, { type: "event", name: server.name, content: server.content });
  }
}

function fromPage(page, request) {
  if (!request || request.type !== "request") return;
  const { id, name, content } = request;
  if (typeof id !== "string" || id === "" || id.length > 200) return; // nothing to answer to
  // The content may be any JSON value ("getProperty" takes a string); the host judges it.
  if (typeof name !== "string" || name === "") {
    toPage(page, { type: "reply", id, error: "eSyntaxError" });
    return;
  }
  const envelope = envelopeFor(page.client, request);
  const text = JSON.stringify(envelope);
  if (text.length * 3 > MAX_TO_HOST_BYTES && utf8Length(text) > MAX_TO_HOST_BYTES) {
    toPage(page, { type: "reply", id, error: "RequestTooLarge" });
    return;
  }
  page.pending.add(id);
  if (backlog.length === 0 && connectNative()) {
    sendToHost(envelope);
  } else {
    backlog.push({ clientId: page.client.id, envelope });
  }
}

function pageLeft(clientId) {
  const page = pages.get(clientId);
  if (!page) return;
  pages.delete(clientId);
  backlog = backlog.filter((item) => item.clientId !== clientId);
  // The host ends the page's registration and, with its last authorized
  // page, stops the telephony.
  if (native) sendToHost({ norvaChannelMessage: { client: { id: clientId }, clientConnected: false } });
  if (pages.size === 0 && !idleTimer) {
    idleTimer = setTimeout(() => {
      idleTimer = null;
      if (pages.size === 0 && native) {
        const port = native;
        native = null;
        port.disconnect();
      }
    }, IDLE_CLOSE_MS);
  }
}

chrome.runtime.onConnect.addListener((port) => {
  if (port.name !== PAGE_PORT) return;
  const sender = port.sender || {};
  let url;
  try {
    url = new URL(sender.url);
  } catch (e) {
    port.disconnect();
    return;
  }
  // Pages in the top frame of http(s) documents only.
  if ((url.protocol !== "http:" && url.protocol !== "https:") || (sender.frameId !== undefined && sender.frameId !== 0)) {
    port.disconnect();
    return;
  }
  if (idleTimer) {
    clearTimeout(idleTimer);
    idleTimer = null;
  }
  const clientId = "page-" + crypto.randomUUID();
  const page = {
    port,
    pending: new Set(),
    client: { id: clientId, url: url.href, hostname: url.hostname, name: url.origin, type: "Chrome" },
  };
  pages.set(clientId, page);
  port.onMessage.addListener((request) => fromPage(page, request));
  port.onDisconnect.addListener(() => pageLeft(clientId));
});
