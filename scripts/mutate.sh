#!/usr/bin/env bash
# Mutation run: how many small faults in the native library the suites catch.
#
#   scripts/mutate.sh [--list FILE] [--only ID[,ID...]] [--build DIR] [--survivors FILE]
#
# Takes the fixed mutants of scripts/mutants.txt (made by scripts/mutants.py;
# one line of jni/ changed each), and for each in turn: checks that the line
# still reads as recorded (else the mutant is "stale" and skipped), changes it
# in place, rebuilds the library and what links it in its own build folder
# (build-mut, never build/), and runs the suites that load the library: the
# GoogleTest suites, the user validation end-to-end test, the JUnit suites and
# the inspector's run, stopping at the first failure. A mutant that does not
# compile is not counted. The source file is restored after each mutant and on
# any interruption (Ctrl-C, kill).
#
# One line per mutant, then the survivors written to build-mut/survivors.txt
# (or --survivors FILE), and last the summary:
#   mutants N, compiled C, killed K, survived S, kill rate X%
# Run it under `nice -n 19` on a shared machine.
set -uo pipefail
cd "$(dirname "$0")/.."
root=$PWD

list=scripts/mutants.txt
only=
build=${DVH_MUT_BUILD_DIR:-build-mut}
survivors=
while [ $# -gt 0 ]; do
  case "$1" in
    --list) list=$2; shift 2 ;;
    --only) only=,$2,; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --survivors) survivors=$2; shift 2 ;;
    *) echo "usage: $0 [--list FILE] [--only ID,...] [--build DIR] [--survivors FILE]" >&2; exit 2 ;;
  esac
done
survivors=${survivors:-$build/survivors.txt}

if [ ! -f "$build/CMakeCache.txt" ]; then
  # The packages, and a first build in the run's own folder (build/ is left alone).
  DVH_BUILD_DIR="$build" scripts/setup.sh >/dev/null || exit 1
fi
build=$(cd "$build" && pwd)
log=$build/mutate-logs
mkdir -p "$log"
# The unchanged sources must build and pass, or every mutant would read as killed.
echo "building $build ..."
cmake --build "$build" -j2 >"$log/base-build.txt" 2>&1 || { echo "the unchanged sources do not build: $log/base-build.txt" >&2; exit 1; }

targets=(dvhiscsi jni_tests dvhprobe user_validation_e2e)
suites='^(jni_tests|user_validation_e2e|java_tests|testkit_tests|dvh_examine_runs)$'
run_suites() {
  # A mutant that makes a suite hang is killed by the time limit.
  # The jar and the other libraries are built once, before the first mutant:
  # the java_build setup test is left out.
  (cd "$build" && timeout -k 10 300 ctest --stop-on-failure -FS dvh_java_built -R "$suites" >"$1" 2>&1)
}
run_suites "$log/base-tests.txt" || { echo "the unchanged sources fail their suites: $log/base-tests.txt" >&2; exit 1; }

saved=   # the file being mutated and its saved copy
restore() {
  if [ -n "$saved" ]; then
    cp "$log/saved.orig" "$saved"
    saved=
  fi
}
trap 'restore; echo "interrupted; sources restored" >&2; exit 130' INT TERM HUP
trap restore EXIT

total=0 compiled=0 killed=0 survived=0 stale=0
: >"$survivors"
start=$(date +%s)
while IFS=$'\t' read -r id file line kind original replacement; do
  case "$id" in ''|'#'*) continue ;; esac
  [ -n "$only" ] && [[ $only != *",$id,"* ]] && continue
  total=$((total + 1))
  t0=$(date +%s)
  current=$(sed -n "${line}p" "$file")
  next=$(sed -n "$((line + 1))p" "$file")
  if [ "$current" != "$original" ] || { [ "$kind" = order ] && [ "$next" != "$replacement" ]; }; then
    stale=$((stale + 1))
    printf '%s\t%s:%s\t%s\tstale\n' "$id" "$file" "$line" "$kind"
    continue
  fi
  cp -p "$file" "$log/saved.orig"
  saved=$file
  # Line `line` becomes the replacement; for `order` the next line becomes the original.
  ORIG=$original REPL=$replacement awk -v n="$line" -v swap=$([ "$kind" = order ] && echo 1 || echo 0) '
    NR == n { print ENVIRON["REPL"]; next }
    swap && NR == n + 1 { print ENVIRON["ORIG"]; next }
    { print }' "$log/saved.orig" >"$file"
  if ! cmake --build "$build" -j2 --target "${targets[@]}" >"$log/build-$id.txt" 2>&1; then
    result="no-compile"
  else
    compiled=$((compiled + 1))
    if run_suites "$log/tests-$id.txt"; then
      result=SURVIVED
      survived=$((survived + 1))
      printf '%s\t%s:%s\t%s\t%s\t=>\t%s\n' "$id" "$file" "$line" "$kind" "$original" "$replacement" >>"$survivors"
    else
      result="killed by $(grep -E 'Test +#[0-9]+: ' "$log/tests-$id.txt" | grep -v ' Passed' | head -n 1 | awk '{print $4}')"
      killed=$((killed + 1))
    fi
  fi
  restore
  printf '%s\t%s:%s\t%s\t%s\t%ss\n' "$id" "$file" "$line" "$kind" "$result" "$(( $(date +%s) - t0 ))"
done <"$list"

# Leave the build as the sources are.
cmake --build "$build" -j2 --target "${targets[@]}" >"$log/final-build.txt" 2>&1
elapsed=$(( $(date +%s) - start ))
echo "survivors: $survivors"
echo "stale $stale, time ${elapsed}s"
rate=$([ "$compiled" -gt 0 ] && echo $(( (killed * 1000 / compiled + 5) / 10 )) || echo 0)
echo "mutants $total, compiled $compiled, killed $killed, survived $survived, kill rate $rate%"
