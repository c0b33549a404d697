#include <gtest/gtest.h>

#include "bignum_gmp_support.h"
#include "host/BigNum.h"

namespace vn {
namespace {

using testing_gmp::fromMpz;
using testing_gmp::Mpz;
using testing_gmp::Operands;
using testing_gmp::sameValue;
using testing_gmp::toMpz;

// Which objects an operation's output shares with its inputs.
enum class Alias { None, OutIsA, OutIsB, AllSame };
const Alias kAliases[] = {Alias::None, Alias::OutIsA, Alias::OutIsB, Alias::AllSame};

using BinOp = int (*)(const mp_int&, const mp_int&, mp_int&);
using RefOp = void (*)(mpz_ptr, mpz_srcptr, mpz_srcptr);

// Runs op on x and y (y ignored for AllSame, which uses x twice) with the given sharing
// and compares the result with ref.
::testing::AssertionResult checkBinary(BinOp op, RefOp ref, mpz_srcptr x, mpz_srcptr y,
                                       Alias alias) {
    mp_int a, b, c;
    fromMpz(a, x);
    fromMpz(b, alias == Alias::AllSame ? x : y);
    Mpz want;
    ref(want, x, alias == Alias::AllSame ? x : y);
    int rc = MP_OKAY;
    mp_int* out = &c;
    switch (alias) {
        case Alias::None: rc = op(a, b, c); break;
        case Alias::OutIsA: rc = op(a, b, a); out = &a; break;
        case Alias::OutIsB: rc = op(a, b, b); out = &b; break;
        case Alias::AllSame: rc = op(a, a, a); out = &a; break;
    }
    if (rc != MP_OKAY) return ::testing::AssertionFailure() << "status " << rc;
    return sameValue(*out, want);
}

struct BinaryCase {
    const char* name;
    BinOp op;
    RefOp ref;
};

const BinaryCase kBinaryCases[] = {
    {"add", &BigNum::mp_add, &mpz_add},
    {"sub", &BigNum::mp_sub, &mpz_sub},
    {"mul", &BigNum::mp_mul, &mpz_mul},
};

TEST(BigNumArith, AddSubMulMatchGmpUnderEveryAliasing) {
    Operands rnd(1);
    Mpz x, y;
    for (const BinaryCase& bc : kBinaryCases) {
        SCOPED_TRACE(bc.name);
        for (int i = 0; i < 1500; ++i) {
            // Up to two 521-bit values' product width, different digit counts, both signs.
            rnd.nextSigned(x, 1100);
            rnd.nextSigned(y, i % 3 == 0 ? 64 : 1100);
            for (Alias alias : kAliases) {
                ASSERT_TRUE(checkBinary(bc.op, bc.ref, x, y, alias))
                    << testing_gmp::hexOf(x) << " , " << testing_gmp::hexOf(y);
            }
        }
    }
}

// Equal lengths take the unrolled kernels; every length up to 40 digits, with random and
// all-ones digits (the largest column sums). Squares also run in place.
TEST(BigNumArith, EqualLengthProductsAndSquaresAtEveryDigitCount) {
    Operands rnd(11);
    Mpz x, y, want;
    for (unsigned digits = 1; digits <= 40; ++digits) {
        SCOPED_TRACE(digits);
        for (int i = 0; i < 100; ++i) {
            const unsigned long bits = 28ul * digits;
            if (i == 0) {
                mpz_set_ui(x, 0);
                mpz_setbit(x, bits);
                mpz_sub_ui(x, x, 1);
                mpz_set(y, x);
            } else {
                rnd.exact(x, bits - rnd.below(28));
                rnd.exact(y, bits - rnd.below(28));
            }
            mp_int a, b, c;
            fromMpz(a, x);
            fromMpz(b, y);
            ASSERT_EQ(BigNum::mp_mul(a, b, c), MP_OKAY);
            mpz_mul(want, x, y);
            ASSERT_TRUE(sameValue(c, want));
            mpz_mul(want, y, y);
            ASSERT_EQ(BigNum::mp_sqr(b, c), MP_OKAY);
            ASSERT_TRUE(sameValue(c, want));
            ASSERT_EQ(BigNum::mp_sqr(b, b), MP_OKAY);
            ASSERT_TRUE(sameValue(b, want));
        }
    }
}

// Operands longer than 255 digits take the row-wise paths and live on the heap.
TEST(BigNumArith, LongOperandsLeaveTheColumnPath) {
    Operands rnd(3);
    Mpz x, y, want, q, r;
    for (int i = 0; i < 12; ++i) {
        rnd.exact(x, 7200 + rnd.below(2000));
        rnd.exact(y, 7200 + rnd.below(2000));
        mp_int a, b, c, d;
        fromMpz(a, x);
        fromMpz(b, y);
        ASSERT_EQ(BigNum::mp_mul(a, b, c), MP_OKAY);
        mpz_mul(want, x, y);
        ASSERT_TRUE(sameValue(c, want));
        ASSERT_EQ(BigNum::mp_sqr(a, d), MP_OKAY);
        mpz_mul(want, x, x);
        ASSERT_TRUE(sameValue(d, want));
        ASSERT_EQ(BigNum::mp_div(c, a, &d, &c), MP_OKAY);  // x*y / x = y rem 0
        ASSERT_TRUE(sameValue(d, y));
        EXPECT_TRUE(c.isZero());
    }
}

TEST(BigNumArith, ComparisonsMatchGmp) {
    Operands rnd(4);
    Mpz x, y;
    for (int i = 0; i < 3000; ++i) {
        rnd.nextSigned(x, i % 2 ? 70 : 600);
        if (i % 5 == 0) {
            mpz_set(y, x);
        } else if (i % 5 == 1) {
            mpz_neg(y, x);
        } else {
            rnd.nextSigned(y, i % 2 ? 70 : 600);
        }
        mp_int a, b;
        fromMpz(a, x);
        fromMpz(b, y);
        auto sgn = [](int v) { return (v > 0) - (v < 0); };
        ASSERT_EQ(BigNum::mp_cmp(a, b), sgn(mpz_cmp(x, y)));
        ASSERT_EQ(BigNum::mp_cmp_mag(a, b), sgn(mpz_cmpabs(x, y)));
        unsigned d = static_cast<unsigned>(rnd.below(4)) == 0
                         ? static_cast<unsigned>(mpz_get_ui(x))  // often equal
                         : static_cast<unsigned>(rnd.below(0xFFFFFFFFul) + 1);
        ASSERT_EQ(BigNum::mp_cmp_d(a, d), sgn(mpz_cmp_ui(x.z, d)))
            << testing_gmp::hexOf(x) << " vs " << d;
    }
}

TEST(BigNumArith, CopySetAndHalving) {
    Operands rnd(5);
    Mpz x, want;
    for (int i = 0; i < 2000; ++i) {
        rnd.nextSigned(x, 1100);
        mp_int a, b;
        fromMpz(a, x);
        ASSERT_EQ(BigNum::mp_copy(a, b), MP_OKAY);
        ASSERT_TRUE(sameValue(b, x));
        ASSERT_EQ(BigNum::mp_copy(a, a), MP_OKAY);
        ASSERT_TRUE(sameValue(a, x));
        mpz_tdiv_q_2exp(want, x, 1);
        ASSERT_EQ(BigNum::mp_div_2(a, b), MP_OKAY);
        ASSERT_TRUE(sameValue(b, want));
        ASSERT_EQ(BigNum::mp_div_2(a, a), MP_OKAY);
        ASSERT_TRUE(sameValue(a, want));
    }
    const unsigned values[] = {0u, 1u, 0x0FFFFFFFu, 0x10000000u, 0xFFFFFFFFu};
    for (unsigned v : values) {
        mp_int a;
        fromMpz(a, x);  // a stale larger value underneath
        BigNum::mp_set(a, v);
        mpz_set_ui(want, v);
        EXPECT_TRUE(sameValue(a, want));
        EXPECT_EQ(BigNum::mp_set_int(a, v), MP_OKAY);
        EXPECT_TRUE(sameValue(a, want));
        EXPECT_EQ(BigNum::mp_cmp_d(a, v), 0);
    }
}

TEST(BigNumArith, DivisionMatchesGmpTruncation) {
    Operands rnd(6);
    Mpz x, y, wq, wr;
    for (int i = 0; i < 4000; ++i) {
        rnd.nextSigned(x, 1100);
        do {
            rnd.nextSigned(y, i % 4 == 0 ? 40 : 700);
        } while (mpz_sgn(y.z) == 0);
        mpz_tdiv_qr(wq, wr, x, y);
        mp_int a, b, q, r;
        fromMpz(a, x);
        fromMpz(b, y);
        switch (i % 4) {
            case 0:
                ASSERT_EQ(BigNum::mp_div(a, b, &q, &r), MP_OKAY);
                ASSERT_TRUE(sameValue(q, wq));
                ASSERT_TRUE(sameValue(r, wr));
                break;
            case 1:  // outputs on top of the inputs
                ASSERT_EQ(BigNum::mp_div(a, b, &a, &b), MP_OKAY);
                ASSERT_TRUE(sameValue(a, wq));
                ASSERT_TRUE(sameValue(b, wr));
                break;
            case 2:
                ASSERT_EQ(BigNum::mp_div(a, b, &b, &a), MP_OKAY);
                ASSERT_TRUE(sameValue(b, wq));
                ASSERT_TRUE(sameValue(a, wr));
                break;
            default:
                ASSERT_EQ(BigNum::mp_div(a, b, nullptr, &r), MP_OKAY);
                ASSERT_TRUE(sameValue(r, wr));
                ASSERT_EQ(BigNum::mp_div(a, b, &q, nullptr), MP_OKAY);
                ASSERT_TRUE(sameValue(q, wq));
                break;
        }
    }
    mp_int a, zero, q;
    BigNum::mp_set(a, 5);
    EXPECT_NE(BigNum::mp_div(a, zero, &q, nullptr), MP_OKAY);
}

// Trial quotients that are too large are rare with random operands; these dividends sit
// just below multiples of the divisor to hit the add-back step.
TEST(BigNumArith, DivisionAddBackCorrection) {
    Operands rnd(7);
    Mpz x, y, k, wq, wr;
    for (int i = 0; i < 3000; ++i) {
        rnd.exact(y, 56 + rnd.below(500));
        if (i % 2 == 0) mpz_setbit(y, mpz_sizeinbase(y, 2) - 2);  // top digit large
        rnd.exact(k, 1 + rnd.below(300));
        mpz_mul(x, y, k);
        mpz_sub_ui(x, x, rnd.below(3) + 1);
        mpz_tdiv_qr(wq, wr, x, y);
        mp_int a, b, q, r;
        fromMpz(a, x);
        fromMpz(b, y);
        ASSERT_EQ(BigNum::mp_div(a, b, &q, &r), MP_OKAY);
        ASSERT_TRUE(sameValue(q, wq));
        ASSERT_TRUE(sameValue(r, wr));
    }
}

TEST(BigNumArith, ModIsNonNegativeAndMulmodMatchesGmp) {
    Operands rnd(8);
    Mpz x, y, m, want;
    for (int i = 0; i < 4000; ++i) {
        rnd.nextSigned(x, 1100);
        rnd.nextSigned(y, 600);
        do {
            rnd.next(m, i % 5 == 0 ? 30 : 600);
        } while (mpz_sgn(m.z) == 0);
        mp_int a, b, mm, c;
        fromMpz(a, x);
        fromMpz(b, y);
        fromMpz(mm, m);
        mpz_mod(want, x, m);
        if (i % 2 == 0) {
            ASSERT_EQ(BigNum::mp_mod(a, mm, c), MP_OKAY);
            ASSERT_TRUE(sameValue(c, want));
        } else {
            ASSERT_EQ(BigNum::mp_mod(a, mm, a), MP_OKAY);
            ASSERT_TRUE(sameValue(a, want));
            fromMpz(a, x);
        }
        mpz_mul(want, x, y);
        mpz_mod(want, want, m);
        mp_int* out = i % 4 == 0 ? &a : i % 4 == 1 ? &b : i % 4 == 2 ? &mm : &c;
        ASSERT_EQ(BigNum::mp_mulmod(a, b, mm, *out), MP_OKAY);
        ASSERT_TRUE(sameValue(*out, want));
    }
    mp_int a, zero, neg, c;
    BigNum::mp_set(a, 5);
    EXPECT_NE(BigNum::mp_mod(a, zero, c), MP_OKAY);
    BigNum::mp_sub(zero, a, neg);
    EXPECT_NE(BigNum::mp_mod(a, neg, c), MP_OKAY);
}

// The point formulas subtract, test for a negative result and fold it back with mp_mod or
// an addition of p; chains of such steps must stay exact.
TEST(BigNumArith, NegativeDifferencesFoldBackIntoRange) {
    mp_int three, five, seven, c, d;
    BigNum::mp_set(three, 3);
    BigNum::mp_set(five, 5);
    BigNum::mp_set(seven, 7);
    ASSERT_EQ(BigNum::mp_sub(three, five, c), MP_OKAY);
    EXPECT_TRUE(c.isNegative());
    EXPECT_EQ(BigNum::mp_cmp_d(c, 0), -1);
    EXPECT_EQ(BigNum::mp_cmp_d(c, 2), -1);
    ASSERT_EQ(BigNum::mp_mod(c, seven, d), MP_OKAY);
    EXPECT_EQ(BigNum::mp_cmp_d(d, 5), 0);
    ASSERT_EQ(BigNum::mp_sub(five, five, c), MP_OKAY);
    EXPECT_TRUE(c.isZero());
    EXPECT_FALSE(c.isNegative());

    Operands rnd(9);
    Mpz p, x, y, ref;
    for (int i = 0; i < 1000; ++i) {
        rnd.exact(p, 160 + rnd.below(362));
        mp_int mp_p, acc, t;
        fromMpz(mp_p, p);
        mpz_set_ui(ref, 0);
        for (int step = 0; step < 8; ++step) {
            mpz_urandomm(x, rnd.state, p);
            fromMpz(t, x);
            // sub mod p, as the point code does it
            ASSERT_EQ(BigNum::mp_sub(acc, t, acc), MP_OKAY);
            if (BigNum::mp_cmp_d(acc, 0) == -1) {
                ASSERT_EQ(BigNum::mp_add(acc, mp_p, acc), MP_OKAY);
            }
            mpz_sub(ref, ref, x);
            mpz_mod(ref, ref, p);
            ASSERT_TRUE(sameValue(acc, ref));
            ASSERT_EQ(BigNum::mp_sub(t, mp_p, t), MP_OKAY);  // x - p < 0
            ASSERT_EQ(BigNum::mp_mod(t, mp_p, t), MP_OKAY);
            ASSERT_TRUE(sameValue(t, x));
        }
    }
}

// Private scalars pass through these objects: cleared and outgrown storage must not keep
// the digits, and curve-sized work must not leave the inline storage.
TEST(BigNumArith, StorageHygiene) {
    Operands rnd(10);
    Mpz x, y;
    rnd.exact(x, 521);
    rnd.exact(y, 521);
    mp_int a, b, c;
    fromMpz(a, x);
    fromMpz(b, y);
    ASSERT_EQ(BigNum::mp_mul(a, b, c), MP_OKAY);
    ASSERT_EQ(BigNum::mp_sqr(c, c) == MP_OKAY, true);  // 2084 bits: beyond inline
    EXPECT_NE(c.dp, c.inlineDigits);
    for (mp_digit d : c.inlineDigits) ASSERT_EQ(d, 0u);  // wiped when outgrown

    ASSERT_EQ(BigNum::mp_mul(a, b, a), MP_OKAY);
    ASSERT_EQ(BigNum::mp_add(a, b, a), MP_OKAY);
    ASSERT_EQ(BigNum::mp_sub(a, b, a), MP_OKAY);
    ASSERT_EQ(BigNum::mp_sqr(b, b), MP_OKAY);
    EXPECT_EQ(a.dp, a.inlineDigits);
    EXPECT_EQ(b.dp, b.inlineDigits);

    BigNum::mp_zero(a);
    EXPECT_TRUE(a.isZero());
    for (mp_digit d : a.inlineDigits) ASSERT_EQ(d, 0u);
}

}  // namespace
}  // namespace vn
