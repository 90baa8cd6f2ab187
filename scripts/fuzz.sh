#!/usr/bin/env bash
# JNI fuzzer in the sanitizer build: random calls of every native method with hostile arguments,
# under -Xcheck:jni with AddressSanitizer and UndefinedBehaviorSanitizer, against simulated adapters
# that fail at random and answer damaged records.
#   scripts/fuzz.sh --seed S --calls N      e.g. scripts/fuzz.sh --seed 7 --calls 200000
# Ends with "fuzz: seed S, calls N, crashes 0, sanitizer reports 0, JNI warnings 0, pending exceptions 0";
# the exit status is non-zero when any of those counts is not 0 (findings in fuzz-report.txt).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${DVH_BUILD_ASAN_DIR:-$root/build-asan}
DVH_SANITIZE=1 DVH_BUILD_DIR="$build" "$root/scripts/setup.sh" >&2
exec "$build/bin/dvh-fuzz" "$@"
