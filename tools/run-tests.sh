#!/usr/bin/env bash
# Sets up, builds and runs the whole test suite: a release build (with the
# Python oracle tests, the export check, the examples and the install check),
# the HTML reference (which must build without a warning), the Python
# package installed from that build into a fresh virtual environment, the whole
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

# The Python package: a wheel made from the release build (no second compile),
# installed into a fresh virtual environment and tested from outside the
# source tree, so that what runs is the installed wheel and its own libraries.
python_package() {
  local venv=$root/build/release/python-venv work=$root/build/release/python-tests
  echo "== python package"
  rm -rf "$venv" "$work" && mkdir -p "$work"
  /usr/bin/python3 -m venv --system-site-packages "$venv"
  MORVEX_M_BUILD_DIR=$root/build/release "$venv/bin/python" -m pip install -q --no-build-isolation --no-index \
    "$root/python"
  (cd "$work" && env -u MORVEX_M_LIB "$venv/bin/python" -m pytest -q -p no:cacheprovider --import-mode=importlib \
    --rootdir "$work" "$root/python/tests")
}
python_package
configure_and_test asan -- -DCMAKE_BUILD_TYPE=RelWithDebInfo "-DMORVEX_SANITIZE=address,undefined" \
  -DMORVEX_BUILD_BENCH=OFF -DMORVEX_BUILD_EXAMPLES=OFF
configure_and_test tsan -R 'Concurrency|Pool|Split' -- -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMORVEX_SANITIZE=thread \
  -DMORVEX_BUILD_BENCH=OFF -DMORVEX_BUILD_EXAMPLES=OFF
echo "all test builds passed"
