#pragma once
// The SHA-2 compression and message schedule shared by SHA-224/256 (32-bit words, 64 rounds)
// and SHA-384/512 (64-bit words, 80 rounds) (FIPS 180-4). The two differ only in word size,
// round count, round constants and the rotation amounts, which a Params type supplies:
//   Word, kRounds, K (kRounds constants), and the rotations of
//   s0 = rotr(r0a) ^ rotr(r0b) ^ shr(r0c)   (schedule),   s1 likewise with r1a, r1b, r1c,
//   S1(e) = rotr(e1a) ^ rotr(e1b) ^ rotr(e1c),             S0(a) with a0a, a0b, a0c.
// Internal to the host library.

#include <cstddef>

#include "host/HashFunctions.h"
#include "host/SecureWipe.h"

namespace vn {
namespace hashfn {
namespace sha2 {

template <typename Word>
inline Word rotr(Word x, unsigned n) {
    return static_cast<Word>((x >> n) | (x << (8 * sizeof(Word) - n)));
}

// w is caller-owned scratch so the caller can wipe it once at the end.
template <typename P>
void compress(typename P::Word h[8], const unsigned char* block, typename P::Word w[P::kRounds]) {
    using Word = typename P::Word;
    constexpr unsigned kBytes = sizeof(Word);
    for (unsigned t = 0; t < 16; ++t) {
        Word v = 0;
        for (unsigned j = 0; j < kBytes; ++j) v = static_cast<Word>((v << 8) | block[kBytes * t + j]);
        w[t] = v;
    }
    for (unsigned t = 16; t < P::kRounds; ++t) {
        const Word s0 = rotr(w[t - 15], P::r0a) ^ rotr(w[t - 15], P::r0b) ^ (w[t - 15] >> P::r0c);
        const Word s1 = rotr(w[t - 2], P::r1a) ^ rotr(w[t - 2], P::r1b) ^ (w[t - 2] >> P::r1c);
        w[t] = w[t - 16] + s0 + w[t - 7] + s1;
    }
    Word a = h[0], b = h[1], c = h[2], d = h[3], e = h[4], f = h[5], g = h[6], hh = h[7];
    for (unsigned t = 0; t < P::kRounds; ++t) {
        const Word t1 = hh + (rotr(e, P::e1a) ^ rotr(e, P::e1b) ^ rotr(e, P::e1c)) +
                        static_cast<Word>((e & f) ^ (~e & g)) + P::K[t] + w[t];
        const Word t2 = (rotr(a, P::a0a) ^ rotr(a, P::a0b) ^ rotr(a, P::a0c)) + ((a & b) ^ (a & c) ^ (b & c));
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

// The whole digest: schedule every full block, pad the tail (a 64- or 128-bit length, as wide
// as two words), and write the first outLen bytes of the state big-endian.
template <typename P>
void run(const typename P::Word init[8], const unsigned char* data, std::size_t len, unsigned char* out,
         unsigned outLen) {
    using Word = typename P::Word;
    constexpr std::size_t kBytes = sizeof(Word);
    constexpr std::size_t kBlock = 16 * kBytes;
    Word h[8];
    Word w[P::kRounds];
    unsigned char tail[2 * kBlock];
    static const unsigned char kNothing[1] = {0};
    if (data == nullptr) data = kNothing;
    for (unsigned i = 0; i < 8; ++i) h[i] = init[i];
    const std::size_t full = len / kBlock;
    for (std::size_t i = 0; i < full; ++i) compress<P>(h, data + i * kBlock, w);
    const std::size_t tailLen = padTail(data + full * kBlock, len - full * kBlock, len, kBlock, 2 * kBytes, true, tail);
    for (std::size_t off = 0; off < tailLen; off += kBlock) compress<P>(h, tail + off, w);
    for (unsigned i = 0; i < outLen; ++i) {
        out[i] = static_cast<unsigned char>(h[i / kBytes] >> (8 * (kBytes - 1 - i % kBytes)));
    }
    // The message may have been a secret; leave none of it behind on the stack.
    secureWipe(h, sizeof h);
    secureWipe(w, sizeof w);
    secureWipe(tail, sizeof tail);
}

}  // namespace sha2
}  // namespace hashfn
}  // namespace vn
