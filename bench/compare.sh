#!/usr/bin/env bash
# Runs sigflow_bench and the peer scripts in bench/peers/, then prints one table of
# sigflow-to-peer ratios (items per second of sigflow / items per second of the peer).
# Usage: bench/compare.sh [benchmark filter regex]
set -euo pipefail
cd "$(dirname "$0")/.."
filter="${1:-.}"
build="${SIGFLOW_BUILD_DIR:-build}"
out="$build/bench-results"
mkdir -p "$out"

if [ ! -x "$build/bench/sigflow_bench" ]; then
  cmake -S . -B "$build" -G Ninja -DSIGFLOW_BENCH=ON >/dev/null
  cmake --build "$build" --target sigflow_bench
fi
"$build/bench/sigflow_bench" --benchmark_filter="$filter" --benchmark_min_time=0.2 \
  --benchmark_format=json --benchmark_out="$out/sigflow.json" --benchmark_out_format=json >/dev/null

: > "$out/peers.jsonl"
for peer in bench/peers/[!_]*.py; do
  [ -e "$peer" ] || continue
  /usr/bin/python3 "$peer" --filter "$filter" >> "$out/peers.jsonl"
done

/usr/bin/python3 bench/ratios.py "$out/sigflow.json" "$out/peers.jsonl"
