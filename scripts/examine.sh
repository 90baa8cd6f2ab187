#!/usr/bin/env bash
# Sets up and builds, then runs the inspector (dvh-examine) against the simulated
# adapters (or the scenario named by IZKSDM_SCENARIO). Arguments go to the
# inspector, e.g. scripts/examine.sh --json
# The report alone goes to standard output; the build's messages and the native
# library's diagnostic lines go to standard error.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh >&2
exec "${DVH_BUILD_DIR:-build}/bin/dvh-examine" "$@"
