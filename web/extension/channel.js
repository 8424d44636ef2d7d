// What the worker needs to know of the native channel, kept apart from the
// browser's APIs so that it can be checked on its own.

// The name the host is registered under (pelahost --install writes it).
export const HOST_NAME = "com.norva.pelahost";

// The browser takes at most 64 MiB per message to a native host.
export const MAX_TO_HOST_BYTES = 64 * 1024 * 1024;

// The browser's words when a native port closes, and what they mean.
const CAUSES = [
  ["Specified native messaging host not found.", "HostNotFound"],
  ["Access to the specified native messaging host is forbidden.", "HostForbidden"],
  ["Native host has exited.", "HostExited"],
  ["Error when communicating with the native messaging host.", "HostProtocolError"],
];

export function causeOf(text) {
  const message = typeof text === "string" && text !== "" ? text : "The connection to the host closed.";
  for (const [words, cause] of CAUSES) {
    if (message === words) return { cause, message };
  }
  return { cause: "HostDisconnected", message };
}

// The pause before the next attempt after `failures` breaks in a row with no
// answer from the host: none after a host that had worked, then 0.25 s,
// doubling up to 8 s.
export function backoffMs(failures) {
  if (failures <= 0) return 0;
  return Math.min(250 * 2 ** (failures - 1), 8000);
}

export function utf8Length(text) {
  return new TextEncoder().encode(text).length;
}
