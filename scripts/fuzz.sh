# The fuzzers, each for a while with its corpus. Sourced after results.sh.
# shellcheck shell=bash

# fuzz_one NAME SECONDS: what it finds stays in the build folder; the corpus is only read.
fuzz_one() {
  local name=$1 seconds=$2 folder=$root/build/linux-fuzz
  local finds=$folder/finds/$name
  mkdir -p "$finds"
  (cd "$finds" && "$folder/fuzz_$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$finds/" "$finds" "$root/tests/fuzz/corpus/$name")
}

# run_fuzzers SECONDS: all at once.
run_fuzzers() {
  local seconds=$1 names name folder=$root/build/linux-fuzz
  mapfile -t names < <(find "$root/tests/fuzz" -name 'fuzz_*.cpp' -printf '%f\n' | sed 's/fuzz_\(.*\)\.cpp/\1/' | sort)
  mkdir -p "$folder/logs"
  printf '%s\n' "${names[@]}" | {
    export root
    export -f fuzz_one
    # shellcheck disable=SC2016  # expanded by the inner shell
    xargs -P "${#names[@]}" -I NAME bash -c \
      'fuzz_one NAME "$1" >"$2/logs/NAME" 2>&1; echo $? >"$2/logs/NAME.rc"' fuzz "$seconds" "$folder"
  } || true
  for name in "${names[@]}"; do
    check "fuzz $name, $seconds s: $(sed -n 's/^stat::number_of_executed_units: *//p' "$folder/logs/$name") runs" \
      fuzzed_cleanly "$folder/logs/$name"
  done
}

fuzzed_cleanly() {
  tail -n 40 "$1"
  [[ $(<"$1.rc") == 0 ]]
}
