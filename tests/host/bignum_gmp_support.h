#pragma once
// Bridges between mp_int and GMP for the differential tests. Values cross through the raw
// 28-bit digits (mpz_import/mpz_export with 4 nail bits), so the arithmetic tests do not
// depend on the library's own text or byte conversions.

#include <gmp.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/BigNum.h"
#include "support/gmp_mpz.h"

namespace vn {
namespace testing_gmp {

using testing_support::Mpz;

inline void toMpz(const mp_int& a, mpz_t out) {
    std::vector<std::uint32_t> d(static_cast<std::size_t>(a.get_digit_count()));
    for (int i = 0; i < a.get_digit_count(); ++i) d[static_cast<std::size_t>(i)] = a.get_digit(i);
    mpz_import(out, d.size(), -1, sizeof(std::uint32_t), 0, 4, d.data());
    if (a.isNegative()) mpz_neg(out, out);
}

// Sets a from z by writing its representation directly.
inline void fromMpz(mp_int& a, mpz_srcptr z) {
    std::size_t count = (mpz_sizeinbase(z, 2) + 27) / 28 + 1;
    std::vector<std::uint32_t> d(count, 0);
    mpz_export(d.data(), &count, -1, sizeof(std::uint32_t), 0, 4, z);
    if (mpz_sgn(z) == 0) count = 0;
    a.grow(static_cast<int>(count));
    for (std::size_t i = 0; i < count; ++i) a.dp[i] = d[i];
    a.used = static_cast<int>(count);
    a.sign = mpz_sgn(z) < 0 ? MP_NEG : MP_ZPOS;
    a.clamp();
}

inline std::string hexOf(mpz_srcptr z) {
    std::vector<char> buf(mpz_sizeinbase(z, 16) + 2);
    mpz_get_str(buf.data(), -16, z);
    return buf.data();
}

// Representation invariants every result must satisfy, whatever its value.
inline bool wellFormed(const mp_int& a) {
    if (a.used < 0 || a.used > a.alloc) return false;
    if (a.used > 0 && a.dp[a.used - 1] == 0) return false;
    if (a.used == 0 && a.sign != MP_ZPOS) return false;
    for (int i = 0; i < a.used; ++i) {
        if (a.dp[i] > MP_MASK) return false;
    }
    return true;
}

inline ::testing::AssertionResult sameValue(const mp_int& a, mpz_srcptr want) {
    if (!wellFormed(a)) return ::testing::AssertionFailure() << "malformed mp_int";
    Mpz got;
    toMpz(a, got);
    if (mpz_cmp(got, want) == 0) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got " << hexOf(got) << " want " << hexOf(want);
}

// Deterministic operands. Half come from mpz_rrandomb, whose long runs of zeros and ones
// drive carries and borrows across whole digit ranges; the rest are uniform.
class Operands {
public:
    explicit Operands(unsigned long seed) {
        gmp_randinit_mt(state);
        gmp_randseed_ui(state, seed);
    }
    ~Operands() { gmp_randclear(state); }
    Operands(const Operands&) = delete;
    Operands& operator=(const Operands&) = delete;

    unsigned long below(unsigned long n) { return gmp_urandomm_ui(state, n); }

    // Up to maxBits bits (occasionally exactly zero), unsigned.
    void next(mpz_t out, unsigned long maxBits) {
        unsigned long bits = below(maxBits + 1);
        if (below(2) == 0) {
            mpz_rrandomb(out, state, bits);
        } else {
            mpz_urandomb(out, state, bits);
        }
    }
    void nextSigned(mpz_t out, unsigned long maxBits) {
        next(out, maxBits);
        if (below(3) == 0) mpz_neg(out, out);
    }
    // Exactly bits bits.
    void exact(mpz_t out, unsigned long bits) {
        mpz_urandomb(out, state, bits - 1);
        mpz_setbit(out, bits - 1);
    }

    gmp_randstate_t state;
};

}  // namespace testing_gmp
}  // namespace vn
