#pragma once

// Pieces shared by the zip archive's common, reading and writing code (not a
// public API).

#include <unzip.h>
#include <zip.h>

namespace zq::help::detail {

// Default memory level of deflate, as zlib's own deflateInit uses.
constexpr int kMemLevel = 8;

inline zipFile writer(void* handle) {
    return static_cast<zipFile>(handle);
}
inline unzFile reader(void* handle) {
    return static_cast<unzFile>(handle);
}

}  // namespace zq::help::detail
