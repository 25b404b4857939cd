# The browser tests: Node's own test runner, with the packages of tests/browser. Sourced after results.sh.
# shellcheck shell=bash

# npm comes with some builds of Node and apart from others.
browser_packages_missing() {
  command -v node >/dev/null || echo nodejs
  command -v npm >/dev/null || echo npm
}

install_browser_modules() {
  local folder=$root/tests/browser
  if [[ ! -d $folder/node_modules || $folder/package-lock.json -nt $folder/node_modules/.package-lock.json ]]; then
    quietly "$root/build/npm.log" npm --prefix "$folder" ci --no-audit --no-fund
  fi
}

# Each test file is run on its own and its cases are counted.
run_browser_tests() {
  local file name results start bad good skips ended
  for file in "$root"/tests/browser/*.test.mjs; do
    name=$(basename "$file" .test.mjs)
    results=$root/build/linux-release/results/browser-$name
    start=$SECONDS ended=0
    mkdir -p "$results"
    TARNWICK=$root/build/linux-release/tarnwick TARNWICK_FAKE_POWER=1 \
      timeout 3600 node --test --test-reporter=tap "$file" >"$results/log" 2>&1 </dev/null || ended=1
    good=$(sed -n 's/^# pass \([0-9]*\)$/\1/p' "$results/log")
    bad=$(sed -n 's/^# fail \([0-9]*\)$/\1/p' "$results/log")
    skips=$(sed -n 's/^# skipped \([0-9]*\)$/\1/p' "$results/log")
    good=${good:-0} bad=${bad:-0} skips=${skips:-0}
    if ((ended != 0 && bad == 0)) || ((good + bad == 0)); then
      bad=$((bad + 1))
    fi
    passed=$((passed + good)) failed=$((failed + bad)) skipped=$((skipped + skips))
    if ((bad > 0)); then
      printf '  FAILED  browser %s: %d passed, %d failed, %d skipped (%d s)\n' "$name" "$good" "$bad" "$skips" \
        $((SECONDS - start))
      grep -A 30 '^ *not ok' "$results/log" | head -n 120 | indent || true
      echo "    log: $results/log"
    else
      printf '  ok      browser %s: %d passed, %d skipped (%d s)\n' "$name" "$good" "$skips" $((SECONDS - start))
    fi
  done
}
