#!/usr/bin/env bash
# Sets up, builds and runs the library's main job: what the library sees on
# this machine, then the example acquisition pipeline over its built-in signal.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/setup-debian.sh"
cmake -S "$root" -B "$root/build/release" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMORVEX_BUILD_BENCH=OFF > /dev/null
cmake --build "$root/build/release" --target morvex-m-info morvex-pipeline
"$root/build/release/morvex-m-info"
echo
"$root/build/release/examples/morvex-pipeline" "$@"
