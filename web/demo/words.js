// Words for the user: every code, cause and state the host or the library
// reports is turned into a sentence here, so the view never shows a bare code.

const ERROR_WORDS = {
  eInvalidCallId: "that call does not exist any more",
  eCallNotFound: "that call was not found",
  eCreateCallFailed: "the phone could not place the call",
  eNoActiveDevice: "there is no active phone device; sign in first",
  eCallOperationFailed: "the phone refused the operation",
  eInvalidState: "that is not possible now (not signed in, or the call's state does not allow it)",
  eInvalidArgument: "the host refused the input (a malformed number, address or value)",
  eOperationNotSupported: "this phone does not support that",
  eCapabilityMissing: "the call does not offer that",
  eNotUserAuthorized: "this site is not allowed to use the softphone yet",
  eSyntaxError: "the host did not understand the request",
  eOperationFailed: "the operation failed",
  eLoryNotConfigured: "no server is configured",
  Timeout: "the host did not answer in time",
  RequestTooLarge: "the request is too large to send",
  Closed: "the page closed its connection to the softphone",
  BadReply: "the host gave an answer this page does not understand",
  InvalidArgument: "the page built a request the softphone library refused",
  ExtensionUnavailable:
    "the softphone browser extension does not answer on this page (is it installed and enabled?)",
};

// What went wrong with the way to the host, and what helps.
const CAUSE_WORDS = {
  HostNotFound:
    "the softphone host is not registered for this browser; run \"pelahost --install\", then \"pelahost --doctor\"",
  HostForbidden:
    "the softphone host does not allow this browser extension; run \"pelahost --install\" again",
  HostExited: "the softphone host stopped or crashed; your next action starts it again",
  HostProtocolError:
    "a message broke the connection to the softphone host; your next action reconnects",
  ExtensionRestarted: "the browser restarted the softphone extension; your next action reconnects",
};

export function causeWords(cause, message) {
  if (CAUSE_WORDS[cause]) return CAUSE_WORDS[cause];
  const said = message ? `: ${message}` : "";
  return `the connection to the softphone host was lost${said}; your next action reconnects`;
}

// Why a request failed, as a clause.
export function reasonWords(error) {
  const code = error && error.code;
  if (code === "HostUnavailable") return causeWords(error.cause, error.message);
  if (code && ERROR_WORDS[code]) return ERROR_WORDS[code];
  if (code) return `the host answered "${code}"`;
  return (error && error.message) || "an unknown error";
}

// A failed request as a sentence; `doing` says what the user asked for.
export function errorWords(error, doing) {
  return `Could not ${doing}: ${reasonWords(error)}.`;
}

// A refused device choice: the device has gone since the list was read, or
// cannot be used for that role.
export function deviceErrorWords(error, doing) {
  if (error && error.code === "eInvalidArgument") {
    return `Could not ${doing}: the softphone does not have that device any more, or it cannot be used for that.`;
  }
  return errorWords(error, doing);
}

const AUTH_WORDS = {
  UserAuthorized: "This site may use the softphone.",
  UserDenied: "You refused this site the use of the softphone.",
  UserAuthPending: "Waiting for your answer in the softphone's dialog.",
  MustShowAuth: "This site has not been allowed yet.",
};

export function authWords(status) {
  return AUTH_WORDS[status] || "Not asked yet.";
}

const CONNECTION_WORDS = {
  Disconnected: "Not registered",
  Connecting: "Registering…",
  Connected: "Registered",
};

export function connectionWords(status) {
  return CONNECTION_WORDS[status] || "Unknown";
}

// "ServerUnreachable (503)" -> words, keeping the SIP code.
export function failureWords(reason) {
  if (!reason) return "";
  const match = /^ServerUnreachable(?: \((\d+)\))?$/.exec(reason);
  if (match) {
    const code = match[1] ? ` (SIP ${match[1]})` : "";
    return `The server cannot be reached${code}; the phone keeps trying.`;
  }
  return `Connection failure: ${reason}.`;
}

const LIFECYCLE_WORDS = {
  SigningIn: "Signing in…",
  SignedIn: "Signed in",
  SignedOut: "Signed out",
};

export function lifecycleWords(state) {
  return LIFECYCLE_WORDS[state] || "Not signed in";
}

const CALL_STATE_WORDS = {
  Idle: "Ended",
  Dialing: "Dialling",
  Proceeding: "Calling",
  RingOut: "Ringing at the other end",
  RingIn: "Ringing here",
  Connected: "Connected",
  Hold: "On hold",
  RemHold: "Held by the other party",
  Reorder: "Failed",
};

export function callStateWords(state) {
  return CALL_STATE_WORDS[state] || state || "Unknown";
}

const VIDEO_DIRECTION_WORDS = {
  SendRecv: "video both ways",
  SendOnly: "sending video only",
  RecvOnly: "receiving video only",
  Inactive: "no video",
};

export function videoDirectionWords(direction) {
  return VIDEO_DIRECTION_WORDS[direction] || "";
}

// What the external video window shows now; `party` names a call.
export function windowWords(window, party) {
  if (!window) return "Asking the softphone about its video window…";
  const docked = window.docking ? ", docked in this page" : "";
  if (!window.showing) return window.docking ? "The video window is hidden; it is docked in this page." : "The video window is hidden.";
  if (window.preview) return `The video window shows your camera${docked}.`;
  if (window.callId > 0) return `The video window shows call ${window.callId} with ${party(window.callId)}${docked}.`;
  return `The video window is open${docked}.`;
}

// A refused video window command: the host has no window where it runs.
export function windowErrorWords(error, doing) {
  if (error && error.code === "eOperationFailed") {
    return `Could not ${doing}: the softphone cannot use its video window here (it needs an X11 desktop; its log says why).`;
  }
  return errorWords(error, doing);
}
