#!/usr/bin/env bash
# Configures and builds the project into build/ (or $ZQ_BUILD_DIR).
set -euo pipefail
here=$(cd "$(dirname "$0")/../.." && pwd)
build=${ZQ_BUILD_DIR:-$here/build}
cmake -S "$here" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=${ZQ_BUILD_TYPE:-RelWithDebInfo} "$@" >/dev/null
cmake --build "$build" -j"$(nproc)"
