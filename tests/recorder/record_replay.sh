#!/usr/bin/env bash
# Records the simulator through the recording proxy while the inspector reads everything
# (--json --logs --stats), replays the recording in the simulator and compares: the inspector's
# report and the library's diagnostic lines are the same byte for byte directly, through the
# recorder and in the replay. The counters too: the live simulator's move after every read and
# with every SCSI command, the replay answers each statistics record as it was recorded.
#   record_replay.sh BUILD_DIR
set -euo pipefail
build=$1
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
unset IZKSDM_SCENARIO IZKSDM_RECORD_SECRETS

# examine NAME: the report to NAME.json, the native lines to NAME.lines, the exit code to NAME.rc.
examine() {
  local rc=0
  "$build/bin/dvh-examine" --json --logs --stats >"$tmp/$1.json" 2>"$tmp/$1.lines" || rc=$?
  echo "$rc" >"$tmp/$1.rc"
}
same() {
  local a b
  for ext in json lines rc; do
    a=$tmp/$1.$ext b=$tmp/$2.$ext
    cmp -s "$a" "$b" || { echo "record_replay: $1.$ext and $2.$ext differ:"; diff "$a" "$b" | head -20; exit 1; }
  done
}

examine direct
LD_LIBRARY_PATH=$build/lib/recorder${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH} \
  IZKSDM_RECORD_LIBRARY=$build/lib/libizksdm.so IZKSDM_RECORD_FILE=$tmp/capture.json examine recorded
grep -q '"Recorded by the izksdm recorder' "$tmp/capture.json" || { echo "record_replay: the recorder did not write"; exit 1; }
same direct recorded
IZKSDM_SCENARIO=$tmp/capture.json examine replayed
same recorded replayed
grep -q '"instance" : 1' "$tmp/recorded.json" || { echo "record_replay: the report lacks adapter 1"; exit 1; }
# The statistics records are in the recording as sections the simulator loads, and the report
# shows counters that moved (not a replay of zeros).
grep -q '^      "statisticsExtend": {$' "$tmp/capture.json" || { echo "record_replay: no statistics recorded"; exit 1; }
grep -q '"MACTxFramesCount" : [1-9]' "$tmp/recorded.json" || { echo "record_replay: the report lacks counters"; exit 1; }

# The simulator's CHAP secrets and IPsec keys (as hex) are not in the recording.
for secret in 'Tq7#vault-a1!' 'Fjord+Cedar+31' 'fjord-lantern-2291' 'copper-finch-0417'; do
  h=$(printf '%s' "$secret" | od -An -tx1 | tr -d ' \n')
  if grep -q "$h" "$tmp/capture.json"; then echo "record_replay: secret $secret recorded"; exit 1; fi
done
echo "record_replay: direct, recorded and replayed reports equal ($(wc -c <"$tmp/recorded.json") bytes," \
     "$(wc -l <"$tmp/recorded.lines") native lines)"
