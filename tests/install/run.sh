#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the build tree into a scratch prefix and checks it as a user meets
# it: the headers (every export declared by name, each header alone in C99 and
# C++), the three pkg-config files and the CMake package with its components,
# one version everywhere, and morvex-m-info run against the installed library.
set -euo pipefail
build=$1 work=$2 here=$3 exports=$4
fail() { echo "FAILED: $*" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" > "$work/install.log"
prefix=$work/prefix inc=$work/prefix/include
pc=$(find "$prefix" -name morvex-m.pc | head -n1)
[ -n "$pc" ] || fail "morvex-m.pc not installed"
libdir=$(dirname "$(dirname "$pc")")
export PKG_CONFIG_PATH="$libdir/pkgconfig"
version=$(pkg-config --modversion morvex-m)

# Headers: no token pasting, every export written out as a prototype.
! grep -rn '##' "$inc" || fail "token pasting in a public header"
grep -rhoE 'MORVEX_M_API [a-z0-9_ ]+\*? ?morvex_m_[a-z0-9_]+\(' "$inc" | grep -oE 'morvex_m_[a-z0-9_]+\($' | tr -d '(' | sort > "$work/declared"
sort -u "$exports" > "$work/exported"
diff "$work/exported" "$work/declared" || fail "export list and declared prototypes differ (< list only, > headers only)"
for h in $(cd "$inc" && find . -name '*.h' | sort); do
  printf '#include "%s"\nint main(void) { return 0; }\n' "$h" > "$work/one.c"
  cc -std=c99 -pedantic -Wall -Wextra -Werror -I"$inc" -fsyntax-only "$work/one.c" || fail "$h alone as C99"
  c++ -std=c++17 -pedantic -Wall -Wextra -Werror -I"$inc" -fsyntax-only -x c++ "$work/one.c" || fail "$h alone as C++"
done

# pkg-config: one program per library, strict C99, run from the custom prefix.
for lib in morvex-m morvex-core morvex-tp; do
  [ "$(pkg-config --modversion $lib)" = "$version" ] || fail "$lib.pc version"
  cc -std=c99 -pedantic -Wall -Wextra -Werror -DLIB_${lib#morvex-} "$here/consumer/consumer.c" \
     $(pkg-config --cflags --libs $lib) -Wl,-rpath,"$libdir" -o "$work/pc-$lib"
  "$work/pc-$lib" > "$work/pc-$lib.out" || fail "pkg-config consumer of $lib"
done
grep -qx "headers $version, library $version" "$work/pc-morvex-m.out" || fail "header and library versions"

# find_package: each row is the arguments after the package name, and either
# "ok" or the text the failure must name.
major=${version%%.*}
while IFS='|' read -r args expect; do
  rm -rf "$work/cmake-consumer"
  if cmake -S "$here/consumer" -B "$work/cmake-consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
       "-DFIND_ARGS=$args" > "$work/cmake.log" 2>&1; then
    [ "$expect" = ok ] || fail "find_package($args) succeeded"
    cmake --build "$work/cmake-consumer" > "$work/cmake-build.log" || fail "consumers of find_package($args)"
    for exe in "$work"/cmake-consumer/consumer_*; do "$exe" > /dev/null || fail "$exe ($args)"; done
  else
    [ "$expect" != ok ] && grep -q -- "$expect" "$work/cmake.log" || { cat "$work/cmake.log"; fail "find_package($args)"; }
  fi
done <<EOF
${version%.*};REQUIRED|ok
$major.0;REQUIRED;COMPONENTS;core;tp|ok
$((major + 1));REQUIRED|Could not find a configuration file
REQUIRED;COMPONENTS;core;bogus|component 'bogus' does not exist
EOF
mv "$libdir"/cmake/morvex-m/morvex-tp-targets{,-release}.cmake "$work/"
cmake -S "$here/consumer" -B "$work/cmake-missing" -DCMAKE_PREFIX_PATH="$prefix" "-DFIND_ARGS=REQUIRED" \
  > "$work/cmake.log" 2>&1 && fail "find_package without the tp targets succeeded"
grep -q "component 'tp' is not installed" "$work/cmake.log" || fail "missing component not named"
mv "$work"/morvex-tp-targets{,-release}.cmake "$libdir/cmake/morvex-m/"

# morvex-m-info against the installed library, then against a stripped copy,
# then against a copy whose descriptor section has another name.
info=$prefix/bin/morvex-m-info
"$info" --help | grep -q '^Usage: morvex-m-info' || fail "--help"
[ "$("$info" --version)" = "morvex-m-info $version, libmorvex-m $version" ] || fail "--version"
rc=0; "$info" --bogus 2> /dev/null || rc=$?; [ $rc = 2 ] || fail "unknown argument exits $rc"
check_info() {  # LD_LIBRARY_PATH ("" for none), directory of the library shown, descriptor state
  LD_LIBRARY_PATH=$1 "$info" > "$work/info.txt" || fail "morvex-m-info with '$1'"
  head -n1 "$work/info.txt" | grep -qF "libmorvex-m $version ($2/libmorvex-m.so." || fail "version line: $(head -n1 "$work/info.txt")"
  grep -q "), headers $version\$" "$work/info.txt" || fail "headers version"
  [ "$(grep -cE '^  (double|single) +libfftw3f?\.so\.3 +can(not)? be loaded$' "$work/info.txt")" = 2 ] || fail "FFTW lines"
  local kernel='(plain|sse4\.2|avx|avx2\+fma3|avx512f\+cd)$' family='(plain|sse4\.2|avx|avx2\+fma3|avx512f\+cd(\+dq|\+bw)?)$'
  if [ "$3" = described ]; then
    [ "$(sed -n '/^kernel slots/,/^$/p' "$work/info.txt" | grep -cE "^  [a-z0-9_]+ +$kernel")" = 22 ] || fail "22 slots"
    sed -n '/^call-time families/,$p' "$work/info.txt" | tail -n +2 > "$work/families.txt"
    [ -s "$work/families.txt" ] && ! grep -vE "^  .+ $family" "$work/families.txt" || fail "call-time families"
  else
    grep -q "^kernel slots and call-time families: not available (.* carries no kernel descriptor)" \
      "$work/info.txt" || fail "absent descriptor not reported"
  fi
}
check_info "" "$(cd "$libdir" && pwd -P)" described
mkdir -p "$work/stripped"
cp -L "$libdir"/libmorvex-{m,core,tp}.so.0 "$work/stripped/"
strip --strip-all "$work/stripped/libmorvex-m.so.0"
check_info "$work/stripped" "$work/stripped" described
objcopy --rename-section .morvex_m_describe=.morvex_m_renamed "$work/stripped/libmorvex-m.so.0"
check_info "$work/stripped" "$work/stripped" absent
echo "install check passed"
