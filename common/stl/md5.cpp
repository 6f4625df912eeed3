// SPDX-License-Identifier: Apache-2.0
#include "common/stl/md5.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t blockSize = 64;

std::uint32_t rotateLeft(std::uint32_t x, int bits)
{
    return (x << bits) | (x >> (32 - bits));
}

// Words are little-endian in the message whatever the machine is; compilers make one load of it
// where it is too.
std::uint32_t loadWord(const unsigned char* bytes)
{
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

void storeWords(const std::uint32_t* words, std::size_t count, unsigned char* bytes)
{
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t byte = 0; byte < 4; ++byte)
            bytes[4 * i + byte] = static_cast<unsigned char>(words[i] >> (8 * byte));
}

// The four auxiliary functions. F and G are written so that the word that comes last from the step
// before enters last, which is where the time of MD5 goes; the sum in G is the "or" of two terms
// that share no bit.
struct F {
    static std::uint32_t mix(std::uint32_t x, std::uint32_t y, std::uint32_t z)
    {
        return z ^ (x & (y ^ z));
    }
};
struct G {
    static std::uint32_t mix(std::uint32_t x, std::uint32_t y, std::uint32_t z)
    {
        return (y & ~z) + (x & z);
    }
};
struct H {
    static std::uint32_t mix(std::uint32_t x, std::uint32_t y, std::uint32_t z)
    {
        return x ^ (y ^ z);
    }
};
struct I {
    static std::uint32_t mix(std::uint32_t x, std::uint32_t y, std::uint32_t z)
    {
        return y ^ (x | ~z);
    }
};

template <class Function, int Bits>
void step(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t word,
          std::uint32_t sine)
{
    a = b + rotateLeft(a + word + sine + Function::mix(b, c, d), Bits);
}

// Sixteen steps: step i takes word (First + i * Stride) % 16, its amount of rotation goes round the
// four given.
template <class Function, unsigned First, unsigned Stride, int R0, int R1, int R2, int R3>
void round(std::uint32_t* s, const std::uint32_t* words, const std::uint32_t* sines)
{
#pragma GCC unroll 4
    for (unsigned i = 0; i < 16; i += 4) {
        step<Function, R0>(s[0], s[1], s[2], s[3], words[(First + i * Stride) % 16], sines[i]);
        step<Function, R1>(s[3], s[0], s[1], s[2], words[(First + (i + 1) * Stride) % 16],
                           sines[i + 1]);
        step<Function, R2>(s[2], s[3], s[0], s[1], words[(First + (i + 2) * Stride) % 16],
                           sines[i + 2]);
        step<Function, R3>(s[1], s[2], s[3], s[0], words[(First + (i + 3) * Stride) % 16],
                           sines[i + 3]);
    }
}

// floor(2^32 * abs(sin(i + 1))), i in radians.
constexpr std::uint32_t sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

void addBlock(std::uint32_t* sum, const unsigned char* block)
{
    std::uint32_t words[16];
    for (std::size_t i = 0; i < 16; ++i)
        words[i] = loadWord(block + 4 * i);
    std::uint32_t s[4] = {sum[0], sum[1], sum[2], sum[3]};
    round<F, 0, 1, 7, 12, 17, 22>(s, words, sines);
    round<G, 1, 5, 5, 9, 14, 20>(s, words, sines + 16);
    round<H, 5, 3, 4, 11, 16, 23>(s, words, sines + 32);
    round<I, 0, 7, 6, 10, 15, 21>(s, words, sines + 48);
    for (int i = 0; i < 4; ++i)
        sum[i] += s[i];
}

} // namespace

void md5_init(md5_state_t* state)
{
    *state = {0, {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476}, {}};
}

void md5_append(md5_state_t* state, const unsigned char* data, int size)
{
    if (size <= 0)
        return;
    std::size_t left = static_cast<std::size_t>(size);
    const std::size_t used = state->length % blockSize;
    state->length += left;
    if (used > 0) {
        const std::size_t taken = left < blockSize - used ? left : blockSize - used;
        std::memcpy(state->tail + used, data, taken);
        if (used + taken < blockSize)
            return;
        addBlock(state->sum, state->tail);
        data += taken;
        left -= taken;
    }
    for (; left >= blockSize; data += blockSize, left -= blockSize)
        addBlock(state->sum, data);
    std::memcpy(state->tail, data, left);
}

void md5_finish(md5_state_t* state, unsigned char digest[16])
{
    const std::uint64_t bits = state->length * 8;
    const std::uint32_t bitWords[2] = {static_cast<std::uint32_t>(bits),
                                       static_cast<std::uint32_t>(bits >> 32)};
    unsigned char ending[blockSize + 8] = {0x80};
    const std::size_t used = state->length % blockSize;
    const std::size_t padding = (used < 56 ? 56 : 120) - used; // up to the last 8 bytes of a block
    storeWords(bitWords, 2, ending + padding);
    md5_append(state, ending, static_cast<int>(padding + 8));
    storeWords(state->sum, 4, digest);
}
