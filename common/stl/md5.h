// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_MD5_H
#define GREX_COMMON_STL_MD5_H

#include "common/stl/export.h"

#include <cstdint>

extern "C" {

/// MD5 as in RFC 1321. It detects accidents; it does not withstand an attacker.
struct md5_state_t {
    std::uint64_t length;   ///< bytes appended so far
    std::uint32_t sum[4];   ///< the four chaining words
    unsigned char tail[64]; ///< the block that is not full yet, length % 64 bytes of it
};

GREX_API void md5_init(md5_state_t* state);
/// Appends `size` bytes; none when `size` is not above 0.
GREX_API void md5_append(md5_state_t* state, const unsigned char* data, int size);
/// Writes the 16 bytes of the digest. The state is used up: md5_init() starts a new one.
GREX_API void md5_finish(md5_state_t* state, unsigned char digest[16]);

} // extern "C"

#endif
