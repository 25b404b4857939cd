#!/usr/bin/env bash
# A minute at 64 frames with 64 inputs, 64 outputs and 16 instances of Ombrel: the Windows program under Wine with the
# test driver on its real clock, the same job on Linux with the virtual device, and the test driver with a host that
# runs no instances. Prints callback times and the driver's late blocks, with the machine's load before each run:
# wine_minute.sh [seconds]. Needs build/windows-release, with its tests, and build/linux-release.
set -euo pipefail
seconds=${1:-60}
root=$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/.." && pwd)
# shellcheck source=scripts/windows.sh
. "$root/scripts/windows.sh"
work=$(mktemp -d)
driver=$root/build/windows-release/tests/tarnwick_test_asio.dll
device="Tarnwick Test ASIO"
program=

finish() {
  if [[ -n $program ]]; then
    kill "$program" 2>/dev/null || true
  fi
  wine regsvr32 /u /s "Z:$driver" >/dev/null 2>&1 || true
  stop_wine
  rm -rf "$work"
}
trap finish EXIT

load() { printf '%-52s load average %s\n' "$1:" "$(cut -d' ' -f1-3 /proc/loadavg)"; }
# number NAME FILE: of the JSON object in the file's last line.
number() { tr -d '\r' <"$2" | tail -n 1 | sed -n "s/.*\"$1\": *\([-0-9.e+]*\).*/\1/p"; }
host_times() {
  printf '  host: %s blocks, callback average %s ms, maximum %s ms, skipped %s\n' "$(number blocks "$1")" \
    "$(number averageMs "$1")" "$(number maximumMs "$1")" "$(number skippedBlocks "$1")"
}
driver_times() {
  printf '  driver: %s blocks, call average %s ms, maximum %s ms, late blocks %s\n' "$(number blocks "$1")" \
    "$(number averageMs "$1")" "$(number maximumMs "$1")" "$(number lateBlocks "$1")"
}
# configure NAME: the driver's words, float samples as the virtual device has them.
configure() {
  local samples="input-types=19 output-types=19"
  export TARNWICK_TEST_ASIO_1="inputs=64 outputs=64 $samples report=Z:$work/$1.json"
}

start_wine
settings='Software\TarnwickBench'
wine reg delete "HKCU\\$settings" /f >/dev/null 2>&1 || true
wine regsvr32 /s "Z:$driver" >/dev/null 2>&1

load "Wine, 16 instances"
configure instances
wine "$root/build/windows-release/Tarnwick.exe" --device "$device" --buffer-size 64 --instances 16 --start \
  --seconds "$seconds" --settings "$settings" >"$work/wine.log" 2>&1 </dev/null
host_times "$work/wine.log"
driver_times "$work/instances.json"

load "Linux, 16 instances"
"$root/build/linux-release/tarnwick" --virtual-inputs 64 --virtual-outputs 64 --buffer-size 64 --instances 16 --start \
  --seconds "$seconds" --settings "$work/settings" >"$work/linux.log"
host_times "$work/linux.log"

load "Wine, device alone"
configure alone
wine "$root/build/windows-release/Tarnwick.exe" --device "$device" --buffer-size 64 --settings "$settings" \
  >"$work/alone.log" 2>&1 </dev/null &
program=$!
until grep -q 'Device list refreshed' "$work/alone.log"; do sleep 0.1; done
window=$(xdotool search --sync --onlyvisible --name '^Tarnwick - ' | head -n 1)
xdotool windowfocus --sync "$window" key space  # the start button has the focus
until grep -q 'ASIO started' "$work/alone.log"; do sleep 0.1; done
sleep "$seconds"
xdotool key alt+F4
wait "$program"
program=
driver_times "$work/alone.json"
