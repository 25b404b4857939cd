# What is looked at in the modules built for Windows. Sourced.
# shellcheck shell=bash

# Libraries that every Windows has.
windows_libraries='kernel32|user32|gdi32|advapi32|ole32|oleaut32|shell32|msvcrt|ucrtbase|api-ms-win-[a-z0-9-]*'

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
