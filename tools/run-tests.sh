#!/usr/bin/env bash
# Sets up, builds and runs the whole test suite: a release build (with the
# Python oracle tests, the export check, the examples and the install check),
# the HTML reference (which must build without a warning), the whole
# suite again under AddressSanitizer + UndefinedBehaviorSanitizer, and the
# concurrency tests under ThreadSanitizer.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc)
"$root/tools/setup-debian.sh"

configure_and_test() {  # name, ctest args..., -- cmake args...
  local name=$1; shift
  local ctest_args=()
  while [ $# -gt 0 ] && [ "$1" != "--" ]; do ctest_args+=("$1"); shift; done
  shift
  echo "== $name"
  cmake -S "$root" -B "$root/build/$name" -G Ninja "$@" > /dev/null
  cmake --build "$root/build/$name" -j "$jobs"
  (cd "$root/build/$name" && ctest -j "$jobs" --output-on-failure "${ctest_args[@]}")
}

configure_and_test release -- -DCMAKE_BUILD_TYPE=Release
echo "== docs (the HTML reference; any doxygen warning fails)"
cmake --build "$root/build/release" --target docs
configure_and_test asan -- -DCMAKE_BUILD_TYPE=RelWithDebInfo "-DMORVEX_SANITIZE=address,undefined" \
  -DMORVEX_BUILD_BENCH=OFF -DMORVEX_BUILD_EXAMPLES=OFF
configure_and_test tsan -R 'Concurrency|Pool|Split' -- -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMORVEX_SANITIZE=thread \
  -DMORVEX_BUILD_BENCH=OFF -DMORVEX_BUILD_EXAMPLES=OFF
echo "all test builds passed"
