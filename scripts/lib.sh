# What the other scripts share; sourced, never run. Installs what is missing and builds.

say() { printf '%s\n' "$*"; }

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

is_mac() { [ "$(uname -s)" = Darwin ]; }

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
    command -v sudo >/dev/null || fail "missing packages: ${missing[*]}. Installing them takes root, and there is no sudo." \
      "Have somebody run: apt-get install ${missing[*]}"
    as_root=(sudo)
  fi
  "${as_root[@]}" apt-get update -qq || fail "apt-get update failed; missing packages: ${missing[*]}"
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" \
    >/dev/null || fail "apt-get could not install: ${missing[*]}"
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

# fetch_jsoncpp FOLDER: gets the source archive of jsoncpp into FOLDER, as libjsoncpp_1.9.5.orig.tar.gz, unless it is there.
#
# It comes as Debian's source package. apt works with a configuration of its own, so that the system's stays as it is: what
# the system has as sources of binary packages, as sources of source packages. That takes no root.
fetch_jsoncpp() {
  local folder=$1 version=1.9.5-4 archive=libjsoncpp_1.9.5.orig.tar.gz sum apt options
  sum=$(sed -n 's/.*URL_HASH SHA256=\([0-9a-f]*\).*/\1/p' cmake/jsoncpp.cmake)
  if printf '%s  %s\n' "$sum" "$folder/$archive" | sha256sum --check --status 2>/dev/null; then return 0; fi
  say "Fetching the sources of jsoncpp"
  apt=$folder/apt
  mkdir -p "$apt/lists/partial" "$apt/cache/archives/partial"
  apt-get indextargets --no-release-info --format 'deb-src $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
    sort -u >"$apt/sources.list"
  options=(-qq -o "Dir::Etc::SourceList=$apt/sources.list" -o Dir::Etc::SourceParts=/dev/null
    -o "Dir::State::Lists=$apt/lists" -o "Dir::Cache=$apt/cache" -o APT::Sandbox::User=)
  apt-get "${options[@]}" update || fail "apt-get could not read the lists of source packages"
  (cd "$folder" && apt-get "${options[@]}" source --download-only --tar-only "libjsoncpp=$version") ||
    fail "apt-get could not fetch the source package of jsoncpp"
  rm -rf "$apt"
  printf '%s  %s\n' "$sum" "$folder/$archive" | sha256sum --check --status ||
    fail "$folder/$archive does not have the expected checksum"
}

# build PRESET [TARGET]
build() {
  cmake --preset "$1" || fail "configuring failed"
  cmake --build --preset "$1" --target "${2:-all}" || fail "the build failed"
}

# bundle_value PRESET KEY: what the configured preset says of its bundle: its `name`, or the names of its `programs`.
bundle_value() { sed -n "s/^$2=//p" "build/$1/bundle.txt"; }
