# shellcheck shell=bash
# What the other scripts share; sourced from the top folder, never run. Installs what is missing and builds.

say() { printf '%s\n' "$*"; }

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# show_help "$@": for -h and --help, shows the comment that the script begins with, and ends.
show_help() {
  case ${1:-} in
    -h | --help)
      sed -n '2,/^[^#]/p' "scripts/$(basename "$0")" | sed '$d; s/^# \{0,1\}//'
      exit 0
      ;;
  esac
}

is_mac() { [ "$(uname -s)" = Darwin ]; }

# The user's home folder as the user database has it.
home_folder() {
  if is_mac; then
    dscl . -read "/Users/$(id -un)" NFSHomeDirectory | sed 's/^NFSHomeDirectory: //'
  else
    getent passwd "$(id -u)" | cut -d: -f6
  fi
}

# Installs the named Debian packages that are missing; asks for nothing when none is.
install_debian() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "Installing: ${missing[*]}"
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "missing packages: ${missing[*]}. Installing them takes root, and there is no" \
      "sudo. Have somebody run: apt-get install ${missing[*]}"
    as_root=(sudo)
  fi
  {
    flock 9 # apt-get refuses to work beside another one, and these scripts may run side by side.
    "${as_root[@]}" apt-get update -qq || fail "apt-get update failed; missing packages: ${missing[*]}"
    DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" \
      >/dev/null 9<&- || fail "apt-get could not install: ${missing[*]}"
  } 9<scripts/lib.sh
}

install_homebrew() {
  command -v brew >/dev/null || fail "Homebrew is missing; see https://brew.sh, or install by hand: $*"
  xcode-select -p >/dev/null 2>&1 || fail "Xcode's command-line tools are missing; run: xcode-select --install"
  local package
  for package in "$@"; do
    brew list --versions "$package" >/dev/null 2>&1 || brew install "$package" || fail "brew could not install $package"
  done
}

# What a build needs, tests included.
install_build_tools() {
  if is_mac; then
    install_homebrew cmake ninja googletest cli11 # jsoncpp is compiled along.
  elif command -v apt-get >/dev/null; then
    install_debian g++ cmake ninja-build libjsoncpp-dev uuid-dev libgtest-dev libcli11-dev locales mandoc \
      python3 python3-jsonschema
  else
    local tool
    for tool in g++ cmake ninja; do
      command -v "$tool" >/dev/null || fail "$tool is missing, and this system is neither Debian nor a Mac." \
        "Needed: g++, cmake 3.25 or newer, ninja, jsoncpp 1.9.5, libuuid, googletest, CLI11 (with their headers)"
    done
  fi
}

# build PRESET [TARGET]
build() {
  cmake --preset "$1" || fail "configuring failed"
  cmake --build --preset "$1" --target "${2:-all}" || fail "the build failed"
}

# bundle_value PRESET KEY: what the configured preset says of its bundle: its `name`, or the names of its `programs`.
bundle_value() { sed -n "s/^$2=//p" "build/$1/bundle.txt"; }
