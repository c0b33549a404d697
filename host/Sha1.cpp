// SHA-1 (FIPS 180-4), the portable route.

#include <cstdint>

#include "host/HashFunctions.h"
#include "host/SecureWipe.h"

namespace vn {
namespace hashfn {

namespace {

constexpr std::size_t kBlock = 64;

inline std::uint32_t rotl(std::uint32_t x, unsigned n) { return (x << n) | (x >> (32 - n)); }

void compress(std::uint32_t h[5], const unsigned char* block, std::uint32_t w[80]) {
    for (unsigned t = 0; t < 16; ++t) {
        w[t] = (std::uint32_t{block[4 * t]} << 24) | (std::uint32_t{block[4 * t + 1]} << 16) |
               (std::uint32_t{block[4 * t + 2]} << 8) | std::uint32_t{block[4 * t + 3]};
    }
    for (unsigned t = 16; t < 80; ++t) w[t] = rotl(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
    std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4];
    for (unsigned t = 0; t < 80; ++t) {
        std::uint32_t f;
        std::uint32_t k;
        if (t < 20) {
            f = (b & c) | (~b & d);
            k = 0x5a827999;
        } else if (t < 40) {
            f = b ^ c ^ d;
            k = 0x6ed9eba1;
        } else if (t < 60) {
            f = (b & c) | (b & d) | (c & d);
            k = 0x8f1bbcdc;
        } else {
            f = b ^ c ^ d;
            k = 0xca62c1d6;
        }
        const std::uint32_t temp = rotl(a, 5) + f + e + k + w[t];
        e = d;
        d = c;
        c = rotl(b, 30);
        b = a;
        a = temp;
    }
    h[0] += a;
    h[1] += b;
    h[2] += c;
    h[3] += d;
    h[4] += e;
}

}  // namespace

void sha1Blocks(std::uint32_t h[5], const unsigned char* blocks, std::size_t count) {
    std::uint32_t w[80];
    for (std::size_t i = 0; i < count; ++i) compress(h, blocks + i * kBlock, w);
    // The message may have been a secret; leave none of it behind on the stack.
    secureWipe(w, sizeof w);
}

}  // namespace hashfn
}  // namespace vn
