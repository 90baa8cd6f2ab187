#!/usr/bin/env bash
# Sets up, builds and runs every test: the 64-bit build (native GoogleTest
# suites and the JUnit suites in a real JVM against the simulator), then the
# 32-bit x86 native build and its GoogleTest suites.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --m32
(cd build && ctest --output-on-failure)

cmake -S . -B build-m32 -DDVH_BUILD_JAVA=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DCMAKE_C_FLAGS=-m32 -DCMAKE_CXX_FLAGS=-m32 >/dev/null
cmake --build build-m32 -j "$(nproc)"
(cd build-m32 && ctest --output-on-failure)
