# SPDX-License-Identifier: Apache-2.0
# Sourced by ./demo and ./check: goes to the repository's folder and makes sure that what a build needs is installed (Debian 12).

cd "$(dirname "${BASH_SOURCE[0]}")/.."

# What every build needs, and the certificates that https is verified with. Tests and the demo's tools come with install_missing's arguments.
build_packages=(g++ cmake ninja-build libxml2-dev libcurl4-openssl-dev libssl-dev libsodium-dev libtomlplusplus-dev libcli11-dev nlohmann-json3-dev
  libcpp-httplib-dev pkg-config ca-certificates)

die() {
  echo "${0##*/}: $*" >&2
  exit 1
}

# Installs those of the build's packages and of the arguments that are missing.
install_missing() {
  command -v dpkg-query >/dev/null || {
    echo "${0##*/}: this is no Debian; I go on and hope that these are there: ${build_packages[*]} $*" >&2
    return
  }
  local package missing=() as_root=()
  for package in "${build_packages[@]}" "$@"; do
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  if ((EUID != 0)); then
    command -v sudo >/dev/null || die "these packages are missing: ${missing[*]}; install them as root, or install sudo (I am neither root nor is there sudo)"
    as_root=(sudo)
  fi
  echo "Installing: ${missing[*]}"
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q </dev/null ||
    die "apt-get update failed; is there a network? The missing packages are: ${missing[*]}"
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}" </dev/null ||
    die "apt-get install failed for: ${missing[*]}"
}

# Configures and builds a preset; its output goes to a log unless it fails.
build() {
  local preset=$1 log=build/$1.log
  shift
  mkdir -p build
  echo "Building preset $preset (log: $log)"
  { cmake --preset "$preset" && cmake --build --preset "$preset" "$@"; } >"$log" 2>&1 || {
    tail -n 60 "$log" >&2
    die "building preset $preset failed; the whole log is $PWD/$log"
  }
}
