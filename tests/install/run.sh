#!/usr/bin/env bash
# Installs the build tree into a scratch prefix (with morvex-m-info) and builds
# a strict C99 consumer against it, once through pkg-config and once through
# find_package. (The test binaries compile the same header as C++.)
set -euo pipefail
build=$1 work=$2 here=$3
rm -rf "$work" && mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" > "$work/install.log"
pc=$(find "$work/prefix" -name morvex-m.pc | head -n1)
[ -n "$pc" ] || { echo "morvex-m.pc not installed"; exit 1; }
libdir=$(dirname "$(dirname "$pc")")
LD_LIBRARY_PATH="$libdir" "$work/prefix/bin/morvex-m-info" | grep "libmorvex-m 1.5.38" > /dev/null
PKG_CONFIG_PATH="$libdir/pkgconfig" cc -std=c99 -pedantic -Wall -Wextra -Werror "$here/consumer/consumer.c" \
  $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs morvex-m) -Wl,-rpath,"$libdir" -o "$work/consumer_pc"
"$work/consumer_pc"
cmake -S "$here/consumer" -B "$work/cmake-consumer" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" > "$work/cmake.log"
cmake --build "$work/cmake-consumer" > "$work/cmake-build.log"
"$work/cmake-consumer/consumer_c"
