# Running the test programs of a build folder and counting their cases. Sourced after results.sh.
# shellcheck shell=bash

# The names that CTest knows in a build folder. Further arguments go to CTest (-L, -LE).
test_names() {
  local folder=$1
  shift
  ctest --test-dir "$folder" --show-only "$@" | sed -n 's/^ *Test *#[0-9]*: *//p'
}

# The cases that failed in a program's log, each with what it printed; the log's end when no case had begun or ended.
failed_cases() {
  awk '
    { sub(/^[0-9]+: /, "") }
    / tests passed, .* failed out of / { exit }
    /^\[ RUN      \]/ { text = ""; running = 1 }
    { text = text $0 "\n" }
    /^\[  FAILED  \]/ && running { printf "%s", text; shown = 1 }
    /^\[ *(OK|FAILED|SKIPPED) *\]/ { running = 0; text = "" }
    /^\[==========\].* ran\./ { ended = 1 }
    END { if (!shown || !ended) { printf "%s", text } }' "$1" | tail -n 120
}

# The skipped cases of a result file, with their reasons.
skipped_cases() {
  awk '
    /<testcase / { name = $0; sub(/.*<testcase name="/, "", name); sub(/".*/, "", name)
                   suite = $0; sub(/.*classname="/, "", suite); sub(/".*/, "", suite) }
    /<skipped/ { reason = $0; sub(/.*message="[^"]*&#x0A;/, "", reason); sub(/".*/, "", reason)
                 sub(/&#x0A;$/, "", reason); print suite "." name ": " reason }' "$1" |
    sed 's/&lt;/</g; s/&gt;/>/g; s/&quot;/"/g; s/&apos;/'"'"'/g; s/&amp;/\&/g'
}

# attribute NAME FILE: a number of the first element that has it.
attribute() {
  sed -n "s/.*<testsuites.* $1=\"\([0-9]*\)\".*/\1/p" "$2"
}

# Put before a path that a test program is given: where the program's system has drives, the one that holds the root.
test_drive=

# Runs one program as CTest would and counts its cases. One that ends badly with no failed case to show for it (a crash,
# a time-out, a sanitizer's report, also one of a process that it had started) is one failure. A program of another kind
# is one case.
run_test_program() {
  local folder=$1 name=$2 start=$SECONDS
  local results=$folder/results/$name
  local cases=1 bad=0 skips=0 ended=0 report
  rm -rf "$results"
  mkdir -p "$results"
  GTEST_OUTPUT="xml:$test_drive$results/cases.xml" GTEST_COLOR=no \
    ASAN_OPTIONS="detect_leaks=1:log_path=$results/report" \
    UBSAN_OPTIONS="print_stacktrace=1:log_path=$results/report" \
    TSAN_OPTIONS="second_deadlock_stack=1:log_path=$results/report" \
    "${test_launcher[@]}" ctest --test-dir "$folder" --verbose --no-tests=error --tests-regex "^$name\$" \
    >"$results/log" 2>&1 </dev/null || ended=1
  if [[ -s $results/cases.xml ]]; then
    skips=$(grep -c '<skipped' "$results/cases.xml" || true)
    bad=$(attribute failures "$results/cases.xml")
    cases=$(($(attribute tests "$results/cases.xml") - $(attribute disabled "$results/cases.xml") - skips))
  elif ((ended != 0)); then
    bad=1
  fi
  if ((bad == 0)) && { ((ended != 0)) || compgen -G "$results/report.*" >/dev/null; }; then
    bad=1
    cases=$((cases + 1))
  fi
  passed=$((passed + cases - bad))
  failed=$((failed + bad))
  skipped=$((skipped + skips))

  local word=ok
  if ((bad > 0)); then
    word=FAILED
  fi
  printf '  %-7s %s: %d passed, %d failed, %d skipped (%d s)\n' \
    "$word" "$name" $((cases - bad)) "$bad" "$skips" $((SECONDS - start))
  if ((skips > 0)); then
    skipped_cases "$results/cases.xml" | sed 's/^/    skipped /'
  fi
  if ((bad > 0)); then
    failed_cases "$results/log" | indent
    for report in "$results"/report.*; do
      if [[ -f $report ]]; then
        head -n 60 "$report" | indent
      fi
    done
    echo "    log: $results/log"
  fi
}

# run_test_programs PRESET [CTEST OPTION...]: one after another, so that none takes the processors from one that
# measures time. `test_launcher` is put before the command.
run_test_programs() {
  local folder=$root/build/$1 name names
  shift
  mapfile -t names < <(test_names "$folder" "$@")
  if ((${#names[@]} == 0)); then
    failed=$((failed + 1))
    echo "  FAILED  no test program is registered"
  fi
  for name in "${names[@]}"; do
    run_test_program "$folder" "$name"
  done
}
