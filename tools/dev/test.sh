#!/usr/bin/env bash
# Installs what the project needs, builds it, and runs every test.
set -euo pipefail
here=$(cd "$(dirname "$0")/../.." && pwd)
bash "$here/tools/dev/deps.sh"
# Warnings fail the build here (and so in CI, which runs this script).
bash "$here/tools/dev/build.sh" -DZQ_WERROR=ON
build=${ZQ_BUILD_DIR:-$here/build}
ctest --test-dir "$build" --output-on-failure -j2 --timeout 600
