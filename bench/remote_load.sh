#!/usr/bin/env bash
# The remote control server under load, 127 instances with the test signal on: the callback's times without clients and
# with 32 WebSocket clients, and what the server's threads and the user-interface thread take of a core; then 10,000
# requests one after another: what they leave behind, and their number a second beside nginx where that is installed.
# remote_load.sh [program] [clients program] [seconds]
set -euo pipefail
program=${1:-build/linux-release/tarnwick}
clients=${2:-build/linux-release/bench/remote_clients}
seconds=${3:-20}
port=20841
work=$(mktemp -d)
export XDG_CONFIG_HOME=$work  # settings of its own
pid=
nginx=
cleanup() {
  for process in $pid $nginx; do kill "$process" 2>/dev/null || true; done
  wait || true
  rm -rf "$work"
}
trap cleanup EXIT

"$program" --start --instances 127 --virtual-inputs 127 --virtual-outputs 127 --buffer-size 64 --remote-port $port \
  >"$work/log" &
pid=$!
for _ in $(seq 100); do
  grep -q "Host running" "$work/log" && break
  sleep 0.1
done
curl -s -X POST "http://127.0.0.1:$port/api/test-signal-all/toggle" >/dev/null

# Processor time so far, in ticks: of the threads whose name matches, and of the first thread.
ticks() {
  local task
  for task in /proc/"$pid"/task/*; do
    [[ $(<"$task/comm") =~ $1 || ($2 == main && ${task##*/} == "$pid") ]] || continue
    sed 's/.*) //' "$task/stat" | awk '{ print $12 + $13 }'
  done | awk '{ sum += $1 } END { print sum + 0 }'
}
threads() { find /proc/"$pid"/task -mindepth 1 -maxdepth 1 | wc -l; }
descriptors() { find /proc/"$pid"/fd -mindepth 1 | wc -l; }
resident() { awk '/^VmRSS/ { print $2 }' "/proc/$pid/status"; }
# The callback's reports that are new since line $1 of the log.
reports() { tail -n +"$1" "$work/log" | grep -o 'ASIO callback.*' || true; }

sleep 11  # past the start
line=$(($(wc -l <"$work/log") + 1))
before=$(ticks '^twk-(remote|accept|push|beacon|session|ws)' no)
before_main=$(ticks '^$' main)
sleep "$seconds"
idle=$(($(ticks '^twk-(remote|accept|push|beacon|session|ws)' no) - before))
idle_main=$(($(ticks '^$' main) - before_main))
echo "without clients:"
reports "$line"

line=$(($(wc -l <"$work/log") + 1))
before=$(ticks '^twk-(remote|accept|push|beacon|session|ws)' no)
before_main=$(ticks '^$' main)
"$clients" listen $port 32 "$seconds"
load=$(($(ticks '^twk-(remote|accept|push|beacon|session|ws)' no) - before))
load_main=$(($(ticks '^$' main) - before_main))
echo "with 32 clients:"
reports "$line"
awk -v s="$seconds" -v i="$idle" -v im="$idle_main" -v l="$load" -v lm="$load_main" 'BEGIN {
  printf "server threads: %.2f %% of a core without clients, %.2f %% with 32 (limit 5)\n", i / s, l / s
  printf "user-interface thread: %.2f %% and %.2f %%\n", im / s, lm / s }'

sleep 1
"$clients" ask $port 500 >/dev/null
left="$(descriptors) descriptors, $(threads) threads, $(resident) kB"
own=$("$clients" ask $port 10000)
echo "10,000 requests: before $left; after $(descriptors) descriptors, $(threads) threads, $(resident) kB"

if command -v nginx >/dev/null; then
  cat >"$work/nginx.conf" <<CONF
daemon off; worker_processes 1; pid $work/nginx.pid; error_log $work/nginx.log;
events { }
http {
  access_log off; keepalive_timeout 0;
  client_body_temp_path $work/b; proxy_temp_path $work/p; fastcgi_temp_path $work/f; uwsgi_temp_path $work/u;
  scgi_temp_path $work/s;
  server { listen 127.0.0.1:20842; location / { default_type application/json;
    return 200 '{"status":"ok","service":"Tarnwick","port":20831}'; } }
}
CONF
  nginx -c "$work/nginx.conf" &
  nginx=$!
  sleep 1
  peer=$("$clients" ask 20842 10000)
  awk -v o="$own" -v p="$peer" 'BEGIN {
    printf "/healthz, one after another: %d a second, nginx %d, ratio %.2f\n", o, p, o / p }'
else
  echo "/healthz, one after another: $own a second (nginx is not installed)"
fi
