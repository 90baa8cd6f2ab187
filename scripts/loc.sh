#!/usr/bin/env bash
# Counts the project's lines: production, tests and their ratio.
#
#   scripts/loc.sh            one line per kind and folder, the summary last
#   scripts/loc.sh | tail -n 1
#     production 22200, tests 19500, tests/production 88%
#
# What counts: the non-blank lines of the files git tracks (working tree text)
# that are C, C++, Java, shell or CMake:
#   C/C++   .c .cc .cpp .h .hpp (headers count like the sources beside them)
#   Java    .java
#   shell   .sh, and scripts without an extension that start with a shell #!
#   CMake   CMakeLists.txt and .cmake
#   .in     a template counts as the file it becomes: default_scenario.cpp.in
#           as C++, dvh-examine.in (a #!/bin/sh script) as shell
# Anything else (Markdown, JSON scenarios, linker maps, Python, the mutant
# list) is not counted. Tests are the files under tests/ or under any
# src/test/ folder; every other counted file is production, the scripts in
# scripts/ included.
set -euo pipefail
cd "$(dirname "$0")/.."

kind_of() {
  local path=$1 name=${1##*/}
  case "$name" in *.in) name=${name%.in} ;; esac
  case "$name" in
    CMakeLists.txt|*.cmake) echo cmake ;;
    *.c|*.cc|*.cpp|*.h|*.hpp) echo c++ ;;
    *.java) echo java ;;
    *.sh) echo shell ;;
    *.*) ;;
    *) head -n 1 "$path" | grep -qE '^#!.*(/|env )(ba|da)?sh\b' && echo shell ;;
  esac
  return 0
}

git ls-files -z | while IFS= read -r -d '' path; do
  [ -f "$path" ] || continue
  kind=$(kind_of "$path")
  [ -n "$kind" ] || continue
  case "$path" in
    tests/*|*/src/test/*|src/test/*) side=tests ;;
    *) side=production ;;
  esac
  printf '%s\t%s\t%s\n' "$side" "$kind" "$(grep -c '[^[:space:]]' "$path" || true)"
done | awk -F'\t' '
  { lines[$1 " " $2] += $3; total[$1] += $3 }
  END {
    for (k in lines) { split(k, part, " "); printf "%-10s %-6s %7d\n", part[1], part[2], lines[k] | "sort" }
    close("sort")
    p = total["production"] + 0; t = total["tests"] + 0
    printf "production %d, tests %d, tests/production %d%%\n", p, t, p ? int(t * 100 / p + 0.5) : 0
  }'
