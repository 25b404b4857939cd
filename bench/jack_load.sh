#!/usr/bin/env bash
# Processor time a block of the program on a JACK server without hardware: 64 frames, 48 kHz, noise on every input.
# jack_load.sh [seconds]: by ports, effect and instances, each with its ratio to its goal where it has one. Needs
# build/linux-release with its tests; the effect beside the gain is ZamComp (package zam-plugins).
set -euo pipefail
seconds=${1:-10}
root=$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/.." && pwd)
build=$root/build/linux-release
gain=$build/test_modules/gain.vst3
comp=/usr/lib/vst3/ZamComp.vst3
name=tw-load-$$
work=$(mktemp -d)
export XDG_CONFIG_HOME=$work  # settings of its own
export JACK_NO_AUDIO_RESERVATION=1 JACK_DEFAULT_SERVER=$name
server=
program=

finish() {
  for pid in $program $server; do kill "$pid" 2>/dev/null || true; done
  wait || true
  program=
  server=
}
trap 'finish; rm -rf "$work"' EXIT

# await COMMAND...: until it succeeds, ten seconds at most.
await() {
  for _ in $(seq 100); do
    "$@" && return
    sleep 0.1
  done
  echo "$* did not come" >&2
  tail -3 "$work/log" >&2
  exit 1
}

has_port() { jack_lsp -s "$name" 2>/dev/null | grep -qx "$1"; }
said() { grep -q "$1" "$work/log"; }

# measure PORTS EFFECT MODULE INSTANCES [GOAL]
measure() {
  local result
  jackd -n "$name" -p 1024 -d dummy -r 48000 -p 64 -C "$1" -P "$1" >"$work/log" 2>&1 &
  server=$!
  await has_port "system:playback_$1"
  "$build/tarnwick" --remote-port 0 --device "JACK: $name" --buffer-size 64 --plugin "$3" --instances "$4" --start \
    >"$work/log" 2>&1 &
  program=$!
  await said 'Host running'
  result=$("$build/bench/jack_load_client" "$program" "$1" "$seconds")
  finish
  printf '%3d in and out, %3d x %-8s %6.1f us a block' "$1" "$4" "$2:" "${result% *}"
  if [[ -n ${5:-} ]]; then
    awk -v got="${result% *}" -v goal="$5" 'BEGIN { printf ", goal %s, ratio %.2f", goal, got / goal }'
  fi
  printf '\n'
}

printf 'load average %s\n' "$(cut -d' ' -f1-3 /proc/loadavg)"
measure 128 gain "$gain" 1 35
measure 128 gain "$gain" 32
measure 128 gain "$gain" 127 65
measure 128 ZamComp "$comp" 1
measure 128 ZamComp "$comp" 32
measure 128 ZamComp "$comp" 127 260
for count in 8 32 64 127; do
  measure "$count" gain "$gain" "$count"
  measure "$count" ZamComp "$comp" "$count"
done
