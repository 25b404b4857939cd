# The Debian packages that the commands need, and their installation. Sourced after `root` is set.
# shellcheck shell=bash disable=SC2034  # each command uses its own lists

# To build and run the program.
build_packages=(
  cmake
  g++
  git
  juce-modules-source-data  # the VST3 interface headers
  libcli11-dev
  libasound2-dev
  libjack-jackd2-dev
  libssl-dev
  ninja-build
  pkg-config
  rapidjson-dev
)

# To build and run its tests and benchmarks.
test_packages=(
  espeak-ng  # a voice for the end-to-end tests
  libbenchmark-dev
  libgmock-dev
  jackd2       # a server for the JACK tests
  iproute2     # networks of several hosts
  libgtest-dev
  sox          # makes and measures sound files
  util-linux   # setarch
  zam-plugins  # effects that were not written here
)

# For the pages in a browser; Node comes as scripts/browser.sh says.
browser_packages=(chromium curl zam-plugins)

fuzz_packages=(clang-14 libclang-rt-14-dev)

style_packages=(clang-format clang-tidy shellcheck)

# To build what runs on Windows, to look at it and to run it.
windows_packages=(
  binutils-mingw-w64-x86-64
  g++-mingw-w64-x86-64-posix
  googletest  # its sources, to build for Windows
  rapidjson-dev
  wine
  wine64
  xvfb  # a screen for the program's window
)

# The packages among the given ones that are not installed, one a line.
missing_packages() {
  local name
  local -A installed=()
  while read -r name; do
    installed[$name]=1
  done < <(dpkg-query --show --showformat='${Package} ${db:Status-Status}\n' "$@" 2>/dev/null |
    sed -n 's/ installed$//p')
  for name in "$@"; do
    if [[ -z ${installed[$name]:-} ]]; then
      echo "$name"
    fi
  done
}

# Installs what is missing of the given packages; says so only when there is something to do. Fails when it may not
# install or cannot.
require_packages() {
  if ! command -v dpkg-query >/dev/null; then
    return 0  # another system: the build tells what it does not find
  fi
  local missing log="$root/build/packages.log" as_root=()
  mapfile -t missing < <(missing_packages "$@")
  if ((${#missing[@]} == 0)); then
    return 0
  fi
  if ((EUID != 0)); then
    if ! sudo -n true 2>/dev/null; then
      echo "These packages are missing; install them with" >&2
      echo "  sudo apt-get update && sudo apt-get install --no-install-recommends ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo -n)
  fi
  echo "Installing ${missing[*]}"
  mkdir -p "${log%/*}"
  # A source of packages that does not answer need not be one that is needed: the installation decides.
  "${as_root[@]}" apt-get update >"$log" 2>&1 || true
  if ! "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=120 \
    install -y --no-install-recommends "${missing[@]}" >>"$log" 2>&1 </dev/null; then
    tail -n 30 "$log" >&2
    echo "The installation failed; the whole log is $log" >&2
    return 1
  fi
}
