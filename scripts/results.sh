# Counting what was checked, and saying it. Sourced.
# shellcheck shell=bash

passed=0
failed=0
skipped=0

indent() {
  sed 's/^/    /'
}

# check NAME COMMAND...: one check; its output is shown when it fails.
check() {
  local name=$1 output
  shift
  if output=$("$@" 2>&1); then
    passed=$((passed + 1))
    echo "  ok      $name"
  else
    failed=$((failed + 1))
    echo "  FAILED  $name"
    indent <<<"$output"
  fi
}

# The work of a part that a part's own checks need (installing, building): a failure counts as one.
prepare() {
  local name=$1 start=$SECONDS
  shift
  if ! "$@" 2>&1; then
    failed=$((failed + 1))
    echo "  FAILED  $name"
    return 1
  fi
  echo "  ok      $name ($((SECONDS - start)) s)"
}
