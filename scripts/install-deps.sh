#!/usr/bin/env bash
# The one list of Debian packages sigflow needs to build, test, benchmark and fuzz.
# Installs only what is missing; unattended; safe to run again.
set -euo pipefail

PACKAGES=(
  # build
  cmake ninja-build g++ ccache pkg-config
  # libraries
  libfftw3-dev nlohmann-json3-dev libsndfile1-dev libcli11-dev
  # tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev
  # fuzzing (libFuzzer) and sanitizers with clang
  clang-14 libclang-rt-14-dev
  # a decimal-comma locale, so tests prove text files ignore the process locale
  locales
  # Qt 6 module (gui/): widgets and a font for offscreen rendering
  qt6-base-dev fonts-dejavu-core
  # oracle data generation and benchmark peers (never needed by the library or its tests)
  python3-numpy python3-scipy python3-pywt libliquid-dev
)

if [ "$(id -u)" -ne 0 ]; then
  exec sudo -- "$0" "$@"
fi

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#PACKAGES[@]} packages present"
else
  echo "install-deps: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
  localedef -i de_DE -f UTF-8 de_DE.UTF-8
fi
