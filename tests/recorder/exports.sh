#!/usr/bin/env bash
# The recording proxy forwards every SD function the simulator offers, and nothing else starting
# with SD; and every SD function the JNI library calls is among them. A function added to the
# simulator needs a forwarder in sim/recorder/recorder.cpp (and its name in
# sim/recorder/sd_functions.hpp).
#   exports.sh SIMULATOR PROXY LIBRARY
set -euo pipefail
sd() { nm -D --defined-only "$1" | awk '$3 ~ /^SD/ {print $3}' | sort; }
if ! diff <(sd "$1") <(sd "$2"); then
  echo "exports: '<' lines lack a forwarder in the recorder, '>' lines are not in the simulator"
  exit 1
fi
called=$(nm -D --undefined-only "$3" | awk '$2 ~ /^SD/ {print $2}' | sort)
missing=$(comm -23 <(echo "$called") <(sd "$2"))
if [ -n "$missing" ]; then
  echo "exports: the library calls SD functions the recorder does not forward:"
  echo "$missing"
  exit 1
fi
echo "exports: $(sd "$2" | wc -l) SD functions forwarded, the library calls $(echo "$called" | grep -c .) of them"
