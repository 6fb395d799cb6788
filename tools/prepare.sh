# shellcheck shell=bash disable=SC2034  # the variables are for those who source it
# Sourced by run and test: installs what is missing and builds a preset.

packages=(g++ cmake ninja-build libgtest-dev libgmock-dev libbenchmark-dev libtomlplusplus-dev libcli11-dev
          libcpp-httplib-dev nlohmann-json3-dev pkgconf zlib1g-dev python3)
fuzz_packages=(clang libclang-rt-dev llvm)

# Installs the packages named that are not there; needs root, or sudo, only then.
install_missing() {
  local missing=() package
  for package in "$@"; do
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] ||
      missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  echo "Installing ${missing[*]}"
  local as_root=()
  [[ $(id -u) == 0 ]] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
}

# Configures a preset and builds the targets named, or everything, showing the tools' output
# only when one fails.
build() {
  local preset=$1 log targets=()
  shift
  if (($#)); then targets=(--target "$@"); fi
  log=$(mktemp)
  echo "Building ($preset)"
  if ! { cmake --preset "$preset" && cmake --build --preset "$preset" "${targets[@]}"; } \
    >"$log" 2>&1; then
    cat "$log"
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}
