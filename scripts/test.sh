#!/usr/bin/env bash
# Sets up, builds and runs every test: the 64-bit build (native GoogleTest
# suites and the JUnit suites in a real JVM against the simulator), then the
# sanitizer build and its suites, then the 32-bit x86 native build and its
# GoogleTest suites (natively where the kernel runs i386 programs, under
# qemu-i386 elsewhere), then, where the kernel runs i386 programs, the JUnit
# suites in a 32-bit JVM (scripts/test-jvm32.sh).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --m32
(cd "${DVH_BUILD_DIR:-build}" && ctest --output-on-failure)

# The same under AddressSanitizer and UndefinedBehaviorSanitizer: native suites
# under LeakSanitizer, the JUnit suites in a JVM that preloads the sanitizer
# runtime, and a bounded run of the JNI fuzzer.
build_asan=${DVH_BUILD_ASAN_DIR:-build-asan}
DVH_SANITIZE=1 DVH_BUILD_DIR="$build_asan" scripts/setup.sh
(cd "$build_asan" && ctest --output-on-failure)

build_m32=${DVH_BUILD_M32_DIR:-build-m32}
(cd "$build_m32" && ctest --output-on-failure)
mode=$(cd "$build_m32" && ctest -N | grep -o 'i386_suites_run_[a-z0-9_]*' || true)
case "$mode" in
  i386_suites_run_natively) echo "32-bit suites: ran natively (this kernel runs i386 programs)" ;;
  i386_suites_run_under_qemu_i386) echo "32-bit suites: ran under qemu-i386" ;;
  *) echo "32-bit suites: unknown how they ran" >&2; exit 1 ;;
esac

scripts/test-jvm32.sh --if-native
