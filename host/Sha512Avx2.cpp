// SHA-384 and SHA-512 for processors with AVX2 and BMI2. The message schedule, a third of the
// work, runs four blocks at a time in the vector unit (one block per 64-bit lane), leaving the
// scalar units the rounds alone, where every rotation is one non-destructive RORX. Chosen at
// run time, never called where CPUID does not report both.

#if defined(__x86_64__) && defined(__GNUC__)

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "host/HashFunctions.h"
#include "host/SecureWipe.h"

// Only what follows is compiled for the newer instructions; the headers above stay portable.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,bmi,bmi2"))), apply_to = function)
#else
#pragma GCC target("avx2,bmi,bmi2")
#endif

#include "host/Sha2Core.h"

namespace vn {
namespace hashfn {

namespace {

constexpr std::size_t kBlock = 128;
constexpr std::size_t kLanes = 4;

inline __m256i rotr(__m256i x, int n) {
    return _mm256_or_si256(_mm256_srli_epi64(x, n), _mm256_slli_epi64(x, 64 - n));
}

// kw[t][lane] = W[t] + K[t] of block lane, for the four blocks at p.
void schedule4(const unsigned char* p, std::uint64_t kw[80][kLanes]) {
    using sha2::loadBigEndian;
    __m256i w[16];
    for (unsigned t = 0; t < 80; ++t) {
        __m256i& wt = w[t & 15];
        if (t < 16) {
            const unsigned char* q = p + 8 * t;
            wt = _mm256_set_epi64x(static_cast<long long>(loadBigEndian<std::uint64_t>(q + 3 * kBlock)),
                                   static_cast<long long>(loadBigEndian<std::uint64_t>(q + 2 * kBlock)),
                                   static_cast<long long>(loadBigEndian<std::uint64_t>(q + kBlock)),
                                   static_cast<long long>(loadBigEndian<std::uint64_t>(q)));
        } else {
            const __m256i x = w[(t + 1) & 15], y = w[(t + 14) & 15];
            const __m256i s0 = _mm256_xor_si256(_mm256_xor_si256(rotr(x, 1), rotr(x, 8)), _mm256_srli_epi64(x, 7));
            const __m256i s1 =
                _mm256_xor_si256(_mm256_xor_si256(rotr(y, 19), rotr(y, 61)), _mm256_srli_epi64(y, 6));
            wt = _mm256_add_epi64(_mm256_add_epi64(wt, s0), _mm256_add_epi64(w[(t + 9) & 15], s1));
        }
        const __m256i k = _mm256_set1_epi64x(static_cast<long long>(kSha512K[t]));
        _mm256_store_si256(reinterpret_cast<__m256i*>(kw[t]), _mm256_add_epi64(wt, k));
    }
}

}  // namespace

void sha512BlocksAvx2(std::uint64_t h[8], const unsigned char* blocks, std::size_t count) {
    if (count >= kLanes) {
        alignas(32) std::uint64_t kw[80][kLanes];
        for (; count >= kLanes; count -= kLanes, blocks += kLanes * kBlock) {
            schedule4(blocks, kw);
            for (std::size_t lane = 0; lane < kLanes; ++lane) {
                sha2::roundsOnSchedule<sha2::Sha512Params>(h, &kw[0][lane], kLanes);
            }
        }
        // The schedule is the message, which may have been a secret.
        secureWipe(kw, sizeof kw);
    }
    if (count != 0) sha2::blocks<sha2::Sha512Params>(h, blocks, count);
}

}  // namespace hashfn
}  // namespace vn

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
