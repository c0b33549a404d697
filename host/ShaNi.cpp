// SHA-1 and SHA-256 with the processor's SHA extensions (SHA-NI). Chosen at run time, never
// called where CPUID does not report them.

#if defined(__x86_64__) && defined(__GNUC__)

#include <immintrin.h>

#include "host/HashFunctions.h"

#define ECCKEY_SHA_TARGET __attribute__((target("sha,sse4.1,ssse3")))

namespace vn {
namespace hashfn {

namespace {

// Four rounds of SHA-1 with the round function of the group; the instruction wants it as an
// immediate, and with the calls unrolled the switch folds away.
ECCKEY_SHA_TARGET inline __m128i sha1Rounds4(__m128i abcd, __m128i e, unsigned group) {
    switch (group / 5) {
        case 0: return _mm_sha1rnds4_epu32(abcd, e, 0);
        case 1: return _mm_sha1rnds4_epu32(abcd, e, 1);
        case 2: return _mm_sha1rnds4_epu32(abcd, e, 2);
        default: return _mm_sha1rnds4_epu32(abcd, e, 3);
    }
}

}  // namespace

// The state sits in one register as A..D (A in the top lane) and E in the top lane of
// another; each step takes four message words, big-endian, as one register.
ECCKEY_SHA_TARGET void sha1BlocksShaNi(std::uint32_t h[5], const unsigned char* blocks, std::size_t count) {
    const __m128i byteSwap = _mm_set_epi64x(0x0001020304050607LL, 0x08090a0b0c0d0e0fLL);
    __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(h)), 0x1b);
    __m128i e0 = _mm_set_epi32(static_cast<int>(h[4]), 0, 0, 0);
    for (; count > 0; --count, blocks += 64) {
        const __m128i abcdSaved = abcd;
        const __m128i eSaved = e0;
        __m128i m[4];
        __m128i before = abcd;  // A..D four rounds back: E of the next step comes from its A
#pragma GCC unroll 20
        for (unsigned g = 0; g < 20; ++g) {
            __m128i& mg = m[g & 3];
            if (g < 4) {
                mg = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(blocks + 16 * g)), byteSwap);
            } else {
                // W[t] = rotl1(W[t-3] ^ W[t-8] ^ W[t-14] ^ W[t-16]), four at a time.
                mg = _mm_sha1msg2_epu32(_mm_xor_si128(_mm_sha1msg1_epu32(mg, m[(g + 1) & 3]), m[(g + 2) & 3]),
                                        m[(g + 3) & 3]);
            }
            const __m128i e = g == 0 ? _mm_add_epi32(e0, mg) : _mm_sha1nexte_epu32(before, mg);
            before = abcd;
            abcd = sha1Rounds4(abcd, e, g);
        }
        e0 = _mm_sha1nexte_epu32(before, eSaved);
        abcd = _mm_add_epi32(abcd, abcdSaved);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(h), _mm_shuffle_epi32(abcd, 0x1b));
    h[4] = static_cast<std::uint32_t>(_mm_extract_epi32(e0, 3));
}

// The state sits in two registers as ABEF and CDGH, the order the round instruction wants;
// each step is four rounds on four message words plus their round constants.
ECCKEY_SHA_TARGET void sha256BlocksShaNi(std::uint32_t h[8], const unsigned char* blocks, std::size_t count) {
    const __m128i byteSwap = _mm_set_epi64x(0x0c0d0e0f08090a0bLL, 0x0405060700010203LL);
    const __m128i dcba = _mm_loadu_si128(reinterpret_cast<const __m128i*>(h));
    const __m128i hgfe = _mm_loadu_si128(reinterpret_cast<const __m128i*>(h + 4));
    const __m128i cdab = _mm_shuffle_epi32(dcba, 0xb1);
    const __m128i efgh = _mm_shuffle_epi32(hgfe, 0x1b);
    __m128i abef = _mm_alignr_epi8(cdab, efgh, 8);
    __m128i cdgh = _mm_blend_epi16(efgh, cdab, 0xf0);
    for (; count > 0; --count, blocks += 64) {
        const __m128i abefSaved = abef;
        const __m128i cdghSaved = cdgh;
        __m128i m[4];
#pragma GCC unroll 16
        for (unsigned g = 0; g < 16; ++g) {
            __m128i& mg = m[g & 3];
            if (g < 4) {
                mg = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(blocks + 16 * g)), byteSwap);
            } else {
                // W[t] = s1(W[t-2]) + W[t-7] + s0(W[t-15]) + W[t-16], four at a time.
                const __m128i w7 = _mm_alignr_epi8(m[(g + 3) & 3], m[(g + 2) & 3], 4);
                mg = _mm_sha256msg2_epu32(_mm_add_epi32(_mm_sha256msg1_epu32(mg, m[(g + 1) & 3]), w7), m[(g + 3) & 3]);
            }
            __m128i kw = _mm_add_epi32(mg, _mm_loadu_si128(reinterpret_cast<const __m128i*>(kSha256K + 4 * g)));
            cdgh = _mm_sha256rnds2_epu32(cdgh, abef, kw);
            kw = _mm_shuffle_epi32(kw, 0x0e);
            abef = _mm_sha256rnds2_epu32(abef, cdgh, kw);
        }
        abef = _mm_add_epi32(abef, abefSaved);
        cdgh = _mm_add_epi32(cdgh, cdghSaved);
    }
    const __m128i feba = _mm_shuffle_epi32(abef, 0x1b);
    const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xb1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(h), _mm_blend_epi16(feba, dchg, 0xf0));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(h + 4), _mm_alignr_epi8(dchg, feba, 8));
}

}  // namespace hashfn
}  // namespace vn

#endif
