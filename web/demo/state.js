// What the page knows of the host, the account and the calls, and the rules
// that derive what the user may do from it. No DOM here: view.js draws it.

export function createState() {
  return {
    host: "connecting", // "connecting" | "connected" | "broken" | "unavailable"
    hostWhy: "", // words for a broken or unavailable host
    auth: "", // the authorization status name, "" until asked
    connection: "", // "Disconnected" | "Connecting" | "Connected", "" until known
    failure: "", // the last "connectionfailure" reason, cleared once registered
    lifecycle: "", // "SigningIn" | "SignedIn" | "SignedOut", "" until known
    authResult: "", // "InvalidCredentials" after refused credentials
    prompt: null, // the sign-in prompt waiting for an answer: {kind, id, errors}
    device: "", // the device name, "softphone:user@domain"
    line: "", // the line, "alice (alice@example.com)"
    calls: new Map(), // callId -> call object of the host, only calls not ended
    tones: { callId: 0, digits: "" }, // tones sent to the current call
    devices: null, // the library's device list ({ microphones, speakers, ... }) once read
    volumes: { speaker: null, microphone: null, ringer: null }, // 0..100 once read
    choosing: {}, // role -> the device id the user picked, while the host is asked
    capabilities: null, // what the host offers ("init"): { video, externalWindowDocking, ... }
    window: null, // the external video window as the host last told it (windowState)
    windowAsked: {}, // "selfViewPip" / "alwaysOnTop" -> the value being sent
    // Sign-in through a provider: the popup's phase (the library's SsoWindow:
    // "idle", "waiting", "blocked", "open"), whether the host lets the user
    // cancel, whether it asks to sign in again, the provider session's state.
    sso: { phase: "idle", canCancel: false, expiryPrompt: false, session: "" },
  };
}

// Takes one host event into the sign-on state; false when it is not one of them.
export function applySsoEvent(state, name, content) {
  const sso = state.sso;
  switch (name) {
    case "cancancelsinglesignonchanged":
      sso.canCancel = isTrue(content && content.cancancel);
      return true;
    case "ssosessionexpirypromptrequired":
      sso.expiryPrompt = true;
      return true;
    case "lifecyclessosessionchanged":
      sso.session = typeof content === "string" ? content : "";
      return true;
    case "loggedin":
      sso.expiryPrompt = false;
      sso.canCancel = false;
      return true;
    case "lifecyclestatechanged":
      if (content === "SignedOut" || content === "SignedIn") {
        sso.expiryPrompt = false;
        sso.canCancel = false;
      }
      return true;
    default:
      return false;
  }
}

const SSO_WORDS = {
  waiting: "Asking your provider…",
  blocked: "Your provider's sign-in window was blocked: continue with your provider.",
  open: "Sign in in the provider's window.",
};

// What the account panel offers for a sign-in through a provider.
export function ssoControls(state) {
  const sso = state.sso;
  return {
    continueShown: sso.phase === "blocked",
    cancelShown: sso.canCancel,
    expiryShown: sso.expiryPrompt,
    words: SSO_WORDS[sso.phase] || "",
  };
}

export const isTrue = (value) => value === true || value === "true";

// The video the host offers this page: nothing until it said so in "init".
export function videoOffered(state) {
  return state.host === "connected" && state.auth === "UserAuthorized" &&
    state.capabilities !== null && isTrue(state.capabilities.video);
}

export function dockingOffered(state) {
  return videoOffered(state) && isTrue(state.capabilities.externalWindowDocking);
}

// An "externalwindowevent" with its flags as booleans, whichever way the host
// wrote them.
export function windowState(content) {
  const c = content && typeof content === "object" ? content : {};
  return {
    callId: Number(c.callId) || -1,
    showing: isTrue(c.showing),
    docking: isTrue(c.docking),
    preview: isTrue(c.preview),
    selfViewPip: isTrue(c.selfViewPip),
    alwaysOnTop: isTrue(c.alwaysOnTop),
    title: typeof c.title === "string" ? c.title : "",
  };
}

// Where the dock target is, in device pixels, for "dockExternalWindow"
// (`area`) and "dockUpdate" (`area` and `page`). `rect` is the target's
// getBoundingClientRect(), `view` the viewport: its size (innerWidth,
// innerHeight) and the part not under scroll bars (visibleWidth,
// visibleHeight). The crop is the part of the target inside that visible
// part, relative to the target; none of it visible is a crop of 0 by 0.
// Edges are rounded, not sizes, so the crop never sticks out of the target.
export function dockGeometry(rect, view, dpr = 1) {
  const px = (value) => Math.round(value * dpr);
  const left = px(rect.left);
  const top = px(rect.top);
  const right = Math.max(left, px(rect.right));
  const bottom = Math.max(top, px(rect.bottom));
  const clamp = (value, low, high) => Math.min(Math.max(value, low), high);
  const seenLeft = clamp(0, left, right);
  const seenTop = clamp(0, top, bottom);
  const seenRight = clamp(px(view.visibleWidth), left, right);
  const seenBottom = clamp(px(view.visibleHeight), top, bottom);
  const seen = seenRight > seenLeft && seenBottom > seenTop;
  return {
    area: {
      offsetX: left,
      offsetY: top,
      width: right - left,
      height: bottom - top,
      cropOffsetX: seenLeft - left,
      cropOffsetY: seenTop - top,
      cropWidth: seen ? seenRight - seenLeft : 0,
      cropHeight: seen ? seenBottom - seenTop : 0,
    },
    page: { pageWidth: px(view.width), pageHeight: px(view.height) },
  };
}

// The device roles, each with its group in the library's device list.
export const DEVICE_GROUPS = {
  microphone: "microphones",
  speaker: "speakers",
  ringer: "ringers",
  camera: "cameras",
};
export const VOLUME_ROLES = ["speaker", "microphone", "ringer"];

// The entries of a role's picker, "System default" ("") first, and the one to
// show: the pick being sent, else the device the host uses for the role. The
// host marks the device the default stands for, so "System default" shows only
// when it marks none.
export function deviceChoices(state, role) {
  const list = (state.devices && state.devices[DEVICE_GROUPS[role]]) || [];
  const options = [{ value: "", label: "System default" }, ...list.map((d) => ({ value: d.id, label: d.name }))];
  const selected = list.find((d) => d.selected);
  const value = Object.hasOwn(state.choosing, role) ? state.choosing[role] : selected ? selected.id : "";
  return { options, value };
}

// A capability counts only when the call object says true.
export function can(call, capability) {
  const caps = (call && call.capabilities) || {};
  return caps[capability] === true || caps[capability] === "true";
}

export function isEnded(call) {
  return call.callState === "Idle" || call.numericState === 0 || call.exists === false;
}

// Takes a call object from "callstatechange" or "getCalls"; an ended call
// leaves the list. Returns the previous object (undefined for a new call).
export function applyCall(calls, call) {
  if (!call || call.callId === undefined || call.callId === null) return undefined;
  const id = Number(call.callId);
  const before = calls.get(id);
  if (isEnded(call)) {
    calls.delete(id);
  } else {
    calls.set(id, { ...call, callId: id });
  }
  return before;
}

// The host's own list replaces ours (after a reconnect or a transfer step).
export function replaceCalls(calls, list) {
  calls.clear();
  for (const call of Array.isArray(list) ? list : []) applyCall(calls, call);
}

export function sortedCalls(calls) {
  return [...calls.values()].sort((a, b) => a.callId - b.callId);
}

export function partyOf(call) {
  const list = Array.isArray(call.participants) ? call.participants : [];
  const first = list[0] || {};
  return first.name || first.number || first.uri || "unknown party";
}

// "bob (sip:bob@sip.test)", or just one of them when that is all there is.
export function partyDetail(call) {
  const list = Array.isArray(call.participants) ? call.participants : [];
  const first = list[0] || {};
  const who = first.name || first.number || "";
  const where = first.uri || "";
  if (who && where) return `${who} (${where})`;
  return who || where || "unknown party";
}

// Calls ringing here, which the incoming-call notice announces.
export function ringingCalls(calls) {
  return sortedCalls(calls).filter((call) => can(call, "canAnswer"));
}

// The call the dial pad sends tones to: one that offers DTMF, the talking one
// first when several do (one may be held by the far end).
export function dtmfTarget(calls) {
  const offering = sortedCalls(calls).filter((call) => can(call, "canSendDTMF"));
  if (offering.length === 0) return null;
  return offering.find((call) => call.callState === "Connected") || offering[offering.length - 1];
}

export const TONE_KEYS = "0123456789*#";

export function isToneKey(key) {
  return key.length === 1 && TONE_KEYS.includes(key);
}

// One entry per line or comma; blanks dropped.
export function parseServers(text) {
  return text
    .split(/[\n,]/)
    .map((entry) => entry.trim())
    .filter((entry) => entry !== "");
}

// The user part of "alice@example.com" (or of "sip:alice@example.com").
export function userPart(address) {
  const bare = address.trim().replace(/^sips?:/i, "");
  const at = bare.indexOf("@");
  return at < 0 ? bare : bare.slice(0, at);
}

// The states in which a call has video to show.
const VIDEO_STATES = new Set(["Connected", "Hold", "RemHold"]);

// The buttons a call offers, in a fixed order, each straight from one
// capability of the call object. Transfer takes a number from its own field;
// join names the other call, so there is one join per other joinable call.
// `videoWindow` is the external window's state when the host offers video:
// the call can be shown in it, or hidden when it is the one shown.
export function callActions(call, calls, videoWindow = null) {
  const actions = [];
  const add = (capability, action, label, extra = {}) => {
    if (can(call, capability)) actions.push({ action, label, ...extra });
  };
  add("canAnswer", "answer", "Answer");
  add("canImmediateDivert", "divert", "Divert");
  add("canEndCall", "end", can(call, "canAnswer") ? "Decline" : "End");
  add("canHold", "hold", "Hold");
  add("canResume", "resume", "Resume");
  add("canMuteAudio", "mute", "Mute");
  add("canUnmuteAudio", "unmute", "Unmute");
  if (videoWindow && VIDEO_STATES.has(call.callState)) {
    if (videoWindow.showing && videoWindow.callId === call.callId) {
      actions.push({ action: "hide-video", label: "Hide video" });
    } else {
      actions.push({ action: "show-video", label: "Show video" });
    }
  }
  add("canTransfer", "transfer", "Transfer");
  add("canCompleteTransfer", "complete-transfer", "Complete transfer");
  add("canCancelTransfer", "cancel-transfer", "Cancel transfer");
  if (can(call, "canJoin")) {
    for (const other of sortedCalls(calls)) {
      if (other.callId !== call.callId && can(other, "canJoin")) {
        actions.push({
          action: "join",
          label: `Join with call ${other.callId}`,
          joinCallId: other.callId,
        });
      }
    }
  }
  return actions;
}

// The host command and content for one action on a call; `number` is the
// transfer target, `joinCallId` the other call of a join, `videoDirection`
// the video to answer with ("" leaves it to the host).
export function actionRequest(action, callId, { number = "", joinCallId = 0, videoDirection = "" } = {}) {
  switch (action) {
    case "answer":
      return ["answer", videoDirection ? { callId, videoDirection } : { callId }];
    case "divert":
      return ["iDivert", { callId }];
    case "end":
      return ["endCall", { callId }];
    case "hold":
      return ["hold", { callId }];
    case "resume":
      return ["resume", { callId }];
    case "mute":
      return ["mute", { callId, muteAudio: true }];
    case "unmute":
      return ["unmute", { callId, unmuteAudio: true }];
    case "transfer":
      return ["transferCall", { callId, transferToNumber: number }];
    case "complete-transfer":
      return ["completeTransfer", { callId }];
    case "cancel-transfer":
      return ["cancelTransfer", { callId }];
    case "join":
      return ["joinCalls", { callId, joinCallId }];
    case "show-video":
      return ["showCallInExternalWindow", { callId }];
    case "hide-video":
      return ["hideExternalWindow", undefined];
    default:
      return null;
  }
}

// After a button is replaced (hold becomes resume), focus goes to its
// counterpart so a keyboard user stays where they were.
export const COUNTERPART = {
  hold: "resume",
  resume: "hold",
  mute: "unmute",
  unmute: "mute",
  transfer: "cancel-transfer",
  "complete-transfer": "end",
  "cancel-transfer": "transfer",
  "show-video": "hide-video",
  "hide-video": "show-video",
};
