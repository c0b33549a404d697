// MD5 (RFC 1321). Only for the traditional SSH fingerprint, where collisions do not matter.

#include <cstdint>

#include "host/HashFunctions.h"
#include "host/SecureWipe.h"

namespace vn {
namespace hashfn {

namespace {

constexpr std::size_t kBlock = 64;

// T[i] = floor(2^32 * |sin(i + 1)|), RFC 1321 section 3.4.
constexpr std::uint32_t T[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

constexpr unsigned kShift[64] = {
    7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
    5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20,
    4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
    6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21,
};

inline std::uint32_t rotl(std::uint32_t x, unsigned n) { return (x << n) | (x >> (32 - n)); }

void compress(std::uint32_t h[4], const unsigned char* block, std::uint32_t x[16]) {
    for (unsigned i = 0; i < 16; ++i) {
        x[i] = std::uint32_t{block[4 * i]} | (std::uint32_t{block[4 * i + 1]} << 8) |
               (std::uint32_t{block[4 * i + 2]} << 16) | (std::uint32_t{block[4 * i + 3]} << 24);
    }
    std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3];
    for (unsigned i = 0; i < 64; ++i) {
        std::uint32_t f;
        unsigned k;
        if (i < 16) {
            f = (b & c) | (~b & d);
            k = i;
        } else if (i < 32) {
            f = (b & d) | (c & ~d);
            k = (5 * i + 1) % 16;
        } else if (i < 48) {
            f = b ^ c ^ d;
            k = (3 * i + 5) % 16;
        } else {
            f = c ^ (b | ~d);
            k = (7 * i) % 16;
        }
        const std::uint32_t next = b + rotl(a + f + T[i] + x[k], kShift[i]);
        a = d;
        d = c;
        c = b;
        b = next;
    }
    h[0] += a;
    h[1] += b;
    h[2] += c;
    h[3] += d;
}

}  // namespace

void md5Blocks(std::uint32_t h[4], const unsigned char* blocks, std::size_t count) {
    std::uint32_t x[16];
    for (std::size_t i = 0; i < count; ++i) compress(h, blocks + i * kBlock, x);
    // The fingerprinted data is public, but the routine should not care who calls it.
    secureWipe(x, sizeof x);
}

}  // namespace hashfn
}  // namespace vn
