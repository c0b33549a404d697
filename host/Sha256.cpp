// SHA-224 and SHA-256 (FIPS 180-4).

#include <cstdint>

#include "host/HashFunctions.h"
#include "host/SecureWipe.h"

namespace vn {
namespace hashfn {

namespace {

constexpr std::uint32_t K[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2,
};

constexpr std::uint32_t kInit224[8] = {0xc1059ed8, 0x367cd507, 0x3070dd17, 0xf70e5939,
                                       0xffc00b31, 0x68581511, 0x64f98fa7, 0xbefa4fa4};
constexpr std::uint32_t kInit256[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                       0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

constexpr std::size_t kBlock = 64;

inline std::uint32_t rotr(std::uint32_t x, unsigned n) { return (x >> n) | (x << (32 - n)); }

// w is caller-owned scratch so the caller can wipe it once at the end.
void compress(std::uint32_t h[8], const unsigned char* block, std::uint32_t w[64]) {
    for (unsigned t = 0; t < 16; ++t) {
        w[t] = (std::uint32_t{block[4 * t]} << 24) | (std::uint32_t{block[4 * t + 1]} << 16) |
               (std::uint32_t{block[4 * t + 2]} << 8) | std::uint32_t{block[4 * t + 3]};
    }
    for (unsigned t = 16; t < 64; ++t) {
        const std::uint32_t s0 = rotr(w[t - 15], 7) ^ rotr(w[t - 15], 18) ^ (w[t - 15] >> 3);
        const std::uint32_t s1 = rotr(w[t - 2], 17) ^ rotr(w[t - 2], 19) ^ (w[t - 2] >> 10);
        w[t] = w[t - 16] + s0 + w[t - 7] + s1;
    }
    std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4], f = h[5], g = h[6], hh = h[7];
    for (unsigned t = 0; t < 64; ++t) {
        const std::uint32_t t1 =
            hh + (rotr(e, 6) ^ rotr(e, 11) ^ rotr(e, 25)) + ((e & f) ^ (~e & g)) + K[t] + w[t];
        const std::uint32_t t2 = (rotr(a, 2) ^ rotr(a, 13) ^ rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        hh = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    h[0] += a;
    h[1] += b;
    h[2] += c;
    h[3] += d;
    h[4] += e;
    h[5] += f;
    h[6] += g;
    h[7] += hh;
}

void run(const std::uint32_t init[8], const unsigned char* data, std::size_t len, unsigned char* out,
         unsigned outLen) {
    std::uint32_t h[8];
    std::uint32_t w[64];
    unsigned char tail[2 * kBlock];
    static const unsigned char kNothing[1] = {0};
    if (data == nullptr) data = kNothing;
    for (unsigned i = 0; i < 8; ++i) h[i] = init[i];
    const std::size_t full = len / kBlock;
    for (std::size_t i = 0; i < full; ++i) compress(h, data + i * kBlock, w);
    const std::size_t tailLen =
        padTail(data + full * kBlock, len - full * kBlock, len, kBlock, 8, true, tail);
    for (std::size_t off = 0; off < tailLen; off += kBlock) compress(h, tail + off, w);
    for (unsigned i = 0; i < outLen; ++i) out[i] = static_cast<unsigned char>(h[i / 4] >> (24 - 8 * (i % 4)));
    // The message may have been a secret; leave none of it behind on the stack.
    secureWipe(h, sizeof h);
    secureWipe(w, sizeof w);
    secureWipe(tail, sizeof tail);
}

}  // namespace

void sha224(const unsigned char* data, std::size_t len, unsigned char* out) {
    run(kInit224, data, len, out, kSha224Len);
}

void sha256(const unsigned char* data, std::size_t len, unsigned char* out) {
    run(kInit256, data, len, out, kSha256Len);
}

}  // namespace hashfn
}  // namespace vn
