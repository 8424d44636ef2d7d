// Draws the state into the page. Text only changes when it differs, so live
// regions speak once per change and not on every redraw.

import {
  COUNTERPART,
  DEVICE_GROUPS,
  VOLUME_ROLES,
  callActions,
  deviceChoices,
  dockingOffered,
  dtmfTarget,
  partyDetail,
  partyOf,
  ringingCalls,
  sortedCalls,
  ssoControls,
  videoOffered,
} from "./state.js";
import {
  authWords,
  callStateWords,
  connectionWords,
  failureWords,
  lifecycleWords,
  videoDirectionWords,
  windowWords,
} from "./words.js";

const $ = (id) => document.getElementById(id);

export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

function hostWords(state) {
  switch (state.host) {
    case "connecting":
      return "Connecting to the softphone host…";
    case "connected":
      return "Connected to the softphone host.";
    case "broken":
      return `Connection lost: ${state.hostWhy}.`;
    default:
      return `Not available: ${state.hostWhy}.`;
  }
}

function promptWords(prompt) {
  if (!prompt) return "";
  const errors = prompt.errors.length ? ` ${prompt.errors.join(" ")}.` : "";
  if (prompt.kind === "email") return `The phone asks for your address.${errors}`;
  return `The phone asks for your password.${errors}`;
}

function signInWords(state) {
  const words = lifecycleWords(state.lifecycle);
  if (state.authResult === "InvalidCredentials") return `${words} (the password was refused)`;
  return words;
}

export function renderAccount(state) {
  setText($("host-status"), hostWords(state));
  setText($("auth-state"), authWords(state.auth));
  // Asking again helps only when nobody decided yet; a refusal stands.
  $("authorize-button").hidden = state.auth !== "MustShowAuth" && state.auth !== "UserAuthPending";

  setText($("signin-prompt"), promptWords(state.prompt));
  setText($("signin-state"), signInWords(state));
  setText($("connection-status"), connectionWords(state.connection));
  setText($("connection-failure"), state.connection === "Connected" ? "" : failureWords(state.failure));
  setText($("signin-device"), state.device || "None");
  setText($("signin-line"), state.line || "None");

  const signedIn = state.lifecycle === "SignedIn" && !state.prompt;
  $("signin-button").disabled = signedIn;
  const active = signedIn || state.lifecycle === "SigningIn" || state.connection === "Connecting" ||
    state.connection === "Connected";
  $("logout-button").disabled = !active;
  $("forget-button").disabled = false;

  const sso = ssoControls(state);
  setText($("sso-state"), sso.words);
  $("sso-continue").hidden = !sso.continueShown;
  $("sso-cancel").hidden = !sso.cancelShown;
  $("sso-expiry").hidden = !sso.expiryShown;
}

export function renderDialPad(state) {
  const target = dtmfTarget(state.calls);
  const label = target
    ? `Dial pad: sends tones to call ${target.callId} (${partyOf(target)})`
    : "Dial pad: types into the number field";
  setText($("dialpad-label"), label);
  $("dialpad").dataset.mode = target ? "dtmf" : "dial";
  const tones = state.tones;
  const shown = target && tones.callId === target.callId && tones.digits
    ? `Tones sent to call ${tones.callId}: ${tones.digits}`
    : "";
  setText($("dtmf-sent"), shown);
}

function noticeWords(state) {
  const ringing = ringingCalls(state.calls);
  if (ringing.length === 0) return "";
  return ringing
    .map((call) => `Incoming call ${call.callId} from ${partyDetail(call)}.`)
    .join(" ");
}

// Visible label first, so speech input can use what is seen.
function actionName(entry, call) {
  return `${entry.label}: call ${call.callId} with ${partyOf(call)}`;
}

function flagWords(call) {
  const flags = [];
  if (call.callType) flags.push(call.callType === "Incoming" ? "incoming" : "outgoing");
  if (call.audioMuted === true || call.audioMuted === "true") flags.push("muted");
  if (call.isConference === true || call.isConference === "true") flags.push("in conference");
  if (call.videoDirection && call.videoDirection !== "Inactive") flags.push(videoDirectionWords(call.videoDirection));
  return flags.join(", ");
}

// One row per call, kept by id so a redraw never drops the typed transfer
// number or the focus of a keyboard user.
function rowFor(list, call) {
  let row = list.querySelector(`li[data-call-id="${call.callId}"]`);
  if (row) return row;
  row = document.createElement("li");
  row.className = "call";
  row.dataset.callId = String(call.callId);
  row.tabIndex = -1;
  row.innerHTML = `
    <div class="call-head">
      <span class="call-party" data-field="party"></span>
      <span class="call-number" data-field="number"></span>
    </div>
    <div class="call-meta">
      <span class="call-state" data-field="state"></span>
      <span class="call-flags" data-field="flags"></span>
    </div>
    <div class="call-transfer" data-field="transfer" hidden>
      <label></label>
      <input type="text" data-field="transfer-number" autocomplete="off" spellcheck="false">
    </div>
    <div class="call-actions" data-field="actions"></div>`;
  const input = row.querySelector('[data-field="transfer-number"]');
  input.id = `transfer-number-${call.callId}`;
  row.querySelector(".call-transfer label").htmlFor = input.id;
  list.appendChild(row);
  return row;
}

function fillRow(row, call, calls, videoWindow) {
  const party = partyOf(call);
  const participant = (Array.isArray(call.participants) && call.participants[0]) || {};
  setText(row.querySelector('[data-field="party"]'), `Call ${call.callId}: ${party}`);
  setText(row.querySelector('[data-field="number"]'), participant.uri || participant.number || "");
  setText(row.querySelector('[data-field="state"]'), callStateWords(call.callState));
  setText(row.querySelector('[data-field="flags"]'), flagWords(call));
  row.dataset.callState = call.callState || "";
  row.setAttribute("aria-label", `Call ${call.callId} with ${party}, ${callStateWords(call.callState)}`);

  const actions = callActions(call, calls, videoWindow);
  const transfer = row.querySelector('[data-field="transfer"]');
  transfer.hidden = !actions.some((entry) => entry.action === "transfer");
  setText(transfer.querySelector("label"), `Transfer call ${call.callId} to`);

  const box = row.querySelector('[data-field="actions"]');
  const focused = box.contains(document.activeElement) ? document.activeElement : null;
  const wanted = focused ? focused.dataset.action : "";
  const wantedJoin = focused ? focused.dataset.joinCallId : "";
  const key = party + "|" + actions.map((entry) => `${entry.action}:${entry.joinCallId || ""}`).join(",");
  if (box.dataset.key === key) return;
  box.dataset.key = key;
  box.replaceChildren(
    ...actions.map((entry) => {
      const button = document.createElement("button");
      button.type = "button";
      button.dataset.action = entry.action;
      button.dataset.testid = `call-${call.callId}-${entry.action}${entry.joinCallId ? `-${entry.joinCallId}` : ""}`;
      if (entry.joinCallId) button.dataset.joinCallId = String(entry.joinCallId);
      button.textContent = entry.label;
      button.setAttribute("aria-label", actionName(entry, call));
      if (entry.action === "answer") button.className = "primary";
      if (entry.action === "end") button.className = "danger";
      return button;
    }),
  );
  if (focused) {
    const same = wantedJoin
      ? box.querySelector(`[data-action="join"][data-join-call-id="${wantedJoin}"]`)
      : box.querySelector(`[data-action="${wanted}"]`);
    const next = same || box.querySelector(`[data-action="${COUNTERPART[wanted]}"]`) ||
      box.querySelector("button") || row;
    next.focus();
  }
}

export function renderCalls(state) {
  const list = $("call-list");
  const calls = sortedCalls(state.calls);
  const ids = new Set(calls.map((call) => String(call.callId)));
  let lostFocus = false;
  for (const row of [...list.children]) {
    if (!ids.has(row.dataset.callId)) {
      lostFocus = lostFocus || row.contains(document.activeElement);
      row.remove();
    }
  }
  // The window's state, for the video buttons, only when the host offers video.
  const videoWindow = videoOffered(state) ? state.window || { showing: false, callId: -1 } : null;
  for (const call of calls) fillRow(rowFor(list, call), call, state.calls, videoWindow);
  // New rows go to the end; ids grow, so only a list refilled from the host
  // can be out of order, and only then are rows moved (moving drops focus).
  const order = calls.map((call) => String(call.callId)).join(",");
  if ([...list.children].map((row) => row.dataset.callId).join(",") !== order) {
    for (const call of calls) list.appendChild(list.querySelector(`li[data-call-id="${call.callId}"]`));
  }
  $("calls-empty").hidden = calls.length > 0;
  setText($("incoming-notice"), noticeWords(state));
  if (lostFocus) $("calls-heading").focus();
}

function devicesWords(state) {
  if (state.host !== "connected") return "Available once the softphone host answers.";
  if (state.auth !== "UserAuthorized") return "Available once this site is allowed.";
  if (state.devices === null) return "Reading the devices…";
  return "";
}

export function renderDevices(state) {
  setText($("devices-state"), devicesWords(state));
  for (const role of Object.keys(DEVICE_GROUPS)) {
    const select = $(`device-${role}`);
    const { options, value } = deviceChoices(state, role);
    // Rebuilt only when the list changes, so an open picker stays open.
    const key = JSON.stringify(options);
    if (select.dataset.key !== key) {
      select.dataset.key = key;
      select.replaceChildren(...options.map((entry) => new Option(entry.label, entry.value)));
    }
    if (select.value !== value) select.value = value;
    select.disabled = state.devices === null;
  }
  for (const role of VOLUME_ROLES) {
    const slider = $(`volume-${role}`);
    const volume = state.volumes[role];
    slider.disabled = volume === null;
    if (volume !== null && slider.value !== String(volume)) slider.value = String(volume);
    setText($(`volume-${role}-value`), volume === null ? "" : `${volume}%`);
  }
}

function videoWords(state) {
  if (state.host !== "connected") return "Available once the softphone host answers.";
  if (state.auth !== "UserAuthorized") return "Available once this site is allowed.";
  if (state.capabilities === null) return "Asking the softphone what it offers…";
  if (!videoOffered(state)) return "This softphone does not offer video.";
  const party = (callId) => (state.calls.has(callId) ? partyOf(state.calls.get(callId)) : "the other party");
  return windowWords(state.window, party);
}

// A checkbox shows what the host says, or the value being sent to it.
function showCheck(state, id, key) {
  const box = $(id);
  const asked = state.windowAsked[key];
  const checked = asked !== undefined ? asked : Boolean(state.window && state.window[key]);
  if (box.checked !== checked) box.checked = checked;
  box.disabled = state.window === null;
}

export function renderVideo(state) {
  setText($("video-state"), videoWords(state));
  const offered = videoOffered(state);
  $("video-direction-row").hidden = !offered;
  $("video-controls").hidden = !offered;
  showCheck(state, "video-selfview", "selfViewPip");
  showCheck(state, "video-ontop", "alwaysOnTop");
  const hide = $("video-hide");
  const showing = Boolean(state.window && state.window.showing);
  // A button that goes away under the keyboard's focus hands it to the heading.
  if (!showing && document.activeElement === hide) $("video-heading").focus();
  hide.disabled = !showing;

  $("dock").hidden = !dockingOffered(state);
  const docked = Boolean(state.window && state.window.docking);
  const dock = $("dock-button");
  setText(dock, docked ? "Undock" : "Dock here");
  dock.dataset.action = docked ? "undock" : "dock";
  dock.disabled = state.window === null;
  $("dock-target").dataset.docked = String(docked);
  setText($("dock-target-words"), docked ? "The video window is docked here." : "The video window docks here.");
}

export function render(state) {
  renderAccount(state);
  renderDialPad(state);
  renderCalls(state);
  renderDevices(state);
  renderVideo(state);
}

// Messages for the user: one line of news, one line for the last error.
export function showStatus(text) {
  setText($("status-message"), text);
}

export function showError(text) {
  setText($("error-message"), text);
}

export function announceCall(text) {
  // The same words twice (two calls to the same party) must still be heard.
  const element = $("call-announcer");
  element.textContent = "";
  requestAnimationFrame(() => {
    element.textContent = text;
  });
}
