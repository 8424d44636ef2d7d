// Bridges one page and the extension's worker. The page talks to us with
// window.postMessage; we talk to the worker over one runtime port, opened at
// the page's first request and again after the worker was stopped.
(() => {
  const NS = "pela-softphone";
  const PAGE_PORT = "pela-page";
  let port = null;
  const pending = new Set(); // request ids sent and not answered yet

  function toPage(message) {
    window.postMessage({ ns: NS, from: "extension", ...message }, window.location.origin);
  }

  // Every request still open is answered and the page is told, so that a
  // stopped worker or a reloaded extension never leaves a page waiting.
  function portClosed(text) {
    port = null;
    const message = text || "The browser stopped the extension's worker.";
    for (const id of pending) toPage({ type: "reply", id, error: "HostUnavailable", cause: "ExtensionRestarted", message });
    pending.clear();
    toPage({ type: "status", connected: false, cause: "ExtensionRestarted", message });
  }

  function openPort() {
    if (port) return port;
    const opened = chrome.runtime.connect({ name: PAGE_PORT });
    opened.onMessage.addListener((message) => {
      if (!message || typeof message.type !== "string") return;
      if (message.type === "reply") pending.delete(message.id);
      toPage(message);
    });
    opened.onDisconnect.addListener(() => {
      if (port === opened) portClosed(chrome.runtime.lastError && chrome.runtime.lastError.message);
    });
    port = opened;
    return port;
  }

  window.addEventListener("message", (event) => {
    if (event.source !== window || event.origin !== window.location.origin) return;
    const data = event.data;
    if (!data || typeof data !== "object" || data.ns !== NS || data.from !== "page") return;
    if (data.type === "hello") {
      toPage({ type: "hello", seq: data.seq, version: chrome.runtime.getManifest().version });
      return;
    }
    if (data.type !== "request" || typeof data.id !== "string" || data.id === "") return;
    pending.add(data.id);
    try {
      openPort().postMessage({ type: "request", id: data.id, name: data.name, content: data.content });
    } catch (e) {
      // The extension was reloaded or removed under this page.
      portClosed(String((e && e.message) || e));
    }
  });
})();
