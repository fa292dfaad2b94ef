#!/usr/bin/env bash
# Installs the build into a temporary prefix, builds the example host out of
# tree against it twice (CMake's find_package and pkg-config), runs both on
# their generated frame and checks that the style changed the picture and
# that the installed library found the installed resource images.
#
#   install_and_build_example.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$(realpath "$1")
source=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

cmake --install "$build" --prefix "$prefix" >/dev/null
for f in include/nudora/entry/Nudora.h lib/libnudora.a share/nudora/Textures/3DLUT_ARRI.png bin/nudora \
         lib/cmake/Nudora/NudoraConfig.cmake lib/pkgconfig/nudora.pc; do
  [ -e "$prefix/$f" ] || { echo "not installed: $f"; exit 1; }
done
soname=$(objdump -p "$prefix/lib/libnudora.so" | awk '/SONAME/ {print $2}')
[ "$soname" = "libnudora.so.0" ] || { echo "SONAME is '$soname', want libnudora.so.0"; exit 1; }

check() {  # check LABEL OUTPUT
  echo "$1: $2" | tr '\n' ' '; echo
  local change
  change=$(sed -n 's/^mean change \([0-9.]*\).*/\1/p' <<<"$2")
  awk -v c="$change" 'BEGIN { exit !(c > 2.0) }' || { echo "$1: the style left the frame unchanged"; exit 1; }
  grep -q "^resources $prefix/share/nudora$" <<<"$2" || { echo "$1: resources not taken from the prefix"; exit 1; }
}

cmake -S "$source/examples/host" -B "$work/cmake-host" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-host" >/dev/null
check "find_package" "$(env -u NUDORA_RESOURCE_DIR "$work/cmake-host/nudora_host")"

export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
# shellcheck disable=SC2046  # pkg-config's flags are separate words
c++ -std=c++20 -o "$work/pc-host" "$source/examples/host/main.cpp" $(pkg-config --cflags --libs nudora)
check "pkg-config" "$(env -u NUDORA_RESOURCE_DIR LD_LIBRARY_PATH="$prefix/lib" "$work/pc-host")"
