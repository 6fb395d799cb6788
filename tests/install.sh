#!/usr/bin/env bash
# Installs the library and builds the example application against what was installed, with CMake and
# with pkg-config, and starts both on a board: usage: install.sh BUILD-FOLDER.
set -euo pipefail
build=$1
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/installed" >/dev/null
test -s "$work/installed/share/man/man8/boardctl.8.gz"

cat >"$work/CMakeLists.txt" <<EOT
cmake_minimum_required(VERSION 3.25)
project(application C)
find_package(libsys 1.0 REQUIRED)
add_executable(with_cmake $source/examples/recorder/recorder.c)
target_link_libraries(with_cmake PRIVATE libsys::libsys)
EOT
cmake -S "$work" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/installed" >/dev/null
cmake --build "$work/build" >/dev/null

PKG_CONFIG_PATH=$(dirname "$(find "$work/installed" -name libsys.pc)")
export PKG_CONFIG_PATH
read -ra flags < <(pkg-config --cflags --libs libsys)
cc -o "$work/with_pkg_config" "$source/examples/recorder/recorder.c" "${flags[@]}" -Wl,-rpath,"${PKG_CONFIG_PATH%/*}"

vboard=("$work/installed/bin/vboard" --folder "$work/board")
"${vboard[@]}" make direct
for program in "$work/build/with_cmake" "$work/with_pkg_config"; do
  timeout 3 "${vboard[@]}" exec "$program" >"$work/console" || true
  grep -q 'recorder: running' "$work/console" || { cat "$work/console"; exit 1; }
done
