// The keyed-archive reader on arbitrary bytes (binary or XML property lists).

#include "FuzzSupport.h"

#include "crypto/KeyedArchive.h"

using zq::crypto::KeyedArchive::AllowedClasses;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto all =
        zq::crypto::KeyedArchive::unarchive(input, AllowedClasses::AllPropertyListTypes);
    const auto restricted =
        zq::crypto::KeyedArchive::unarchive(input, AllowedClasses::DictionariesStringsNumbers);
    // The restricted reader accepts a subset, with the same result.
    if (restricted) {
        FUZZ_CHECK(all.has_value());
        FUZZ_CHECK(*all == *restricted);
    }
    if (all) {
        // What was read archives again (unless it holds a value without an
        // archived form, such as a string with a zero character) and reads
        // back equal.
        const QByteArray archive = zq::crypto::KeyedArchive::archive(*all);
        if (!archive.isNull()) {
            const auto back =
                zq::crypto::KeyedArchive::unarchive(archive, AllowedClasses::AllPropertyListTypes);
            FUZZ_CHECK(back.has_value());
        }
    }
    return 0;
}
