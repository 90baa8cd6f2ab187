#!/usr/bin/env bash
# Runs the whole JUnit suite (with -Xcheck:jni) in a real 32-bit JVM against the 32-bit
# library and simulator of build-m32/, with the Java jars of the 64-bit build in build/.
#
#   scripts/test-jvm32.sh             natively where the kernel runs i386 programs, under
#                                     qemu-i386 elsewhere (much slower)
#   scripts/test-jvm32.sh --if-native only where the kernel runs i386 programs; elsewhere
#                                     says in one line that it was not run (scripts/test.sh)
#
# The JVM lives in an i386 Debian 12 root made once with debootstrap and kept under
# $DVH_JVM32_CACHE (default /var/tmp/dvh-jvm32): the 32-bit headless JDK, JUnit and the
# inspector's libraries, unpacked without running any i386 program, so the same root serves
# both kinds of machine. Each run starts the JVM in that root, in a private mount namespace
# that shows it the source tree and both builds at their own paths. A root that cannot be
# made (no package source reachable) is reported in one line and the run is skipped; a
# failing test fails the command. Needs root (sudo otherwise).
set -euo pipefail
cd "$(dirname "$0")/.."

if_native=0
[ "${1:-}" = "--if-native" ] && if_native=1

if [ "$(id -u)" != 0 ]; then
  exec sudo --preserve-env=DVH_BUILD_DIR,DVH_BUILD_M32_DIR,DVH_JVM32_CACHE,DVH_I386_RUNNER "$0" "$@"
fi

src=$(pwd)
build=$(realpath -m "${DVH_BUILD_DIR:-build}")
build_m32=$(realpath -m "${DVH_BUILD_M32_DIR:-build-m32}")
cache=${DVH_JVM32_CACHE:-/var/tmp/dvh-jvm32}
root=$cache/root
jdk=/usr/lib/jvm/java-17-openjdk-i386
packages=openjdk-17-jdk-headless,junit5,libpicocli-java,libjackson2-databind-java

say() { echo "test-jvm32: $*"; }

probe_dir=$(mktemp -d)
trap 'rm -rf "$probe_dir"' EXIT

# Does the kernel run i386 programs? (needs the 32-bit compiler; setup.sh --m32 installs it)
runs_i386() {
  command -v gcc >/dev/null || return 1
  echo 'int main(void) { return 0; }' >"$probe_dir/p.c"
  gcc -m32 -o "$probe_dir/p" "$probe_dir/p.c" 2>/dev/null && "$probe_dir/p" 2>/dev/null
}
native=0
if [ "${DVH_I386_RUNNER:-auto}" != qemu ] && runs_i386; then native=1; fi
if [ "$native" = 0 ] && [ "$if_native" = 1 ]; then
  say "32-bit JVM suite not run: this kernel does not run i386 programs (scripts/test-jvm32.sh runs it under qemu-i386, slowly)"
  exit 0
fi

# The builds it needs (quick when up to date).
scripts/setup.sh --m32 >"$probe_dir/setup.log" 2>&1 || { cat "$probe_dir/setup.log" >&2; exit 1; }

apt_install() {
  apt-get update -qq >/dev/null 2>&1 || apt-get update -qq >/dev/null 2>&1 || true
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@" >/dev/null
}

# The i386 root, made once. debootstrap's first stage only downloads and unpacks, which any
# machine can do; the JDK, JUnit and their dependencies are then unpacked from the packages it
# fetched (no maintainer script needs to run for a JVM started by its full path).
make_root() {
  command -v debootstrap >/dev/null || apt_install debootstrap
  local mirror
  mirror=$(grep -hE '^URIs:' /etc/apt/sources.list.d/*.sources 2>/dev/null | awk '{print $2}' | grep -v security | head -1 || true)
  [ -n "$mirror" ] || mirror=$(grep -hE '^deb ' /etc/apt/sources.list 2>/dev/null | awk '{print $2}' | head -1 || true)
  mirror=${mirror:-http://deb.debian.org/debian}
  local tmp=$cache/root.new
  rm -rf "$tmp" && mkdir -p "$cache"
  say "making the i386 Debian 12 root in $root (once; a few minutes)"
  if ! debootstrap --arch=i386 --variant=minbase --foreign --include="$packages" \
         bookworm "$tmp" "$mirror" >"$cache/debootstrap.log" 2>&1; then
    rm -rf "$tmp"
    return 1
  fi
  local deb
  for deb in "$tmp"/var/cache/apt/archives/*.deb; do
    dpkg-deb --fsys-tarfile "$deb" | tar -x --keep-directory-symlink -C "$tmp"
  done
  rm -f "$tmp"/var/cache/apt/archives/*.deb
  [ -x "$tmp$jdk/bin/java" ] || { echo "no $jdk/bin/java in the unpacked root" >>"$cache/debootstrap.log"; return 1; }
  rm -rf "$root" && mv "$tmp" "$root"
  echo "$packages" >"$root/.dvh-ok"
}
if [ "$(cat "$root/.dvh-ok" 2>/dev/null)" != "$packages" ]; then
  if ! make_root; then
    say "32-bit JVM suite skipped: could not make the i386 root (no package source reachable?); see $cache/debootstrap.log"
    exit 0
  fi
fi

if [ "$native" = 0 ]; then
  command -v qemu-i386-static >/dev/null || apt_install qemu-user-static
  qemu=$(command -v qemu-i386-static)
fi

# The inspector's launcher, pointed at the 32-bit JVM and library.
launcher=$build_m32/bin/dvh-examine
mkdir -p "$build_m32/bin" "$build_m32/java"
write_launcher() { # JVM options
  sed -e "s|\"[^\"]*/bin/java\"|\"$jdk/bin/java\" $1|" -e "s|$build/lib|$build_m32/lib|g" \
      "$build/bin/dvh-examine" >"$launcher"
  chmod +x "$launcher"
}

log=$build_m32/java/jvm32-tests.log
# What runs in the private mount namespace: the folders bound into the root, then the JVM.
# Under emulation a private binfmt_misc (this user namespace only) hands every i386 program,
# the launcher's children included, to qemu-i386.
inner=$(cat <<'INNER'
set -euo pipefail
for d in proc dev; do mount --rbind "/$d" "$ROOT/$d"; done
for d in "$SRC" "$BUILD" "$BUILD_M32"; do mkdir -p "$ROOT$d"; mount --bind "$d" "$ROOT$d"; done
# A /tmp of its own: a 32-bit program under qemu-i386 can lose entries when it lists a folder
# of the host's file system (64-bit directory offsets), so that JUnit cannot empty its
# temporary folders; tmpfs offsets are small.
mount -t tmpfs tmpfs "$ROOT/tmp"
if [ -n "$QEMU" ]; then
  mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc
  printf '%s' ':dvh-i386:M::\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00:\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff:'"$QEMU"':F' \
    >/proc/sys/fs/binfmt_misc/register
fi
cd "$ROOT$BUILD_M32/java"
# The JVM's own libraries by path: some kernels refuse /proc/self/exe inside the root (ELOOP), so
# the loader cannot expand the launcher's $ORIGIN.
exec chroot "$ROOT" /usr/bin/env -i PATH=/usr/bin:/bin HOME=/root LANG=C.UTF-8 TZ="${TZ:-UTC}" \
  LD_LIBRARY_PATH="$JDK/lib:$JDK/lib/server" \
  sh -c 'cd "$1" && shift && exec "$@"' run "$BUILD_M32/java" \
  "$JDK/bin/java" $JVM_OPTS -Xcheck:jni -Djava.library.path="$BUILD_M32/lib" -Ddvh.examine.launcher="$LAUNCHER" \
  @"$BUILD/java/java-tests.args" --scan-classpath="$BUILD/java/dvhiscsi-tests.jar" \
  --reports-dir="$BUILD_M32/java/test-reports"
INNER
)
if [ "$native" = 1 ]; then
  how="natively"; ns=(unshare --mount --propagation private)
  launcher_arg=$launcher
  jvm_opts=${DVH_JVM32_OPTS:-}
  # Some kernels refuse the /proc magic links (/proc/self/exe, /dev/fd/3) inside the root with
  # ELOOP; the launcher's report descriptor then cannot be opened, as under qemu-user.
  if [ -z "$("${ns[@]}" bash -c 'mount --rbind /proc "$1/proc" && chroot "$1" /usr/bin/readlink /proc/self/exe' \
             probe "$root" 2>/dev/null)" ]; then
    say "the tests of the inspector's launcher are skipped: this kernel refuses /proc/self links inside the root"
    launcher_arg=/nonexistent/dvh-examine-no-proc-links
  fi
else
  how="under qemu-i386"; ns=(unshare --user --map-root-user --mount --propagation private)
  # HotSpot's compilers under qemu-user crash the JVM now and then (C1 and C2 alike: frames of
  # compiled code it cannot walk); the interpreter alone runs the suite reliably, and about as
  # fast, since the suite is short.
  jvm_opts=${DVH_JVM32_OPTS:--Xint -XX:+UseSerialGC}
  # The launcher hands the report to the JVM as /dev/fd/3, which a 32-bit JVM under qemu-user
  # cannot open ("Too many levels of symbolic links"): its tests are skipped there (JUnit
  # lists them as skipped, with the reason "launcher not given").
  say "under qemu-i386 the tests of the inspector's launcher are skipped: qemu-user cannot open its /dev/fd/3"
  launcher_arg=/nonexistent/dvh-examine-not-under-qemu
fi
# The inspector's launcher starts a JVM of its own: same options.
write_launcher "$jvm_opts"
say "running the JUnit suite in a 32-bit JVM ($how${jvm_opts:+, $jvm_opts}); log: $log"
start=$SECONDS
set +e
ROOT=$root SRC=$src BUILD=$build BUILD_M32=$build_m32 JDK=$jdk LAUNCHER=$launcher_arg QEMU=${qemu:-} JVM_OPTS=$jvm_opts \
  "${ns[@]}" bash -c "$inner" >"$log" 2>&1
rc=$?
set -e
tail -n 15 "$log"
# As the 64-bit java_tests: any -Xcheck:jni report fails the run.
if grep -qE 'WARNING in native method|FATAL ERROR in native method|WARNING: JNI local refs' "$log"; then
  say "-Xcheck:jni reported a problem (see $log)"
  rc=1
fi
say "32-bit JVM suite ($how) exited $rc after $((SECONDS - start)) s"
exit $rc
