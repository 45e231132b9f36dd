#pragma once

// Shared by the crypto fuzz targets: each target defines
// LLVMFuzzerTestOneInput; libFuzzer drives it in the fuzzing build, and
// fuzz/common/ReplayMain.cpp drives it in the normal build (seed corpus and a bounded
// set of deterministic pseudo-random inputs).

#include <cstddef>
#include <cstdint>
#include <cstdlib>

// Stops the run with a report: a broken invariant is a finding.
#define FUZZ_CHECK(condition) \
    do {                      \
        if (!(condition)) {   \
            std::abort();     \
        }                     \
    } while (false)
