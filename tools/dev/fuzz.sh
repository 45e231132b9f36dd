#!/usr/bin/env bash
# Builds every libFuzzer target with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer (in build-fuzz/, or $ZQ_FUZZ_BUILD_DIR) and runs
# each to a number of executions, on a working corpus seeded from the
# repository's seeds. Prints one line per target: executions, seconds,
# corpus size, and whether anything was found (crash files land in
# build-fuzz/findings/<target>/).
#   fuzz.sh [--runs N] [--seconds S] [--jobs J] [TARGET...]
# N defaults to 10000000; --seconds stops each target after S seconds.
set -euo pipefail
here=$(cd "$(dirname "$0")/../.." && pwd)
build=${ZQ_FUZZ_BUILD_DIR:-$here/build-fuzz}
runs=10000000
jobs=1
seconds_limit=0
targets=()
while [[ $# -gt 0 ]]; do
    case "$1" in
        --runs) runs=$2; shift 2 ;;
        --jobs) jobs=$2; shift 2 ;;
        --seconds) seconds_limit=$2; shift 2 ;;
        *) targets+=("$1"); shift ;;
    esac
done

# target -> its binary (relative to the build) and its seed folders
declare -A binary seeds
add() { binary[$1]=$2; seeds[$1]=$3; }
for t in base64 ber keyed_archive aes_file decrypt unzip; do
    add "crypto_$t" "fuzz/crypto/fuzz_crypto_$t" "$here/tests/data/crypto/fuzz/$t"
done
add plist fuzz/platform/fuzz_plist "$here/fuzz/platform/corpus"
add ziparchive fuzz/help/fuzz_ziparchive "$here/fuzz/help/corpus/ziparchive"
add helplist fuzz/help/fuzz_helplist "$here/fuzz/help/corpus/helplist"
add requests fuzz/app/fuzz_requests "$here/fuzz/app/corpus"
add linelog fuzz/log/fuzz_linelog "$here/fuzz/log/corpus"
[[ ${#targets[@]} -gt 0 ]] || targets=("${!binary[@]}")

cmake -S "$here" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DZQ_FUZZ=ON -DZQ_SANITIZE=ON -DZQ_BUILD_TESTS=OFF -DZQ_BUILD_BENCH=OFF > /dev/null
build_targets=()
for t in "${targets[@]}"; do build_targets+=("$(basename "${binary[$t]}")"); done
cmake --build "$build" --target "${build_targets[@]}"

# Short allocation stacks and a small quarantine: a third more executions a
# second; a finding is replayed with full stacks by the test that reads it.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:malloc_context_size=4:quarantine_size_mb=32}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}
export QT_QPA_PLATFORM=offscreen
# Targets that extract archives write files for every input: keep them in
# memory when the machine has a tmpfs.
if [[ -d /dev/shm && -w /dev/shm ]]; then
    TMPDIR=$(mktemp -d /dev/shm/zq-fuzz.XXXXXX)
    export TMPDIR
    trap 'rm -rf "$TMPDIR"' EXIT
fi
status=0
for t in $(printf '%s\n' "${targets[@]}" | sort); do
    corpus=$build/corpus/$t
    findings=$build/findings/$t
    mkdir -p "$corpus" "$findings"
    [[ -d ${seeds[$t]} ]] && cp -n "${seeds[$t]}"/* "$corpus"/ 2>/dev/null || true
    log=$build/findings/$t.log
    start=$(date +%s)
    set +e
    # One job runs in this process; --jobs J > 1 runs J workers (fork mode).
    parallel=()
    [[ $jobs -gt 1 ]] && parallel=(-fork="$jobs")
    "$build/${binary[$t]}" -runs="$runs" -max_total_time="$seconds_limit" "${parallel[@]}" \
        -artifact_prefix="$findings/" -print_final_stats=1 -max_len=65536 "$corpus" > "$log" 2>&1
    rc=$?
    set -e
    seconds=$(( $(date +%s) - start ))
    execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | awk '{s+=$2} END {print s+0}')
    # Crashes, leaks, time-outs and memory blow-ups are findings; a "slow unit" is
    # only an input that took long, often because the machine was busy.
    found=$(find "$findings" -type f \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' \
        -o -name 'oom-*' \) | wc -l)
    printf '%-16s executions %12s  seconds %6s  corpus %6s  findings %s%s\n' "$t" "$execs" \
        "$seconds" "$(ls "$corpus" | wc -l)" "$found" "$([[ $rc -ne 0 ]] && echo "  (exit $rc, see $log)")"
    [[ $rc -eq 0 && $found -eq 0 ]] || status=1
done
exit $status
