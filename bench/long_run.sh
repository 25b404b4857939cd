#!/usr/bin/env bash
# An hour of audio on the fast clock with 32 instances, twice: dropouts, skipped blocks, resident memory after a minute
# of audio and at the end, and whether both captures are the same bit for bit (their checksums, nothing is stored).
# long_run.sh [seconds of audio] [program] [module]
set -euo pipefail
seconds=${1:-3600}
program=${2:-build/linux-release/tarnwick}
module=${3:-/usr/lib/vst3/ZamComp.vst3}
work=$(mktemp -d)
export XDG_CONFIG_HOME=$work  # settings of its own
trap 'rm -rf "$work"' EXIT

resident() { awk '/^VmRSS/ { print $2 }' "/proc/$1/status" 2>/dev/null; }

for round in 1 2; do
  mkfifo "$work/capture"
  sha256sum <"$work/capture" >"$work/sum$round" &
  summer=$!
  begin=$(date +%s%N)
  "$program" --remote-port 0 --start --seconds "$seconds" --buffer-size 64 --instances 32 --virtual-inputs 32 --virtual-outputs 32 \
    --virtual-clock fast --virtual-capture "$work/capture" --plugin "$module" >"$work/log" &
  pid=$!
  early=
  last=0
  while kill -0 "$pid" 2>/dev/null; do
    sleep 0.5
    now=$(resident "$pid") || true
    [ -n "${now:-}" ] && last=$now
    # By now more than a minute of audio has been processed.
    if [ -z "$early" ] && [ $((($(date +%s%N) - begin) / 1000000)) -gt 5000 ]; then early=$last; fi
  done
  wait "$pid" && wait "$summer"
  printf 'Run %d: %s s for %s s of audio, resident %s kB early, %s kB at the end\n' \
    "$round" "$((($(date +%s%N) - begin) / 1000000000))" "$seconds" "${early:-?}" "$last"
  tail -1 "$work/log" | sed -E 's/"outputs":\[[^]]*\],//'
  rm "$work/capture"
done
if cmp -s "$work/sum1" "$work/sum2"; then echo "Captures identical: $(cut -c1-16 "$work/sum1")..."; else echo "CAPTURES DIFFER"; exit 1; fi
