# What is looked at in the files built for Windows, and the Wine that runs them. Sourced after `root` is set.
# shellcheck shell=bash

# Libraries that every Windows has.
windows_libraries='kernel32|user32|gdi32|advapi32|bcrypt|comctl32|crypt32|iphlpapi|ole32|oleaut32|shell32|ws2_32'
windows_libraries+='|msvcrt|ucrtbase|api-ms-win-[a-z0-9-]*'

pe_headers() {
  x86_64-w64-mingw32-objdump --private-headers "$1"
}

is_library() {
  local headers
  headers=$(pe_headers "$1")
  grep -q '(PE32+)$' <<<"$headers" && grep -qP '^\tDLL$' <<<"$headers"
}

# exports_exactly FILE NAME...
exports_exactly() {
  local file=$1
  shift
  diff <(printf '%s\n' "$@" | sort) \
    <(pe_headers "$file" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] //p' | sort)
}

imports_only_the_system() {
  local names
  names=$(pe_headers "$1" | sed -n 's/^\tDLL Name: //p')
  if [[ -z $names ]]; then
    echo "no imports found"
    return 1
  fi
  ! grep -viE "^($windows_libraries)\.dll\$" <<<"$names"
}

is_windowed_program() {
  local headers
  headers=$(pe_headers "$1")
  grep -q '(PE32+)$' <<<"$headers" && ! grep -qP '^\tDLL$' <<<"$headers" && grep -q '(Windows GUI)$' <<<"$headers"
}

# Makes the Wine prefix once, and starts its server and a screen, which last until stop_wine. Without the server kept up
# every program takes a second longer to start, and the services that it starts hold its output open.
start_wine() {
  export WINEPREFIX=$root/build/wine WINEDEBUG=-all
  unset WINEARCH
  wineserver -k || true  # one that a broken run has left has another screen
  start_screen || return
  if [[ ! -f $WINEPREFIX/ready ]]; then
    quietly "$root/build/wine.log" make_wine_prefix || return
  fi
  wineserver -p60
  wine cmd /c ver >/dev/null 2>&1
}

make_wine_prefix() {
  rm -rf "$WINEPREFIX"
  timeout 200 wine wineboot -i || return
  # A program that crashes ends at once: the debugger would keep it.
  wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /t REG_SZ /d - /f || return
  # Windows draw their own frames: there is no window manager.
  wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f || return
  wine winecfg -v win10 || return
  wineserver -w
  touch "$WINEPREFIX/ready"
}

screen_process=

start_screen() {
  local number
  exec {screen_pipe}< <(exec Xvfb -displayfd 1 -screen 0 1280x800x24 -nolisten tcp 2>/dev/null)
  screen_process=$!
  if ! read -r -t 20 -u "$screen_pipe" number; then
    echo "Xvfb did not start" >&2
    return 1
  fi
  export DISPLAY=:$number
}

stop_wine() {
  if [[ -n ${WINEPREFIX:-} ]]; then
    wineserver -k || true
  fi
  if [[ -n $screen_process ]]; then
    kill "$screen_process" 2>/dev/null || true
    exec {screen_pipe}<&-
    screen_process=
  fi
}
