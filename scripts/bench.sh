#!/usr/bin/env bash
# Benchmark of every native method against the simulated adapters (not part of
# the tests): time per call, JNI floors, a full refresh, memory over many
# calls. Builds what it needs into build/ (or $DVH_BUILD_DIR) first.
#   scripts/bench.sh           default run (about three minutes on two cores)
#   scripts/bench.sh --quick   short run, to see that it works
#   scripts/bench.sh --long    every method 100,000 times in the memory check, the
#       slow ones included (half an hour or more)
#   scripts/bench.sh --floors  only the methods that have a floor, against it
#   scripts/bench.sh --check   each floor and its method called once: the same library
#       calls, lines and filled objects?
#   any of these with --wall: wall-clock times instead of the calling thread's
#       CPU time
#   scripts/bench.sh --memory-each   anonymous resident memory over up to 20,000 calls
#       of each method on its own
#   scripts/bench.sh --loop METHOD SECONDS   one method in a loop, for a profiler
#   scripts/bench.sh --instructions METHOD FLOOR   user-space instructions per call of
#       a method and of its floor (perf stat; repeatable on a busy machine)
# Results go to standard output; the library's own diagnostic lines are
# dropped.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${DVH_BUILD_DIR:-build}
[ -f "$build/CMakeCache.txt" ] || scripts/setup.sh
cmake --build "$build" --target dvhiscsi dvhbench izksim_jni dvhiscsi_bench_jar >/dev/null

share=/usr/share/java
cp="$build/java/dvhiscsi-bench.jar:$build/java/dvhiscsi-catalog.jar:$build/java/dvhiscsi-fuzz.jar:$build/java/dvhiscsi-testkit.jar:$build/java/dvhiscsi.jar:$share/picocli.jar"
cp="$cp:$share/jackson-databind.jar:$share/jackson-core.jar:$share/jackson-annotations.jar"
run() {
  env -u IZKSDM_SCENARIO java -XX:NativeMemoryTracking=summary -Xms256m -Xmx256m -XX:+AlwaysPreTouch -Ddvh.source.dir="$PWD" -Djava.library.path="$build/lib" -cp "$cp" \
    com.norvik.dvh.iscsi.jni.Bench "$@"
}

# Instructions per call: the difference of runs of 300 and 100 calls, so the
# JVM's start and the warm-up cancel out.
if [ "${1:-}" = "--instructions" ]; then
  count() {
    perf stat -x, -e instructions:u -- env -u IZKSDM_SCENARIO java -Ddvh.source.dir="$PWD" -Djava.library.path="$build/lib" -cp "$cp" \
      com.norvik.dvh.iscsi.jni.Bench --count "$1" "$2" 2>&1 >/dev/null | awk -F, '/instructions/ {print $1}'
  }
  for m in "$2" "$3"; do
    a=$(count "$m" 100); b=$(count "$m" 300)
    case "$a$b" in
      "" | *[!0-9]*) echo "bench.sh: perf stat counts no instructions here (${a:-nothing})" >&2; exit 1 ;;
    esac
    echo "$m: $(( (b - a) / 200 )) instructions per call"
  done
  exit 0
fi

# The diagnostic lines of the library (standard output) are part of the cost
# but not of the report; the report is written to standard error.
run "$@" 2>&1 >/dev/null
