#!/usr/bin/env bash
# Xruns that a JACK server counts while the program runs 32 instances, beside those that it counts in the same run for a
# client that does nothing, and alone with that client: jack_xruns.sh [program] [idle client] [seconds] [module]
# The server is jackd's dummy driver with 32 inputs and outputs. An xrun is told to every client, so the server's own
# log says whose it was: a client that was not finished in time, or the server itself that woke too late.
set -euo pipefail
program=${1:-build/linux-release/tarnwick}
idle=${2:-build/linux-release/bench/jack_idle_client}
seconds=${3:-60}
module=${4:-}
name=tw-bench-$$
work=$(mktemp -d)
export XDG_CONFIG_HOME=$work  # settings of its own
server=
client=
cleanup() {
  for pid in $client $server; do kill "$pid" 2>/dev/null || true; done
  wait || true
  rm -rf "$work"
}
trap cleanup EXIT
export JACK_NO_AUDIO_RESERVATION=1 JACK_DEFAULT_SERVER=$name

# How often the server's log has a line that matches.
told() { grep -cE "$1" "$work/server" || true; }

begin_server() {
  jackd -n "$name" -d dummy -r 48000 -p "$1" -C 32 -P 32 >"$work/server" 2>&1 &
  server=$!
  "$idle" >"$work/idle" 2>/dev/null &
  client=$!
  for _ in $(seq 100); do
    grep -q running "$work/idle" && return
    kill -0 "$client" 2>/dev/null || { "$idle" >"$work/idle" 2>/dev/null & client=$!; }
    sleep 0.1
  done
  echo "The JACK server does not answer." >&2
  exit 1
}

end_server() {
  kill "$client" && wait "$client" || true
  kill "$server" && wait "$server" || true
  client=
  server=
}

for frames in 256 64; do
  begin_server "$frames"
  sleep "$seconds"
  end_server
  printf '%3d frames, idle client alone, %s s:   %s\n' "$frames" "$seconds" "$(tail -1 "$work/idle")"

  begin_server "$frames"
  "$program" --remote-port 0 --device "JACK: $name" --start --seconds "$seconds" --buffer-size "$frames" --instances 32 \
    ${module:+--plugin "$module"} >"$work/log" || { tail -3 "$work/log"; exit 1; }
  end_server
  printf '%3d frames, 32 instances beside it, %s s: %s\n' "$frames" "$seconds" "$(tail -1 "$work/idle")"
  printf '            the server: program late %s, idle client late %s\n' \
    "$(told 'client = tarnwick was not finished')" "$(told 'client = idle was not finished')"
  printf '            the program: %s\n' "$(grep -o 'JACK xruns since the start: [0-9]*' "$work/log" | tail -1 || true)"
  tail -1 "$work/log" | sed -E 's/"outputs":\[[^]]*\],//'
done
