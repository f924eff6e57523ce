#!/usr/bin/env bash
# Installs the build tree into a scratch prefix and builds small consumers
# against it, once through pkg-config and once through find_package.
set -euo pipefail
build=$1 work=$2 here=$3

rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" > "$work/install.log"

pc=$(find "$work/prefix" -name morvex-m.pc | head -n1)
[ -n "$pc" ] || { echo "morvex-m.pc not installed"; exit 1; }
libdir=$(dirname "$(dirname "$pc")")
test -x "$work/prefix/bin/morvex-m-info" || { echo "morvex-m-info not installed"; exit 1; }
LD_LIBRARY_PATH="$libdir" "$work/prefix/bin/morvex-m-info" > "$work/info.txt"
grep -q "libmorvex-m 1.5.38" "$work/info.txt"

# pkg-config, strict C99.
export PKG_CONFIG_PATH="$libdir/pkgconfig"
cc -std=c99 -pedantic -Wall -Wextra -Werror "$here/consumer/consumer.c" \
   $(pkg-config --cflags --libs morvex-m) -Wl,-rpath,"$libdir" -o "$work/consumer_pc"
"$work/consumer_pc"

# find_package, C and C++.
cmake -S "$here/consumer" -B "$work/cmake-consumer" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" > "$work/cmake.log"
cmake --build "$work/cmake-consumer" > "$work/cmake-build.log"
"$work/cmake-consumer/consumer_c"
"$work/cmake-consumer/consumer_cxx"
echo "install check passed"
