#!/usr/bin/env bash
# Context switches per second of an idle host, all threads together, before
# any page has asked for anything (the framework not started): the host runs
# with a private home and no display, its input held open and silent.
# Usage: bench/idle_wakeups.sh [host binary, default build/bin/pelahost] [seconds, default 5]
set -euo pipefail
bin=${1:-build/bin/pelahost}
seconds=${2:-5}
dir=$(mktemp -d)
trap 'kill "${pid:-}" "${keeper:-}" 2>/dev/null || true; rm -rf "$dir"' EXIT
mkfifo "$dir/in"
(sleep $((seconds + 10)) > "$dir/in") &
keeper=$!
env -u DISPLAY -u WAYLAND_DISPLAY HOME="$dir" XDG_STATE_HOME="$dir/state" XDG_CONFIG_HOME="$dir/config" \
  XDG_RUNTIME_DIR="$dir" "$bin" chrome-extension://bench/ < "$dir/in" > /dev/null 2>&1 &
pid=$!
sleep 2
switches() { cat /proc/"$pid"/task/*/status 2>/dev/null | awk '/ctxt_switches/ { s += $2 } END { print s }'; }
before=$(switches)
sleep "$seconds"
after=$(switches)
echo "idle host: $(ls /proc/"$pid"/task | wc -l) threads, $(( (after - before) / seconds )) context switches/s"
