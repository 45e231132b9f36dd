#!/usr/bin/env bash
# Fails when a tracked C++ file is not formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "$0")/.."
if ! command -v clang-format >/dev/null; then
    echo "clang-format is not installed" >&2
    exit 1
fi
files=$(git ls-files '*.cpp' '*.h' 2>/dev/null || find app utility log platform crypto net help pages stats controls tools tests bench fuzz -name '*.cpp' -o -name '*.h')
# shellcheck disable=SC2086
clang-format --dry-run -Werror $files
echo "formatted: $(echo "$files" | wc -w) files"
