#!/usr/bin/env bash
# The round trip of "getVersion" through the built host, through the echo host
# and through the echo host's three-thread relay, as cumulative distributions
# in one PNG (default docs/roundtrip-cdf.png).
# Needs a release build with benches (scripts/setup) and gnuplot, which it
# installs when missing. Usage: bench/roundtrip_cdf.sh [requests, default 5000] [png]
set -euo pipefail
cd "$(dirname "$0")/.."
requests=${1:-5000}
png=${2:-docs/roundtrip-cdf.png}
command -v gnuplot >/dev/null || apt-get install -y gnuplot-nox >/dev/null
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
build/bin/host_roundtrip "$requests" 1 "$dir" | tee "$dir/summary.txt"
for f in host echo relay; do
  sort -g "$dir/$f.txt" | awk -v n="$(wc -l < "$dir/$f.txt")" '{ print $1, NR / n }' > "$dir/$f.cdf"
done
gnuplot <<PLOT
set terminal pngcairo size 900,520 font "DejaVu Sans,11"
set output "$png"
set title "getVersion round trip through the pipes, $requests requests each ($(date -u +%Y-%m-%d))"
set xlabel "round trip (us, log scale)"
set ylabel "fraction of requests at or below"
set logscale x
set key bottom right
set grid
plot "$dir/host.cdf" using 1:2 with lines lw 2 title "host", \
     "$dir/echo.cdf" using 1:2 with lines lw 2 title "echo host (same framing, same driver)", \
     "$dir/relay.cdf" using 1:2 with lines lw 2 title "echo through three threads and two queues"
PLOT
echo "wrote $png"
