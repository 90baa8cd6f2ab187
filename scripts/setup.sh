#!/usr/bin/env bash
# Installs the Debian packages the build needs (only those missing), then
# configures and builds into build/ (or the folder given as $DVH_BUILD_DIR).
#   scripts/setup.sh          64-bit build: library, simulator, Java, tests
#   scripts/setup.sh --m32    also the packages for the 32-bit native build
set -euo pipefail
cd "$(dirname "$0")/.."

want_m32=0
[ "${1:-}" = "--m32" ] && want_m32=1

packages=(cmake make g++ openjdk-17-jdk-headless junit5 nlohmann-json3-dev libpicocli-java
          libjackson2-databind-java googletest libgtest-dev libcrypt-dev util-linux)
if [ "$want_m32" = 1 ]; then
  packages+=(g++-multilib libcrypt-dev:i386)
fi

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

missing=()
for p in "${packages[@]}"; do
  # A package of several architectures answers one line per architecture.
  dpkg-query -W -f='${Status}\n' "$p" 2>/dev/null | grep -qx "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  if [ "$want_m32" = 1 ] && ! dpkg --print-foreign-architectures | grep -qx i386; then
    as_root dpkg --add-architecture i386
  fi
  # A mirror that is mid-sync may fail one index; the install says whether
  # what we need is there.
  as_root apt-get update -qq || true
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

if [ -z "${JAVA_HOME:-}" ] && command -v javac >/dev/null; then
  JAVA_HOME=$(dirname "$(dirname "$(readlink -f "$(command -v javac)")")")
  export JAVA_HOME
fi

build=${DVH_BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j "$(nproc)"
