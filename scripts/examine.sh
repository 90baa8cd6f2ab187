#!/usr/bin/env bash
# Sets up and builds, then runs the inspector (dvh-examine) against the simulated
# adapters (or the scenario named by IZKSDM_SCENARIO). Arguments go to the
# inspector, e.g. scripts/examine.sh --json
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh >&2
exec build/bin/dvh-examine "$@"
