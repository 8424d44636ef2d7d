// The demo softphone page: connects to the host through the extension, signs
// in, places and handles calls, picks sound devices and sets volumes, shows a
// call's video in the host's window and docks that window into the page.
// state.js holds what is known, view.js draws it, words.js turns codes into
// sentences; this file talks to the host.
//
// Handles for browser tests (ids; each also has the same data-testid):
//   host-status, auth-state, authorize-button     the way to the host, this site's permission
//   status-message, error-message                 last news, last error in words
//   signin-registrars (one server per line), signin-email, signin-password,
//   signin-button (submit), logout-button, forget-button (logout and forget the address)
//   signin-provisioning                          the provisioning service ("TftpAddressList")
//   sso-state, sso-continue, sso-cancel           sign-in through a provider: what happens,
//                                                 "Continue with your provider" (a blocked
//                                                 popup), Cancel (while the host allows it)
//   sso-expiry, sso-renew, sso-not-now            the provider session's expiry prompt
//   signin-prompt, signin-state, connection-status, connection-failure,
//   signin-device, signin-line                    sign-in progress and the account
//   number-field, number-clear, call-button       place a call (Enter in the field too)
//   dialpad-0 .. dialpad-9, dialpad-star, dialpad-hash, dialpad-label, dtmf-sent
//   incoming-notice, calls-empty, call-list
//   devices-state                                 why the devices panel is not usable yet
//   device-microphone, device-speaker, device-ringer, device-camera
//                                                 one select per role; an option's value is the
//                                                 device's id, "" is "System default"
//   volume-speaker, volume-microphone, volume-ringer   range inputs 0..100; each shows its
//                                                 level in volume-ROLE-value ("40%")
//   video-direction                               select: the video of calls made and
//                                                 answered (Inactive, SendRecv, SendOnly, RecvOnly)
//   video-state                                   what the video window shows, in words
//   video-selfview, video-ontop, video-hide       the window's self view, always on top, hide
//   dock-target, dock-button                      the box the window docks over; the button
//                                                 says "Dock here" or "Undock" (data-action
//                                                 dock or undock)
// The video controls are there only when the host offers video ("init"), the
// docking ones only when it offers docking.
// Each call is an li[data-call-id="N"] with data-call-state (the host's state
// name) in call-list; its buttons carry data-action, one of answer, divert,
// end, hold, resume, mute, unmute, show-video, hide-video, transfer,
// complete-transfer, cancel-transfer, join (with data-join-call-id), and data-testid
// "call-N-ACTION" ("call-N-join-M"). The transfer number is the row's
// input[data-field="transfer-number"] (id transfer-number-N).

import { connect } from "../lib/softphone.js";
import {
  VOLUME_ROLES,
  actionRequest,
  applyCall,
  applySsoEvent,
  can,
  createState,
  dockGeometry,
  dockingOffered,
  dtmfTarget,
  isEnded,
  isToneKey,
  isTrue,
  parseServers,
  partyOf,
  replaceCalls,
  userPart,
  videoOffered,
  windowState,
} from "./state.js";
import { announceCall, render, showError, showStatus } from "./view.js";
import { callStateWords, causeWords, deviceErrorWords, errorWords, reasonWords, windowErrorWords } from "./words.js";

const HELLO_TIMEOUT_MS = 3000;
const FAILED = Symbol("failed");

const state = createState();
const $ = (id) => document.getElementById(id);

let phone = null; // the Softphone once the extension answered
let sso = null; // its single sign-on window (the provider's pages in a popup)
let ready = false; // the host answered "init" since the last break
let starting = null; // the session start under way, shared by everyone waiting
let wantSignIn = false; // the user pressed "Sign in": answer the host's prompts from the form
let focusCall = 0; // a call just placed: its row takes the focus once drawn

// After "Call", focus moves to the new call, so keys typed next are tones
// and its buttons are one Tab away; not if the user has moved on meanwhile.
function draw() {
  render(state);
  if (!focusCall) return;
  const row = document.querySelector(`li[data-call-id="${focusCall}"]`);
  if (!row) return;
  const here = document.activeElement;
  if (!here || here === document.body || here.id === "number-field" || here.id === "call-button") row.focus();
  focusCall = 0;
}

// ---------------------------------------------------------------------------
// Session: connect, authorize, learn the state; again after every break.

async function startSession() {
  state.host = "connecting";
  draw();
  try {
    if (!phone) {
      phone = await connect({ timeoutMs: HELLO_TIMEOUT_MS });
      listen(phone);
      sso = phone.ssoWindow({
        onChange: (phase) => {
          state.sso.phase = phase;
          draw();
        },
      });
    }
    showStatus("Asking whether this site may use the softphone; answer the softphone's dialog if one opens.");
    state.auth = await phone.authorize();
    const init = await phone.init();
    state.capabilities = (init && init.capabilities) || {};
  } catch (error) {
    // A break has already said why ("hostdisconnected"); anything else says it here.
    if (state.host === "connecting") {
      state.host = "unavailable";
      state.hostWhy = reasonWords(error);
    }
    showStatus("");
    draw();
    throw error;
  }
  state.host = "connected";
  state.hostWhy = "";
  ready = true;
  showStatus("");
  if (state.auth === "UserAuthorized") await refresh();
  draw();
}

function ensureSession() {
  if (ready) return Promise.resolve();
  if (!starting) {
    starting = startSession().finally(() => {
      starting = null;
    });
  }
  return starting;
}

// Runs one user action against the host. Any failure, the session's included,
// becomes a sentence in the error line (`words` makes it); the result is
// FAILED then.
async function act(doing, work, words = errorWords) {
  showError("");
  try {
    await ensureSession();
    return await work(phone);
  } catch (error) {
    showError(words(error, doing));
    return FAILED;
  } finally {
    draw();
  }
}

// Background reads (after events) report failures the same way.
function quietly(doing, work) {
  work().catch((error) => showError(errorWords(error, doing))).finally(() => draw());
}

async function refresh() {
  const reply = await phone.request("getProperty", "connectionStatus");
  state.connection = (reply && reply.connectionStatus) || "";
  await refreshCalls();
  if (state.connection === "Disconnected") {
    state.device = "";
    state.line = "";
    if (state.lifecycle !== "SignedOut") state.lifecycle = "";
  } else {
    await refreshLine();
  }
  // In the background: a failure here must not fail the session.
  rereadDevices();
  askWindowState();
}

// The window's state comes as an "externalwindowevent".
function askWindowState() {
  if (videoOffered(state)) quietly("read the video window's state", () => phone.getExternalWindowState());
}

async function refreshCalls() {
  const reply = await phone.request("getCalls");
  replaceCalls(state.calls, reply && reply.calls);
}

// A read that events can ask for several at once (transfer steps, device
// changes): one at a time, and one more after it for all asked meanwhile. The
// promise returned ends with a read that started after the call.
function rereader(doing, work) {
  let reading = null;
  let queued = null;
  const start = () => {
    reading = work()
      .catch((error) => showError(errorWords(error, doing)))
      .finally(() => {
        reading = null;
        draw();
      });
    return reading;
  };
  return () => {
    if (queued) return queued;
    if (!reading) return start();
    queued = reading.then(() => {
      queued = null;
      return start();
    });
    return queued;
  };
}

const rereadCalls = rereader("read the calls", refreshCalls);

async function refreshDevices() {
  const [devices, ...volumes] = await Promise.all([
    phone.devices(),
    ...VOLUME_ROLES.map((role) => phone.volume(role)),
  ]);
  state.devices = devices;
  VOLUME_ROLES.forEach((role, i) => {
    state.volumes[role] = volumes[i];
  });
}

const rereadDevices = rereader("read the sound devices and cameras", refreshDevices);

function forgetDevices() {
  state.devices = null;
  state.volumes = { speaker: null, microphone: null, ringer: null };
}

async function refreshLine() {
  const [deviceReply, lineReply] = await Promise.all([
    phone.request("getProperty", "device"),
    phone.request("getProperty", "line"),
  ]);
  const device = deviceReply && deviceReply.device;
  const line = lineReply && lineReply.line;
  state.device = device && isTrue(device.exists) ? device.name || "" : "";
  if (line && isTrue(line.exists)) {
    const number = line.directoryNumber || "";
    const name = line.name || "";
    state.line = number && name && number !== name ? `${number} (${name})` : number || name;
    if (!state.lifecycle) state.lifecycle = "SignedIn";
  } else {
    state.line = "";
  }
}

// ---------------------------------------------------------------------------
// Host events

function errorTexts(content) {
  const list = content && Array.isArray(content.errors) ? content.errors : [];
  return list.map((entry) => (entry && entry.error) || "").filter((text) => text !== "");
}

function onCall(call) {
  if (!call || call.callId === undefined) return;
  const before = applyCall(state.calls, call);
  const id = Number(call.callId);
  const known = Array.isArray(call.participants) && call.participants.length ? call : before || call;
  if (isEnded(call)) {
    if (state.tones.callId === id) state.tones = { callId: 0, digits: "" };
    announceCall(`Call ${id} with ${partyOf(known)} ended.`);
  } else if ((!before || before.callState !== call.callState) && !can(call, "canAnswer")) {
    // A ringing call is announced by the incoming-call notice instead.
    announceCall(`Call ${id} with ${partyOf(known)}: ${callStateWords(call.callState)}.`);
  }
}

function onEmailPrompt(content) {
  const errors = errorTexts(content);
  state.prompt = { kind: "email", id: 0, errors };
  if (wantSignIn && errors.length === 0 && $("signin-email").value.trim() !== "") {
    answerPrompt();
  } else if (errors.length || wantSignIn) {
    // The user is signing in and the answer is theirs to type.
    $("signin-email").focus();
  }
}

function onCredentialsPrompt(content) {
  const errors = errorTexts(content);
  const id = Number(content && content.authenticatorId) || 0;
  state.prompt = { kind: "credentials", id, errors };
  if (wantSignIn && errors.length === 0 && $("signin-password").value !== "") {
    answerPrompt();
  } else if (errors.length || wantSignIn) {
    $("signin-password").focus();
  }
}

const EVENTS = {
  userauthorized(content) {
    state.auth = isTrue(content) ? "UserAuthorized" : "UserDenied";
    if (state.auth === "UserDenied") forgetDevices();
  },
  callstatechange: onCall,
  attendedtransferstatechange() {
    // A transfer step changes the other call's capabilities too.
    rereadCalls();
  },
  connectionstatuschange(content) {
    state.connection = String(content || "");
    if (state.connection === "Connected") state.failure = "";
  },
  connectionfailure(content) {
    state.failure = String(content || "");
  },
  lifecyclestatechanged(content) {
    state.lifecycle = String(content || "");
    if (state.lifecycle === "SignedIn" || state.lifecycle === "SignedOut") {
      wantSignIn = false;
      state.prompt = null;
    }
    if (state.lifecycle === "SignedOut") {
      state.device = "";
      state.line = "";
      state.failure = "";
    }
  },
  authenticationresult(content) {
    state.authResult = (content && content.result) || "";
  },
  userprofileemailaddressrequired: onEmailPrompt,
  userprofilecredentialsrequired: onCredentialsPrompt,
  loggedin() {
    state.authResult = "";
    showStatus("Signed in.");
  },
  // The framework started again (the host stops it when no page is left): its list is fresh.
  multimediacapabilitiesstarted() {
    if (state.auth === "UserAuthorized") rereadDevices();
    askWindowState();
  },
  multimediadevicechange() {
    rereadDevices();
  },
  speakervolumechanged(content) {
    const volume = Number(content && content.volume);
    if (Number.isInteger(volume) && volume >= 0 && volume <= 100) state.volumes.speaker = volume;
  },
  callcontrolmodechange(content) {
    state.device = (content && content.deviceName) || state.device;
    quietly("read the line", refreshLine);
  },
  hostdisconnected(content) {
    ready = false;
    state.host = "broken";
    state.hostWhy = causeWords(content && content.cause, content && content.message);
    // A prompt belonged to the host that went away.
    state.prompt = null;
    wantSignIn = false;
    // So were its devices and levels, its offer and its window; they are
    // read again with the session.
    forgetDevices();
    state.capabilities = null;
    state.window = null;
    state.windowAsked = {};
    follow(false);
  },
  externalwindowevent(content) {
    const first = state.window === null;
    state.window = windowState(content);
    for (const key of Object.keys(state.windowAsked)) {
      if (state.window[key] === state.windowAsked[key]) delete state.windowAsked[key];
    }
    // Docked by this page, or found docked when the page (re)loads: this
    // page moves it. Docked by another page: that one does.
    if (!state.window.docking) follow(false);
    else if (first && dockingOffered(state)) follow(true);
  },
  hostconnected() {
    if (!ready) ensureSession().catch((error) => showError(errorWords(error, "reconnect to the softphone")));
  },
};

// Single sign-on: the provider's pages are the library's SsoWindow; these are
// the buttons around it.
const SSO_EVENTS = ["cancancelsinglesignonchanged", "ssosessionexpirypromptrequired", "lifecyclessosessionchanged", "ssoinvokeresetdata"];

function listen(softphone) {
  for (const [name, handle] of Object.entries(EVENTS)) {
    softphone.on(name, (content) => {
      applySsoEvent(state, name, content);
      handle(content);
      draw();
    });
  }
  for (const name of SSO_EVENTS) {
    softphone.on(name, (content) => {
      applySsoEvent(state, name, content);
      // The provider's session says the host's data is stale: forget it.
      if (name === "ssoinvokeresetdata") quietly("reset the sign-in data", () => softphone.resetData());
      draw();
    });
  }
}

async function onSsoRenew() {
  state.sso.expiryPrompt = false;
  // The provider's window opens from this click's activation when the host needs it.
  showStatus("Signing in again with your provider…");
  await act("sign in again with your provider", (p) => p.restablishSSOSession());
}

async function onSsoNotNow() {
  state.sso.expiryPrompt = false;
  await act("put off signing in again", (p) => p.suppressSSOSessionExpiryPrompt());
}

async function onSsoCancel() {
  const done = await act("cancel signing in with your provider", (p) => p.cancelSingleSignOn());
  if (done !== FAILED) showStatus("Signing in with your provider was cancelled.");
}

// ---------------------------------------------------------------------------
// Sign-in. The password is read from its field only to build the one request
// that carries it, and the field is emptied as it goes.

async function answerPrompt() {
  const prompt = state.prompt;
  if (!prompt) return;
  if (prompt.kind === "email") {
    const email = $("signin-email").value.trim();
    if (email === "") {
      showError("Type your address (user@domain) to sign in.");
      $("signin-email").focus();
      return;
    }
    state.prompt = null;
    await act("send your address", (p) => p.request("setUserProfileEmailAddress", { email }));
    return;
  }
  const field = $("signin-password");
  if (field.value === "") {
    showError("Type your password to sign in.");
    field.focus();
    return;
  }
  const content = {
    authenticator: prompt.id,
    username: userPart($("signin-email").value),
    password: field.value,
  };
  field.value = "";
  state.prompt = null;
  await act("send your password", (p) => p.request("setUserProfileCredentials", content));
}

async function onSignIn(event) {
  event.preventDefault();
  showStatus("");
  wantSignIn = true;
  const provisioning = parseServers($("signin-provisioning").value);
  if (provisioning.length) {
    const set = await act("set the provisioning service", (p) => p.request("setProperty", { TftpAddressList: provisioning }));
    if (set === FAILED) {
      wantSignIn = false;
      return;
    }
  }
  const servers = parseServers($("signin-registrars").value);
  if (servers.length) {
    const set = await act("set the server list", (p) => p.request("setProperty", { LoryAddressList: servers }));
    if (set === FAILED) {
      wantSignIn = false;
      return;
    }
  }
  if (state.prompt) {
    await answerPrompt();
    return;
  }
  showStatus("Signing in…");
  const started = await act("start signing in", (p) => p.request("startSignIn", {}));
  if (started === FAILED) wantSignIn = false;
}

async function onLogout(forget) {
  showStatus("");
  wantSignIn = false;
  state.prompt = null;
  const done = forget
    ? await act("sign out and forget the address", (p) => p.request("resetData", {}))
    : await act("sign out", (p) => p.request("logout"));
  if (done !== FAILED) showStatus(forget ? "Signed out; the address is forgotten." : "Signed out.");
}

// ---------------------------------------------------------------------------
// Dialling, tones and calls

async function onCallSubmit(event) {
  event.preventDefault();
  const field = $("number-field");
  const recipient = field.value.trim();
  if (recipient === "") {
    showError("Type a number or address to call.");
    field.focus();
    return;
  }
  showStatus("");
  const content = videoOffered(state) ? { recipient, videoDirection: $("video-direction").value } : { recipient };
  const reply = await act(`call ${recipient}`, (p) => p.request("originate", content));
  if (reply !== FAILED) {
    field.value = "";
    const id = reply && reply.callId;
    focusCall = Number(id) || 0;
    draw();
    showStatus(id ? `Calling ${recipient} (call ${id}).` : `Calling ${recipient}.`);
  }
}

// Tones go one after another, in the order pressed.
let tones = Promise.resolve();
function sendTone(call, digit) {
  const callId = call.callId;
  tones = tones.then(async () => {
    const sent = await act(`send the tone ${digit} to call ${callId}`, (p) =>
      p.request("sendDTMF", { callId, digit }));
    if (sent === FAILED) return;
    const before = state.tones.callId === callId ? state.tones.digits : "";
    state.tones = { callId, digits: (before + digit).slice(-32) };
    draw();
  });
}

// A digit from the pad or the keyboard: a tone during a call, else part of the number.
function pressDigit(digit, fromKeyboard) {
  const target = dtmfTarget(state.calls);
  if (target) {
    sendTone(target, digit);
    return;
  }
  const field = $("number-field");
  field.value += digit;
  // Typed digits carry on in the field itself; a pad keeps its own focus.
  if (fromKeyboard) field.focus();
}

function onCallListClick(event) {
  const button = event.target.closest("button[data-action]");
  if (!button) return;
  const row = button.closest("li[data-call-id]");
  const callId = Number(row.dataset.callId);
  const action = button.dataset.action;
  const joinCallId = Number(button.dataset.joinCallId) || 0;
  const input = row.querySelector('[data-field="transfer-number"]');
  const number = action === "transfer" ? input.value.trim() : "";
  if (action === "transfer" && number === "") {
    showError(`Type the number to transfer call ${callId} to.`);
    input.focus();
    return;
  }
  showStatus("");
  const videoDirection = videoOffered(state) ? $("video-direction").value : "";
  const [name, content] = actionRequest(action, callId, { number, joinCallId, videoDirection });
  const doing = {
    transfer: `transfer call ${callId} to ${number}`,
    join: `join call ${callId} with call ${joinCallId}`,
    "show-video": `show the video of call ${callId}`,
    "hide-video": "hide the video window",
  }[action] || `${button.textContent.toLowerCase()} call ${callId}`;
  const words = action === "show-video" || action === "hide-video" ? windowErrorWords : errorWords;
  act(doing, async (p) => {
    // The window's title says whose video it is.
    if (action === "show-video") {
      const call = state.calls.get(callId);
      await p.setExternalWindowTitle({ title: `Call ${callId} with ${call ? partyOf(call) : "the other party"}` });
    }
    return p.request(name, content);
  }, words).then((result) => {
    if (result !== FAILED && action === "transfer") input.value = "";
  });
}

function onCallListKey(event) {
  // Enter in a transfer field presses that call's transfer button.
  if (event.key !== "Enter" || !event.target.matches('[data-field="transfer-number"]')) return;
  event.preventDefault();
  const button = event.target.closest("li[data-call-id]").querySelector('[data-action="transfer"]');
  if (button) button.click();
}

function onKey(event) {
  if (event.defaultPrevented || event.ctrlKey || event.metaKey || event.altKey) return;
  if (!isToneKey(event.key)) return;
  const target = event.target;
  // Typing into a field stays typing.
  if (target.closest && target.closest("input, textarea, select, [contenteditable]")) return;
  event.preventDefault();
  pressDigit(event.key, true);
}

// ---------------------------------------------------------------------------
// Devices and volumes. A picked device stays shown while the host is asked,
// then the host's list says what is used; a refused pick goes back at once.

async function onDevicePick(event) {
  const select = event.target.closest("select[data-role]");
  if (!select) return;
  const role = select.dataset.role;
  const id = select.value;
  const name = id === "" ? "" : select.selectedOptions[0].textContent;
  const doing = id === "" ? `use the system's default ${role}` : `use "${name}" as the ${role}`;
  showStatus("");
  state.choosing[role] = id;
  const chosen = await act(doing, (p) => p.chooseDevice(role, id), deviceErrorWords);
  if (chosen === FAILED) {
    delete state.choosing[role];
    draw();
  } else {
    showStatus(`${id === "" ? `The system's default ${role}` : `"${name}"`} is used as the ${role} from the next call.`);
  }
  await rereadDevices();
  delete state.choosing[role];
  draw();
}

// While a slider moves its level is shown; the host is told when it is let go.
function onVolumeInput(event) {
  const slider = event.target.closest("input[data-role]");
  if (!slider) return;
  state.volumes[slider.dataset.role] = Number(slider.value);
  draw();
}

async function onVolumeSet(event) {
  const slider = event.target.closest("input[data-role]");
  if (!slider) return;
  const role = slider.dataset.role;
  const volume = Number(slider.value);
  state.volumes[role] = volume;
  const set = await act(`set the ${role} volume to ${volume}%`, (p) => p.setVolume(role, volume));
  // Back to the level the host keeps.
  if (set === FAILED) rereadDevices();
}

// ---------------------------------------------------------------------------
// The video window. Its state is what the host says in "externalwindowevent";
// a checkbox shows the value being sent until an event says the same, since
// the reply can come before the event. A refusal shows the host's value again.

async function onWindowCheck(box, key, command, param, words) {
  const value = box.checked;
  state.windowAsked[key] = value;
  const result = await act(words(value), (p) => p[command]({ [param]: value }), windowErrorWords);
  const settled = result === FAILED || (state.window && state.window[key] === value);
  if (settled && state.windowAsked[key] === value) delete state.windowAsked[key];
  draw();
}

// Docking: the host puts its window over the dock target, and is told where
// the target is whenever the page scrolls, resizes or moves it, at most once
// a frame.
const followers = { frame: 0, sent: "", observer: null };

function targetGeometry() {
  const root = document.documentElement;
  const view = { width: innerWidth, height: innerHeight, visibleWidth: root.clientWidth, visibleHeight: root.clientHeight };
  return dockGeometry($("dock-target").getBoundingClientRect(), view, devicePixelRatio || 1);
}

function sendDockUpdate() {
  followers.frame = 0;
  if (!followers.observer || !phone) return;
  const { area, page } = targetGeometry();
  const update = { ...area, ...page };
  const key = JSON.stringify(update);
  if (key === followers.sent) return;
  followers.sent = key;
  // Only a failure is answered; the next move tries again.
  phone.dockUpdate(update).catch((error) => {
    followers.sent = "";
    showError(windowErrorWords(error, "move the docked video window with the page"));
  });
}

function scheduleDockUpdate() {
  if (followers.observer && !followers.frame) followers.frame = requestAnimationFrame(sendDockUpdate);
}

// Starts or stops following the target. Content above the target changing
// size moves it without any scroll: the layout is watched too.
function follow(on) {
  if (on === Boolean(followers.observer)) return;
  if (on) {
    followers.sent = "";
    followers.observer = new ResizeObserver(scheduleDockUpdate);
    followers.observer.observe($("dock-target"));
    followers.observer.observe(document.body);
    addEventListener("scroll", scheduleDockUpdate, { passive: true });
    addEventListener("resize", scheduleDockUpdate);
    // The host knows the page's size only from an update.
    sendDockUpdate();
    return;
  }
  followers.observer.disconnect();
  followers.observer = null;
  removeEventListener("scroll", scheduleDockUpdate);
  removeEventListener("resize", scheduleDockUpdate);
  if (followers.frame) cancelAnimationFrame(followers.frame);
  followers.frame = 0;
}

async function onDockButton() {
  showStatus("");
  if ($("dock-button").dataset.action === "undock") {
    const done = await act("undock the video window", (p) => p.undockExternalWindow(), windowErrorWords);
    if (done !== FAILED) follow(false);
    return;
  }
  // Docking names the window too: it keeps the name it has.
  const title = (state.window && state.window.title) || "Softphone video";
  const done = await act("dock the video window", (p) => p.dockExternalWindow({ title, ...targetGeometry().area }),
    windowErrorWords);
  if (done !== FAILED) follow(true);
}

// ---------------------------------------------------------------------------

function start() {
  $("signin-form").addEventListener("submit", onSignIn);
  $("logout-button").addEventListener("click", () => onLogout(false));
  $("forget-button").addEventListener("click", () => onLogout(true));
  $("authorize-button").addEventListener("click", () =>
    act("ask for permission", async (p) => {
      state.auth = await p.authorize();
      if (state.auth === "UserAuthorized") await refresh();
    }));
  $("dial-form").addEventListener("submit", onCallSubmit);
  $("number-clear").addEventListener("click", () => {
    const field = $("number-field");
    field.value = field.value.slice(0, -1);
  });
  $("dialpad").addEventListener("click", (event) => {
    const button = event.target.closest("button[data-digit]");
    if (button) pressDigit(button.dataset.digit, false);
  });
  $("call-list").addEventListener("click", onCallListClick);
  $("call-list").addEventListener("keydown", onCallListKey);
  document.addEventListener("keydown", onKey);
  $("device-pickers").addEventListener("change", onDevicePick);
  $("volume-sliders").addEventListener("input", onVolumeInput);
  $("volume-sliders").addEventListener("change", onVolumeSet);
  $("video-selfview").addEventListener("change", (event) =>
    onWindowCheck(event.target, "selfViewPip", "setExternalWindowShowSelfViewPip", "showSelfViewPip", (on) =>
      on ? "show your camera in the video window" : "take your camera out of the video window"));
  $("video-ontop").addEventListener("change", (event) =>
    onWindowCheck(event.target, "alwaysOnTop", "setExternalWindowAlwaysOnTop", "alwaysOnTop", (on) =>
      on ? "keep the video window above other windows" : "let other windows cover the video window"));
  $("video-hide").addEventListener("click", () =>
    act("hide the video window", (p) => p.hideExternalWindow(), windowErrorWords));
  $("dock-button").addEventListener("click", onDockButton);
  $("sso-continue").addEventListener("click", () => {
    if (sso && !sso.openWindow()) showError("The browser keeps your provider's window closed: allow pop-ups for this site.");
  });
  $("sso-cancel").addEventListener("click", onSsoCancel);
  $("sso-renew").addEventListener("click", onSsoRenew);
  $("sso-not-now").addEventListener("click", onSsoNotNow);

  draw();
  ensureSession().catch((error) => showError(errorWords(error, "start the softphone")));
}

start();
