#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Sets up, builds and runs the library's main job: what the library sees on
# this machine, then morvex-pipeline over its built-in signal. The report
# names the files it wrote (CSV tables, SVG and PNG plots) under
# build/morvex-report. Extra arguments go to morvex-pipeline, for example a
# capture of your own: tools/run-example.sh capture.wav
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/setup-debian.sh"
cmake -S "$root" -B "$root/build/release" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMORVEX_BUILD_BENCH=OFF > /dev/null
cmake --build "$root/build/release" --target morvex-m-info morvex-pipeline
"$root/build/release/morvex-m-info"
echo
"$root/build/release/apps/pipeline/morvex-pipeline" --out "$root/build/morvex-report" "$@"
