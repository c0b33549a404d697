#pragma once
// The SHA-2 compression shared by SHA-224/256 (32-bit words, 64 rounds) and SHA-384/512
// (64-bit words, 80 rounds) (FIPS 180-4). The two differ only in word size, round count,
// round constants and the rotation amounts, which a Params type supplies:
//   Word, kRounds, K (kRounds constants), and the rotations of
//   s0 = rotr(r0a) ^ rotr(r0b) ^ shr(r0c)   (schedule),   s1 likewise with r1a, r1b, r1c,
//   S1(e) = rotr(e1a) ^ rotr(e1b) ^ rotr(e1c),             S0(a) with a0a, a0b, a0c.
// The eight working variables never move: each round is written with its arguments renamed
// instead, and the schedule is a 16-word window refilled in place, so the compiler can keep
// the state in registers. Internal to the host library.

#include <cstddef>
#include <cstdint>

#include "host/HashFunctions.h"
#include "host/SecureWipe.h"

namespace vn {
namespace hashfn {
namespace sha2 {

template <typename Word>
inline Word rotr(Word x, unsigned n) {
    return static_cast<Word>((x >> n) | (x << (8 * sizeof(Word) - n)));
}

template <typename Word>
inline Word loadBigEndian(const unsigned char* p) {
    Word v = 0;
    for (unsigned j = 0; j < sizeof(Word); ++j) v = static_cast<Word>((v << 8) | p[j]);
    return v;
}

// Stops the compiler from regrouping a sum through v (it would otherwise put the sigmas back
// at the start of the chain). Costs no instruction.
template <typename Word>
inline void keepGrouping(Word& v) {
#if defined(__GNUC__)
    __asm__("" : "+r"(v));
#else
    (void)v;
#endif
}

// One round: d and h are the two variables it changes; the caller renames the rest. The sums
// are grouped for the two recurrences, e to e and a to a, so that each sigma (three levels of
// logic) is followed by a single addition: d + h + kw + choice and h + kw + choice + S1 +
// majority are summed while the sigmas are still being worked out.
template <typename P>
inline void round(typename P::Word a, typename P::Word b, typename P::Word c, typename P::Word& d,
                  typename P::Word e, typename P::Word f, typename P::Word g, typename P::Word& h,
                  typename P::Word kw) {
    using Word = typename P::Word;
    const Word x = static_cast<Word>(static_cast<Word>(h + kw) + static_cast<Word>(g ^ (e & (f ^ g))));
    const Word s1 = static_cast<Word>(rotr(e, P::e1a) ^ rotr(e, P::e1b) ^ rotr(e, P::e1c));
    const Word s0 = static_cast<Word>(rotr(a, P::a0a) ^ rotr(a, P::a0b) ^ rotr(a, P::a0c));
    const Word maj = static_cast<Word>((a & (b | c)) | (b & c));
    Word dx = static_cast<Word>(d + x);
    Word tm = static_cast<Word>(static_cast<Word>(x + s1) + maj);
    keepGrouping(dx);
    keepGrouping(tm);
    d = static_cast<Word>(dx + s1);
    h = static_cast<Word>(tm + s0);
}

// Folds count blocks of 16 words into h.
template <typename P>
void blocks(typename P::Word h[8], const unsigned char* p, std::size_t count) {
    using Word = typename P::Word;
    constexpr std::size_t kBlock = 16 * sizeof(Word);
    Word w[16];
    for (; count > 0; --count, p += kBlock) {
        for (unsigned i = 0; i < 16; ++i) w[i] = loadBigEndian<Word>(p + i * sizeof(Word));
        Word a = h[0], b = h[1], c = h[2], d = h[3], e = h[4], f = h[5], g = h[6], hh = h[7];
        for (unsigned j = 0; j < P::kRounds; j += 16) {
            if (j != 0) {
                for (unsigned i = 0; i < 16; ++i) {
                    const Word x = w[(i + 1) & 15], y = w[(i + 14) & 15];
                    w[i] += (rotr(y, P::r1a) ^ rotr(y, P::r1b) ^ (y >> P::r1c)) + w[(i + 9) & 15] +
                            (rotr(x, P::r0a) ^ rotr(x, P::r0b) ^ (x >> P::r0c));
                }
            }
            const Word* k = P::K + j;
            round<P>(a, b, c, d, e, f, g, hh, k[0] + w[0]);
            round<P>(hh, a, b, c, d, e, f, g, k[1] + w[1]);
            round<P>(g, hh, a, b, c, d, e, f, k[2] + w[2]);
            round<P>(f, g, hh, a, b, c, d, e, k[3] + w[3]);
            round<P>(e, f, g, hh, a, b, c, d, k[4] + w[4]);
            round<P>(d, e, f, g, hh, a, b, c, k[5] + w[5]);
            round<P>(c, d, e, f, g, hh, a, b, k[6] + w[6]);
            round<P>(b, c, d, e, f, g, hh, a, k[7] + w[7]);
            round<P>(a, b, c, d, e, f, g, hh, k[8] + w[8]);
            round<P>(hh, a, b, c, d, e, f, g, k[9] + w[9]);
            round<P>(g, hh, a, b, c, d, e, f, k[10] + w[10]);
            round<P>(f, g, hh, a, b, c, d, e, k[11] + w[11]);
            round<P>(e, f, g, hh, a, b, c, d, k[12] + w[12]);
            round<P>(d, e, f, g, hh, a, b, c, k[13] + w[13]);
            round<P>(c, d, e, f, g, hh, a, b, k[14] + w[14]);
            round<P>(b, c, d, e, f, g, hh, a, k[15] + w[15]);
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
    // The message may have been a secret; leave none of it behind on the stack.
    secureWipe(w, sizeof w);
}

struct Sha256Params {
    using Word = std::uint32_t;
    static constexpr unsigned kRounds = 64;
    static constexpr const Word* K = kSha256K;
    static constexpr unsigned r0a = 7, r0b = 18, r0c = 3, r1a = 17, r1b = 19, r1c = 10;
    static constexpr unsigned e1a = 6, e1b = 11, e1c = 25, a0a = 2, a0b = 13, a0c = 22;
};

struct Sha512Params {
    using Word = std::uint64_t;
    static constexpr unsigned kRounds = 80;
    static constexpr const Word* K = kSha512K;
    static constexpr unsigned r0a = 1, r0b = 8, r0c = 7, r1a = 19, r1b = 61, r1c = 6;
    static constexpr unsigned e1a = 14, e1b = 18, e1c = 41, a0a = 28, a0b = 34, a0c = 39;
};

}  // namespace sha2
}  // namespace hashfn
}  // namespace vn
