#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what building, testing and benchmarking libmorvex-m needs on a
# Debian 12 machine. Only missing packages are installed; run as root or with
# sudo available.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config binutils   # build (nm for the export check)
  libeigen3-dev                                # built-in transform backend (header-only)
  libgtest-dev libbenchmark-dev                # tests, benchmarks
  python3 python3-numpy python3-scipy          # oracles for the tests, peers for the benchmarks
  libfftw3-dev                                 # FFTW: loaded at run time when enabled; peer in benchmarks
  libvolk2-dev libliquid-dev                   # peer libraries in the benchmarks
  libsndfile1-dev libcairo2-dev                # morvex-pipeline: capture files, plots
  doxygen                                      # the HTML reference
  clang libclang-rt-14-dev                     # libFuzzer harnesses
  valgrind abigail-tools                       # memcheck, ABI description and comparison
  python3-venv python3-pip python3-setuptools python3-wheel python3-pytest  # the Python package
  python3-dask python3-distributed             # batch analysis example
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
