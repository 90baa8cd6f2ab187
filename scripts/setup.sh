#!/usr/bin/env bash
# Installs the Debian packages the build needs (only those missing), then
# configures and builds into build/ (or the folder given as $DVH_BUILD_DIR).
#   scripts/setup.sh          64-bit build: library, simulator, Java, tests
#   scripts/setup.sh --m32    also the 32-bit x86 native build (-m32) in build-m32/ (or
#                             $DVH_BUILD_M32_DIR); its test programs run natively or under
#                             qemu-i386 (DVH_I386_RUNNER=qemu forces qemu)
set -euo pipefail
cd "$(dirname "$0")/.."

want_m32=0
[ "${1:-}" = "--m32" ] && want_m32=1

packages=(cmake make g++ openjdk-17-jdk-headless junit5 nlohmann-json3-dev libpicocli-java
          libjackson2-databind-java googletest libgtest-dev libcrypt-dev util-linux sg3-utils)
if [ "$want_m32" = 1 ]; then
  packages+=(g++-multilib libcrypt-dev:i386)
fi

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

installed() {
  # A package of several architectures answers one line per architecture.
  dpkg-query -W -f='${Status}\n' "$1" 2>/dev/null | grep -qx "install ok installed"
}

index_fresh=0
# install_missing PACKAGE...: installs those not installed yet. A failed index refresh (a
# mirror in mid-sync) is retried once; a package that still cannot be installed stops
# setup with its name.
install_missing() {
  local missing=() p
  for p in "$@"; do installed "$p" || missing+=("$p"); done
  [ "${#missing[@]}" -gt 0 ] || return 0
  echo "Installing: ${missing[*]}"
  if [[ " ${missing[*]}" == *:i386* ]] && ! dpkg --print-foreign-architectures | grep -qx i386; then
    as_root dpkg --add-architecture i386
    index_fresh=0
  fi
  if [ "$index_fresh" = 0 ]; then
    if ! as_root apt-get update -qq; then
      echo "setup: refreshing the package index failed; trying once more" >&2
      sleep 5
      as_root apt-get update -qq || echo "setup: the package index is still incomplete; installing from what there is" >&2
    fi
    index_fresh=1
  fi
  local apt_install=(env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends)
  if ! as_root "${apt_install[@]}" "${missing[@]}"; then
    # One at a time, to name the ones that cannot be installed.
    for p in "${missing[@]}"; do installed "$p" || as_root "${apt_install[@]}" "$p" || true; done
  fi
  local failed=()
  for p in "${missing[@]}"; do installed "$p" || failed+=("$p"); done
  if [ "${#failed[@]}" -gt 0 ]; then
    echo "setup: cannot install ${failed[*]} (see apt-get's messages above)" >&2
    exit 1
  fi
}

install_missing "${packages[@]}"

# The 32-bit suites run natively where the kernel runs i386 programs, under qemu-i386
# (qemu-user) elsewhere.
if [ "$want_m32" = 1 ]; then
  probe=$(mktemp -d)
  trap 'rm -rf "$probe"' EXIT
  echo 'int main(void) { return 0; }' >"$probe/p.c"
  gcc -m32 -o "$probe/p" "$probe/p.c"
  if [ "${DVH_I386_RUNNER:-auto}" = qemu ] || ! "$probe/p" 2>/dev/null; then
    install_missing qemu-user
  fi
fi

if [ -z "${JAVA_HOME:-}" ] && command -v javac >/dev/null; then
  JAVA_HOME=$(dirname "$(dirname "$(readlink -f "$(command -v javac)")")")
  export JAVA_HOME
fi

build=${DVH_BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j "$(nproc)"

if [ "$want_m32" = 1 ]; then
  # Native parts only; the Java jars of the 64-bit build serve the 32-bit JVM as they are.
  build_m32=${DVH_BUILD_M32_DIR:-build-m32}
  cmake -S . -B "$build_m32" -DDVH_BUILD_JAVA=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_C_FLAGS=-m32 -DCMAKE_CXX_FLAGS=-m32 -DDVH_I386_RUNNER="${DVH_I386_RUNNER:-auto}" \
        | grep -E '^-- 32-bit test programs' || true
  cmake --build "$build_m32" -j "$(nproc)"
fi
