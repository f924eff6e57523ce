#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Sets up, builds and runs the whole test suite: a release build (with the
# Python oracle tests, the export check, the examples and the install check)
# whose test programs then run again under valgrind, the HTML reference
# (which must build without a warning), the Python package installed from
# that build into a fresh virtual environment, the whole suite again under
# AddressSanitizer + UndefinedBehaviorSanitizer (the allocation-failure sweep
# among it) with the ABI compared to abi/libmorvex-m.abi, the concurrency
# tests and a longer soak under ThreadSanitizer, and the libFuzzer harnesses
# for a bounded time each. Every stage reports how long it took.
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

timed() {  # runs a stage and reports its time
  local start=$SECONDS
  "$@"
  echo "-- ${*:1:2} took $((SECONDS - start)) s"
}

# valgrind memcheck over the release build's test programs (the Python oracle
# scripts are left out), two at a time: no error, nothing definitely lost
# (FFTW keeps its planner's tables reachable until fftw_cleanup, by design).
# valgrind cannot run AVX-512 code, and it hides AVX-512 from the CPUID it
# emulates, so the library's feature read finds none and no AVX-512 kernel
# is chosen; the sanitizer build and the fuzzers cover those kernels. The
# test programs that bring their own malloc or operator new (to make
# allocations fail on purpose) keep them: valgrind replaces only the C and
# C++ libraries' allocators, which those reach in the end. One test is left
# out: the transforms against the direct transform, which spends minutes
# under valgrind in its own long-double reference sums (O(n^2) per length);
# the other transform tests run here on both backends, and the fuzzer runs
# lengths up to 600 on both under AddressSanitizer.
valgrind_tests() {
  echo "== valgrind"
  local dir=$root/build/release/tests
  find "$dir" -maxdepth 1 -name 'test_*' -type f -perm -u+x -print0 | xargs -0 -P "$jobs" -I{} sh -c '
    valgrind -q --soname-synonyms=somalloc=nouserintercepts --error-exitcode=99 --leak-check=full \
      --show-leak-kinds=definite --errors-for-leak-kinds=definite "$1" --gtest_brief=1 \
      "--gtest_filter=-*MatchesDirectTransform*" > "$1.valgrind.log" 2>&1 ||
      { echo "valgrind: $1 failed"; tail -n 60 "$1.valgrind.log"; exit 1; }' sh {}
}

# The ABI of libmorvex-m.so.0 against abi/libmorvex-m.abi: any change of an
# export's signature, of a public struct or of the export list fails, even
# one libabigail calls harmless (docs/ABI.md: updating it on purpose). The
# sanitizer build is RelWithDebInfo, so its library has the debug
# information abidiff reads; build paths, sanitizers and private types do
# not enter the comparison.
abi_check() {
  echo "== abi"
  local report
  report=$(abidiff --harmless --headers-dir2 "$root/include" --drop-private-types "$root/abi/libmorvex-m.abi" \
    "$root/build/asan/libmorvex-m.so.0") && ! grep -Eq '[1-9][0-9]* (Removed|Changed|Added)' <<< "$report" || {
    echo "$report"
    echo "the ABI of libmorvex-m.so.0 differs from abi/libmorvex-m.abi (see docs/ABI.md)"
    return 1
  }
}

# The libFuzzer harnesses: a clang build of the library objects and the four
# harnesses only, each run for MORVEX_FUZZ_SECONDS (30) from a scratch copy of
# its seed corpus, two at a time. A crash, a failed check, a sanitizer
# report, a call over 10 s or 2 GB fails the stage and leaves the input in
# build/fuzz/work.
fuzz_one() {
  local dir=$root/build/fuzz name=$1
  rm -rf "$dir/work/$name" && mkdir -p "$dir/work/$name" && cp "$root/fuzz/corpus/$name"/* "$dir/work/$name/"
  if ! (cd "$dir/work" && "$dir/fuzz/fuzz_$name" "$name" -max_total_time="${MORVEX_FUZZ_SECONDS:-30}" \
        -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$dir/work/$name-" \
        > "$dir/work/$name.log" 2>&1); then
    echo "fuzz_$name found a failure:"; tail -n 60 "$dir/work/$name.log"; return 1
  fi
  echo "fuzz_$name: $(grep -o 'number_of_executed_units: [0-9]*' "$dir/work/$name.log" | grep -o '[0-9]*$') runs"
}
fuzz() {
  echo "== fuzz"
  cmake -S "$root" -B "$root/build/fuzz" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
    -DCMAKE_CXX_COMPILER=clang++ -DMORVEX_FUZZ=ON -DMORVEX_BUILD_TESTS=OFF -DMORVEX_BUILD_BENCH=OFF \
    -DMORVEX_BUILD_EXAMPLES=OFF -DMORVEX_BUILD_APPS=OFF > /dev/null
  cmake --build "$root/build/fuzz" --target fuzzers -j "$jobs"
  local pids=() failed=0 name
  for name in filter transform trigger arrays; do
    fuzz_one "$name" & pids+=($!)
    if [ ${#pids[@]} -ge "$jobs" ]; then wait "${pids[0]}" || failed=1; pids=("${pids[@]:1}"); fi
  done
  for pid in "${pids[@]}"; do wait "$pid" || failed=1; done
  return $failed
}

docs() {
  echo "== docs (the HTML reference; any doxygen warning fails)"
  cmake --build "$root/build/release" --target docs
}

timed configure_and_test release -- -DCMAKE_BUILD_TYPE=Release
timed valgrind_tests
timed docs

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
timed python_package
timed configure_and_test asan -- -DCMAKE_BUILD_TYPE=RelWithDebInfo "-DMORVEX_SANITIZE=address,undefined" \
  -DMORVEX_BUILD_BENCH=OFF -DMORVEX_BUILD_EXAMPLES=OFF
timed abi_check
MORVEX_SOAK_SECONDS=25 timed configure_and_test tsan -R 'Concurrency|Pool|Split' -- -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DMORVEX_SANITIZE=thread -DMORVEX_BUILD_BENCH=OFF -DMORVEX_BUILD_EXAMPLES=OFF
timed fuzz
echo "all test builds passed"
