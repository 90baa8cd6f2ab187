#!/usr/bin/env bash
# Installs the Debian package in a brand-new minimal Debian 12 root and runs the inspector there
# against the installed simulator, as a new user's machine would. Slow (apt installs a Java
# runtime into the root) and needs root and a package source: not part of scripts/test.sh.
#
#   scripts/test-deb.sh [DEB]     (default: builds build/dvhiscsi_*.deb with cpack first)
#
# The minimal root is made once with debootstrap and kept in $FRESH_CACHE/base (default
# /var/tmp/fresh-debian, the same cache as ../shared/tools/fresh-debian-run); every run starts
# from a fresh copy of it, which is removed afterwards (DVH_DEB_KEEP=1 keeps it).
set -euo pipefail
cd "$(dirname "$0")/.."
[ "$(id -u)" = 0 ] || { echo "test-deb: needs root (chroot and bind mounts)" >&2; exit 2; }

build=${DVH_BUILD_DIR:-build}
deb=${1:-}
if [ -z "$deb" ]; then
  (cd "$build" && cpack -G DEB >/dev/null)
  deb=$(ls -t "$build"/dvhiscsi_*.deb | head -1)
fi
[ -f "$deb" ] || { echo "test-deb: no package $deb" >&2; exit 2; }

cache=${FRESH_CACHE:-/var/tmp/fresh-debian}
base=$cache/base
if [ ! -f "$base/.ok" ]; then
  command -v debootstrap >/dev/null || { apt-get update -qq; apt-get install -y -qq debootstrap; }
  mirror=$(grep -hE '^URIs:' /etc/apt/sources.list.d/*.sources 2>/dev/null | awk '{print $2}' | grep -v security | head -1 || true)
  [ -n "$mirror" ] || mirror=$(grep -hE '^deb ' /etc/apt/sources.list 2>/dev/null | awk '{print $2}' | head -1 || true)
  mkdir -p "$cache"
  rm -rf "$base"
  echo "test-deb: making the minimal Debian 12 root (once; a few minutes)"
  debootstrap --variant=minbase bookworm "$base" ${mirror:+"$mirror"} >"$cache/debootstrap.log" 2>&1 \
    || { echo "test-deb: debootstrap failed, see $cache/debootstrap.log" >&2; exit 2; }
  cp /etc/apt/sources.list.d/*.sources "$base/etc/apt/sources.list.d/" 2>/dev/null || true
  touch "$base/.ok"
fi

root=$(mktemp -d "$cache/deb-root-XXXXXX")
cleanup() {
  for m in dev sys proc; do umount -l "$root/$m" 2>/dev/null || true; done
  [ "${DVH_DEB_KEEP:-0}" = 1 ] && echo "test-deb: root kept in $root" || rm -rf "$root"
}
trap cleanup EXIT
cp -a "$base/." "$root/"
cp "$deb" "$root/tmp/"
cp tests/deb/in-root.sh "$root/tmp/in-root.sh"
cp /etc/resolv.conf "$root/etc/resolv.conf" 2>/dev/null || true
for m in proc sys dev; do mount --bind "/$m" "$root/$m"; done

start=$SECONDS
chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root \
  bash /tmp/in-root.sh "/tmp/$(basename "$deb")"
echo "test-deb: passed in $((SECONDS - start)) s on a new Debian 12 root ($(basename "$deb"))"
