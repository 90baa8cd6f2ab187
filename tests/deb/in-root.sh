#!/usr/bin/env bash
# Runs inside a brand-new Debian 12 root (scripts/test-deb.sh): installs the package with what it
# depends on, then runs the installed inspector against the installed simulator.
set -euo pipefail
deb=$1
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq || { sleep 5; apt-get update -qq; }
apt-get install -y -qq --no-install-recommends "$deb" >/tmp/apt.log 2>&1 || { tail -20 /tmp/apt.log; exit 1; }
echo "in-root: installed $(dpkg-query -W -f='${Package} ${Version}' dvhiscsi)"

fail() { echo "in-root: $*" >&2; exit 1; }

# Text report: both simulated adapters, nothing from Java on standard error but the library's lines.
DVH_IZKSDM=simulator dvh-examine >/tmp/report.txt 2>/tmp/native.txt || fail "dvh-examine exited $?"
grep -qx 'Adapters found: 2' /tmp/report.txt || { cat /tmp/report.txt; fail "not two adapters"; }
grep -q '^Library version: .*SIM' /tmp/report.txt || fail "no simulator version"
if grep -E 'Exception|Error[^s]|Error$' /tmp/report.txt /tmp/native.txt; then fail "a Java error"; fi

# JSON report with the logs, against a scenario file of the user's.
cp /usr/share/dvhiscsi/scenarios/default.json /tmp/site.json
DVH_IZKSDM=simulator IZKSDM_SCENARIO=/tmp/site.json dvh-examine --json --logs >/tmp/report.json 2>/dev/null \
  || fail "dvh-examine --json exited $?"
grep -q '"libraryVersion"' /tmp/report.json || fail "no JSON report"
grep -q '"arpTable"\|"logs"' /tmp/report.json || fail "no logs in the JSON report"

# Without DVH_IZKSDM there is no libizksdm.so on this machine: the library cannot load.
if dvh-examine >/dev/null 2>/tmp/nolib.txt; then fail "ran without a device-management library"; fi
grep -q 'libizksdm.so' /tmp/nolib.txt || { cat /tmp/nolib.txt; fail "no word of the missing libizksdm.so"; }

# Capture through the recorder and replay: the same report.
if [ -d /usr/lib/dvhiscsi/recorder ]; then
  DVH_IZKSDM=recorder IZKSDM_RECORD_LIBRARY=/usr/lib/dvhiscsi/simulator/libizksdm.so \
    IZKSDM_RECORD_FILE=/tmp/captured.json dvh-examine --json --logs >/tmp/recorded.json 2>/dev/null \
    || fail "recording exited $?"
  [ -s /tmp/captured.json ] || fail "nothing recorded"
  DVH_IZKSDM=simulator IZKSDM_SCENARIO=/tmp/captured.json dvh-examine --json --logs >/tmp/replayed.json 2>/dev/null \
    || fail "replay exited $?"
  cmp /tmp/recorded.json /tmp/replayed.json || fail "the replay reports differently"
  echo "in-root: recorded and replayed, reports equal"
fi
echo "in-root: dvh-examine ran against the simulator"
