#!/usr/bin/env bash
# From the start of the process to the host running (the next block, 1.3 ms at most, is processed), files cached:
# start_time.sh [program] [module]
set -euo pipefail
program=${1:-build/linux-release/tarnwick}
module=${2:-/usr/lib/vst3/ZamComp.vst3}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME=$work  # settings of its own
times=()
for _ in $(seq 11); do
  begin=$(date +%s%N)
  while read -r line; do
    case $line in *"Host running."*) times+=($(($(date +%s%N) - begin))) ;; esac
  done < <("$program" --remote-port 0 --start --seconds 0.1 --buffer-size 64 --instances 32 --virtual-inputs 32 --virtual-outputs 32 \
    --plugin "$module")
done
printf '%s\n' "${times[@]}" | sort -n | awk '
  { t[NR] = $1 / 1e6 }
  END { printf "32 instances of the effect, process start to host running: median %.1f ms, slowest %.1f ms (limit 100)\n",
        t[int((NR + 1) / 2)], t[NR] }'
