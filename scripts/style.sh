# What the source must look like and which folder may use which. Sourced.
# shellcheck shell=bash

# Lowest first.
source_folders=(platform platform/audio text sound settings system plugin engine record playback remote ombrel app)

# Whose headers each folder may include, its own aside. `app` may use every folder.
declare -A may_include=(
  [platform]=""
  [platform/audio]="platform"
  [text]="platform"
  [sound]="platform platform/audio"
  [settings]="platform text"
  [system]="platform text"
  [plugin]="platform"
  [engine]="platform platform/audio sound plugin system"
  [record]="platform text sound system"
  [playback]="platform text sound system"
  [remote]="platform text system"
  [ombrel]=""
)

# The folders that the table speaks of and that are there.
checked_folders() {
  local folder
  for folder in "${source_folders[@]}"; do
    if [[ -v may_include[$folder] && -f $root/$folder/CMakeLists.txt ]]; then
      echo "$folder"
    fi
  done
}

# The source files, as paths from the root; arguments are the folders to look in.
source_files() {
  (cd "$root" && find "${@:-.}" \( -name build -o -name dist -o -name node_modules -o -name '.?*' \) -prune \
    -o -type f \( -name '*.h' -o -name '*.cpp' \) -print | sed 's|^\./||' | sort)
}

# Leaves out of a list of paths what belongs to a library within the folder: platform/audio is not platform's.
without_inner_folders() {
  local other pattern='^$'
  for other in "${source_folders[@]}"; do
    if [[ $root/$other == "${1/#"$root/"/}"/* || $root/$other == "$root/$1"/* ]]; then
      pattern+="|(^|[ /])$other/"
    fi
  done
  grep -vE "$pattern"
}

# no_lines COMMAND...: what the command prints are faults.
no_lines() {
  local lines
  lines=$("$@") || true
  if [[ -n $lines ]]; then
    echo "$lines"
    return 1
  fi
}

# Names the files that clang-format -i would change.
unformatted_files() {
  local file
  cd "$root" || return
  for file in $(source_files); do
    if ! clang-format --dry-run -Werror "$file" 2>/dev/null; then
      echo "$file"
    fi
  done
}

upward_includes() {
  (cd "$root" && source_files | xargs -r grep -nE '^ *# *include "\.\./')
}

# Conditions on the system belong to the folders that face it.
system_conditions() {
  (cd "$root" && source_files |
    grep -vE '^(platform|app/windows|app/linux|tests/support)/|^ombrel/entry\.cpp$' |
    xargs -r grep -nE \
      '^ *# *(el)?if.*\b(_WIN32|_WIN64|WIN32|_MSC_VER|__MINGW32__|__MINGW64__|__linux__|__unix__|__APPLE__)\b')
}

# Includes of a folder that the including one may not use. A library passes on the headers of those that its own
# headers need, so the compiler alone would let some of these through.
forbidden_includes() {
  local folder other
  for folder in $(checked_folders); do
    for other in "${source_folders[@]}"; do
      if [[ $other != "$folder" && " ${may_include[$folder]} " != *" $other "* ]]; then
        (cd "$root" && source_files "$folder" | without_inner_folders "$folder" |
          xargs -r grep -nE "^ *# *include \"$other/" | grep -vE "include \"$folder/") || true
      fi
    done
  done
}

# The folders whose headers the compiler finds for a folder: those of the table and what they may use in turn.
visible_folders() {
  local other
  for other in ${may_include[$1]}; do
    echo "$other"
    visible_folders "$other"
  done | sort -u
}

# The compiler's command for a source of the folder, up to the options that name the files.
compile_command() {
  grep -E "^ *\"command\": .*-c $root/$1/[^\"]*\.cpp\"" "$root/build/linux-release/compile_commands.json" |
    without_inner_folders "$root/$1" | sed -n '1{s/^ *"command": "//; s/ -o .*//; s/\\"/"/g; p}'
}

# Preprocesses a one-line source that includes a header of each other folder, with the options of this one: exactly the
# visible ones may be found.
folder_finds_only_its_own() {
  local folder=$1 command visible other header faults=0
  command=$(compile_command "$folder")
  if [[ -z $command ]]; then
    echo "$folder is not among the build's sources"
    return 1
  fi
  visible=" $(visible_folders "$folder" | tr '\n' ' ')"
  for other in "${source_folders[@]}"; do
    header=$(cd "$root" && find "$other" -maxdepth 1 -name '*.h' 2>/dev/null | sort | head -n 1)
    if [[ $other == "$folder" || -z $header ]]; then
      continue
    fi
    if echo "#include \"$header\"" | (cd "$root/build/linux-release" && eval "$command -x c++ -E -o /dev/null -") \
      >"$root/build/include-probe.log" 2>&1; then
      if [[ $visible != *" $other "* ]]; then
        echo "$folder finds $header, which it may not use"
        faults=1
      fi
    elif [[ $visible == *" $other "* ]]; then
      cat "$root/build/include-probe.log"
      echo "$folder does not find $header, which it may use"
      faults=1
    elif ! grep -q "$header: No such file" "$root/build/include-probe.log"; then
      cat "$root/build/include-probe.log"
      echo "$folder: $header fails for another reason than being hidden"
      faults=1
    fi
  done
  return "$faults"
}

scripts_are_clean() {
  (cd "$root" && shellcheck --external-sources --check-sourced run test .ci/run)
}

# The sources of a build folder that are the program's own.
built_sources() {
  local folders
  folders=$(IFS='|' && echo "${source_folders[*]}")
  sed -nE "s#^ *\"file\": \"$root/(($folders)/[^\"]*)\".*#\1#p" "$1/compile_commands.json" | sort -u
}

# tidy_sources BUILD-FOLDER RESULTS: clang-tidy on every source, one log each; prints the names of those with faults.
tidy_sources() {
  rm -rf "$2"
  mkdir -p "$2"
  # shellcheck disable=SC2016  # expanded by the inner shell
  (cd "$root" && built_sources "$1" | xargs -r -P "$(nproc)" -I{} bash -c '
    log=$2/${3//\//-}.log
    clang-tidy --quiet -p "$1" "$3" >"$log" 2>"$log.errors" || echo "$3"' _ "$1" "$2" {})
}
