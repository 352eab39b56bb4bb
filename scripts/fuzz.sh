#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for the given number of seconds
# (default 60) on its seed corpus. Usage: scripts/fuzz.sh [SECONDS] [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"; shift || true
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  mapfile -t targets < <(find build-fuzz/fuzz -maxdepth 1 -type f -name 'fuzz_*' -perm -u+x -printf '%f\n' | sort)
fi
for t in "${targets[@]}"; do
  corpus="fuzz/corpus/${t#fuzz_}"
  work="build-fuzz/corpus/${t#fuzz_}"
  mkdir -p "$work"
  [ -d "$corpus" ] && cp -n "$corpus"/* "$work"/ 2>/dev/null || true
  echo "-- $t for ${seconds}s"
  "build-fuzz/fuzz/$t" -max_total_time="$seconds" -print_final_stats=1 "$work" 2>&1 \
    | grep -E '^(stat::number_of_executed_units|stat::new_units_added|==[0-9]+==|SUMMARY)' || true
  # libFuzzer exits non-zero on a finding; PIPESTATUS keeps that.
  [ "${PIPESTATUS[0]}" -eq 0 ] || { echo "$t found a failing input"; exit 1; }
done
