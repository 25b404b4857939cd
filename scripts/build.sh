# Configuring and building a preset, quiet unless it fails. Sourced after `root` is set.
# shellcheck shell=bash

# CMake takes the launcher over into a build folder when it first configures it.
if [[ -z ${CMAKE_CXX_COMPILER_LAUNCHER:-} ]] && command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

# quietly LOG COMMAND...: the output goes to the log, its end to standard error should the command fail.
quietly() {
  local log=$1
  shift
  mkdir -p "${log%/*}"
  if ! "$@" >"$log" 2>&1 </dev/null; then
    tail -n 40 "$log" >&2
    echo "Failed; the whole log is $log" >&2
    return 1
  fi
}

# Whether a preset's folder is yet to be configured, or was before the presets changed.
is_unconfigured() {
  local ninja="$root/build/$1/build.ninja"
  [[ ! -f $ninja || $root/CMakePresets.json -nt $ninja ]]
}

# configure PRESET [CMAKE OPTION...]
configure() {
  local preset=$1
  shift
  quietly "$root/build/$preset-configure.log" cmake -S "$root" --preset "$preset" "$@"
}

# build PRESET [TARGET...]: all targets when none is named.
build() {
  local preset=$1
  shift
  quietly "$root/build/$preset-build.log" \
    cmake --build "$root/build/$preset" --parallel "$(nproc)" ${1:+--target "$@"}
}
