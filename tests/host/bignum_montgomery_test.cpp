#include <gtest/gtest.h>

#include "bignum_gmp_support.h"
#include "host/BigNum.h"

namespace vn {
namespace {

using testing_gmp::fromMpz;
using testing_gmp::Mpz;
using testing_gmp::Operands;
using testing_gmp::sameValue;

// Moduli the generic engine meets: the special-form primes built from their definitions
// (their long runs of ones and zeros stress carries) and random odd moduli at every field
// size of the curve table, including the Brainpool sizes 320 and 512.
void specialPrime(mpz_t p, unsigned which) {
    mpz_set_ui(p, 0);
    auto add = [&](long sign, unsigned bit) {
        Mpz t;
        mpz_setbit(t, bit);
        if (sign > 0) {
            mpz_add(p, p, t);
        } else {
            mpz_sub(p, p, t);
        }
    };
    switch (which) {
        case 0: add(1, 160); add(-1, 31); mpz_sub_ui(p, p, 1); break;          // secp160r1
        case 1: add(1, 192); add(-1, 64); mpz_sub_ui(p, p, 1); break;          // P-192
        case 2: add(1, 224); add(-1, 96); mpz_add_ui(p, p, 1); break;          // P-224
        case 3: add(1, 256); add(-1, 224); add(1, 192); add(1, 96);
                mpz_sub_ui(p, p, 1); break;                                     // P-256
        case 4: add(1, 256); add(-1, 32); mpz_sub_ui(p, p, 977); break;        // secp256k1
        case 5: add(1, 384); add(-1, 128); add(-1, 96); add(1, 32);
                mpz_sub_ui(p, p, 1); break;                                     // P-384
        default: add(1, 521); mpz_sub_ui(p, p, 1); break;                      // P-521
    }
}

const unsigned kFieldBits[] = {160, 192, 224, 256, 320, 384, 512, 521};

// R = 2^(28 * digits of m), the radix the point code relies on.
void radixOf(mpz_t r, mpz_srcptr m) {
    mpz_set_ui(r, 0);
    mpz_setbit(r, 28 * ((mpz_sizeinbase(m, 2) + 27) / 28));
}

void checkModulus(mpz_srcptr p, Operands& rnd, int rounds) {
    mp_int mp_p, mu;
    fromMpz(mp_p, p);
    unsigned rho = 0;
    ASSERT_EQ(BigNum::mp_montgomery_setup(mp_p, rho), MP_OKAY);
    // rho * p = -1 mod 2^28
    EXPECT_EQ((rho * mpz_get_ui(p)) & MP_MASK, MP_MASK);
    Mpz r, rinv, want, x, y, mR;
    radixOf(r, p);
    mpz_mul(mR, p, r);
    ASSERT_EQ(BigNum::mp_montgomery_normalization(mu, mp_p), MP_OKAY);
    mpz_mod(want, r, p);
    ASSERT_TRUE(sameValue(mu, want));
    ASSERT_NE(mpz_invert(rinv, r, p), 0);

    for (int i = 0; i < rounds; ++i) {
        // Reduction of any 0 <= a < p*R, in place, extremes included.
        if (i == 0) {
            mpz_sub_ui(x, mR, 1);
        } else if (i == 1) {
            mpz_set_ui(x, 0);
        } else if (i % 7 == 2) {  // multiples of p reduce to exactly p before the last step
            mpz_urandomm(x, rnd.state, r);
            mpz_mul(x, x, p);
        } else {
            mpz_urandomm(x, rnd.state, mR);
        }
        mp_int a;
        fromMpz(a, x);
        ASSERT_EQ(BigNum::mp_montgomery_reduce(a, mp_p, rho), MP_OKAY);
        mpz_mul(want, x, rinv);
        mpz_mod(want, want, p);
        ASSERT_TRUE(sameValue(a, want)) << "reducing " << testing_gmp::hexOf(x);
        if (mpz_sizeinbase(p, 2) <= 521) {
            EXPECT_EQ(a.dp, a.inlineDigits);
        }

        // Round trip through Montgomery form, and a Montgomery product as the point
        // formulas form it (mp_mul or mp_sqr, then reduce, in place).
        mpz_urandomm(x, rnd.state, p);
        mpz_urandomm(y, rnd.state, p);
        mp_int xm, ym;
        fromMpz(xm, x);
        fromMpz(ym, y);
        ASSERT_EQ(BigNum::mp_mulmod(xm, mu, mp_p, xm), MP_OKAY);
        ASSERT_EQ(BigNum::mp_mulmod(ym, mu, mp_p, ym), MP_OKAY);
        ASSERT_EQ(BigNum::mp_mul(xm, ym, ym), MP_OKAY);
        ASSERT_EQ(BigNum::mp_montgomery_reduce(ym, mp_p, rho), MP_OKAY);
        ASSERT_EQ(BigNum::mp_sqr(xm, xm), MP_OKAY);
        ASSERT_EQ(BigNum::mp_montgomery_reduce(xm, mp_p, rho), MP_OKAY);
        ASSERT_EQ(BigNum::mp_montgomery_reduce(ym, mp_p, rho), MP_OKAY);
        ASSERT_EQ(BigNum::mp_montgomery_reduce(xm, mp_p, rho), MP_OKAY);
        mpz_mul(want, x, y);
        mpz_mod(want, want, p);
        ASSERT_TRUE(sameValue(ym, want));
        mpz_mul(want, x, x);
        mpz_mod(want, want, p);
        ASSERT_TRUE(sameValue(xm, want));
    }
}

TEST(BigNumMontgomery, CurvePrimesMatchGmp) {
    Operands rnd(20);
    Mpz p;
    for (unsigned which = 0; which < 7; ++which) {
        SCOPED_TRACE(which);
        specialPrime(p, which);
        checkModulus(p, rnd, 400);
    }
}

TEST(BigNumMontgomery, RandomOddModuliAtFieldSizes) {
    Operands rnd(21);
    Mpz p;
    for (unsigned bits : kFieldBits) {
        SCOPED_TRACE(bits);
        for (int k = 0; k < 25; ++k) {
            rnd.exact(p, bits);
            mpz_setbit(p, 0);
            checkModulus(p, rnd, 20);
        }
    }
    // Small and digit-boundary moduli, and one too long for the column accumulator.
    const unsigned odd[] = {1, 2, 27, 28, 29, 56, 57, 7200};
    for (unsigned bits : odd) {
        SCOPED_TRACE(bits);
        rnd.exact(p, bits);
        mpz_setbit(p, 0);
        if (bits == 1) mpz_set_ui(p, 3);
        checkModulus(p, rnd, bits > 1000 ? 4 : 50);
    }
}

TEST(BigNumMontgomery, RejectsUnusableModuli) {
    mp_int even, zero, a;
    unsigned rho = 0;
    BigNum::mp_set(even, 0x1000);
    EXPECT_NE(BigNum::mp_montgomery_setup(even, rho), MP_OKAY);
    EXPECT_NE(BigNum::mp_montgomery_setup(zero, rho), MP_OKAY);
    EXPECT_NE(BigNum::mp_montgomery_normalization(a, zero), MP_OKAY);
    BigNum::mp_set(a, 5);
    EXPECT_NE(BigNum::mp_montgomery_reduce(a, zero, rho), MP_OKAY);
    EXPECT_NE(BigNum::mp_montgomery_reduce(a, even, rho), MP_OKAY);
}

TEST(BigNumInvmod, MatchesGmpForOddAndEvenModuli) {
    Operands rnd(22);
    Mpz x, m, want;
    int invertible = 0;
    for (int i = 0; i < 3000; ++i) {
        do {
            rnd.next(m, i % 7 == 0 ? 20 : 600);
        } while (mpz_cmp_ui(m.z, 2) < 0);
        if (i % 2 == 0) mpz_setbit(m, 0);
        // Negative and larger-than-m inputs as well.
        rnd.nextSigned(x, i % 3 == 0 ? 700 : mpz_sizeinbase(m, 2));
        if (i % 11 == 0) {  // share a factor with m (or be 0 mod m)
            mpz_mul(x, x, m);
            if (i % 2 == 0) mpz_tdiv_q_ui(x, x, 3);
        }
        mp_int a, mm, c;
        fromMpz(a, x);
        fromMpz(mm, m);
        const bool exists = mpz_invert(want, x, m) != 0;
        mp_int* out = i % 3 == 0 ? &a : i % 3 == 1 ? &mm : &c;
        int rc = BigNum::mp_invmod(a, mm, *out);
        ASSERT_EQ(rc == MP_OKAY, exists) << testing_gmp::hexOf(x) << " mod " << testing_gmp::hexOf(m);
        if (exists) {
            ASSERT_TRUE(sameValue(*out, want));
            ++invertible;
        }
    }
    EXPECT_GT(invertible, 1000);
    EXPECT_LT(invertible, 2900);
}

// Consecutive Fibonacci numbers give the longest Euclid runs (every quotient 1); a tiny a
// against a large m gives one huge quotient first. Both stress the step batching.
TEST(BigNumInvmod, ExtremeQuotientSequences) {
    Mpz f0, f1, want, big;
    mpz_set_ui(f0, 1);
    mpz_set_ui(f1, 2);
    for (int k = 0; k < 1600; ++k) {
        mpz_add(f0, f0, f1);
        mpz_swap(f0, f1);
        mp_int a, m, c;
        fromMpz(a, f0);
        fromMpz(m, f1);
        ASSERT_EQ(mpz_invert(want, f0, f1), 1);
        ASSERT_EQ(BigNum::mp_invmod(a, m, c), MP_OKAY) << k;
        ASSERT_TRUE(sameValue(c, want)) << k;
    }
    Operands rnd(23);
    for (int i = 0; i < 500; ++i) {
        rnd.exact(big, 100 + rnd.below(900));
        mpz_set_ui(f0, rnd.below(1000) + 2);
        if (i % 2) mpz_mul_2exp(f0, f0, rnd.below(200));  // a few digits against many
        mp_int a, m, c;
        fromMpz(a, f0);
        fromMpz(m, big);
        const bool exists = mpz_invert(want, f0, big) != 0;
        ASSERT_EQ(BigNum::mp_invmod(a, m, c) == MP_OKAY, exists);
        if (exists) {
            ASSERT_TRUE(sameValue(c, want));
        }
    }
}

TEST(BigNumInvmod, DegenerateInputs) {
    struct Case {
        long a;
        long m;
        long want;  // -1: no inverse
    };
    const Case cases[] = {
        {1, 1, -1}, {0, 1, -1}, {5, 0, -1}, {3, -7, -1}, {0, 7, -1}, {14, 7, -1},
        {6, 4, -1}, {1, 2, 1},  {3, 2, 1},  {-1, 7, 6},  {8, 7, 1},  {3, 7, 5},
        {2, 9, 5},  {-2, 9, 4},
    };
    for (const Case& tc : cases) {
        SCOPED_TRACE(testing::Message() << tc.a << " mod " << tc.m);
        Mpz x, y;
        mpz_set_si(x, tc.a);
        mpz_set_si(y, tc.m);
        mp_int a, m, c;
        fromMpz(a, x);
        fromMpz(m, y);
        int rc = BigNum::mp_invmod(a, m, c);
        if (tc.want < 0) {
            EXPECT_NE(rc, MP_OKAY);
        } else {
            ASSERT_EQ(rc, MP_OKAY);
            EXPECT_EQ(BigNum::mp_cmp_d(c, static_cast<unsigned>(tc.want)), 0);
        }
    }
}

}  // namespace
}  // namespace vn
