// 256-bit integers: construction, masked arithmetic, ordering and the inverse, with GMP as
// the reference for random operands.

#include <gtest/gtest.h>

#include <cstring>

#include "K1TestSupport.h"

namespace {

using namespace k1test;

TEST(Unsigned256, HexTextPlacesEveryNibble) {
    const _vnUnsigned256 upper("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF");
    const _vnUnsigned256 lower("ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff");
    for (auto w : upper.words) EXPECT_EQ(w, 0xFFFFFFFFu);
    EXPECT_EQ(upper, lower);

    const _vnUnsigned256 v("0123456789abcdefFEDCBA9876543210000000010000000000000000DeadBeef");
    const std::uint32_t expected[8] = {0xDEADBEEF, 0,          0,          0x00000001,
                                       0x76543210, 0xFEDCBA98, 0x89ABCDEF, 0x01234567};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(v.words[i], expected[i]) << "word " << i;
}

TEST(Unsigned256, BigEndianBytesRoundTrip) {
    unsigned char one[32] = {};
    one[31] = 1;
    const _vnUnsigned256 v(one);
    EXPECT_EQ(v.words[0], 1u);
    for (int i = 1; i < 8; ++i) EXPECT_EQ(v.words[i], 0u);
    unsigned char back[32];
    v.getBigEndian(back);
    EXPECT_EQ(std::memcmp(one, back, 32), 0);

    unsigned char bytes[32];
    for (int i = 0; i < 32; ++i) bytes[i] = static_cast<unsigned char>(i + 1);
    const _vnUnsigned256 w(bytes);
    EXPECT_EQ(w, U("0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20"));
    w.getBigEndian(back);
    EXPECT_EQ(std::memcmp(bytes, back, 32), 0);
}

struct AddSubCase {
    const char* a;
    const char* b;
    std::uint32_t flag;
    bool isAdd;
    const char* result;
    std::uint32_t carry;
};

TEST(Unsigned256, AddSubtractEdges) {
    const char* max = "ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff";
    const AddSubCase cases[] = {
        {max, "1", 1, true, "0", 1},
        {max, "1", 0, true, max, 0},
        {"0", "1", 1, false, max, 1},
        {"0", "1", 0, false, "0", 0},
        {"ffffffff", "1", 1, true, "100000000", 0},  // carry crosses a word only
        {"100000000", "1", 1, false, "ffffffff", 0},  // borrow crosses a word only
        {"5", "5", 1, false, "0", 0},
        {max, max, 1, true, "fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffe", 1},
    };
    for (const auto& c : cases) {
        _vnUnsigned256 v = U(c.a);
        const std::uint32_t out = c.isAdd ? v.add(U(c.b), c.flag) : v.subtract(U(c.b), c.flag);
        EXPECT_EQ(v, U(c.result)) << c.a << (c.isAdd ? " + " : " - ") << c.b << " flag " << c.flag;
        EXPECT_EQ(out, c.carry) << c.a << (c.isAdd ? " + " : " - ") << c.b;
    }
}

TEST(Unsigned256, ShiftEdges) {
    _vnUnsigned256 top = U("8000000000000000000000000000000000000000000000000000000000000000");
    EXPECT_EQ(top.shiftLeft1(), 1u);
    EXPECT_EQ(top, s_ZERO);

    _vnUnsigned256 crossing = U("80000000");
    EXPECT_EQ(crossing.shiftLeft1(), 0u);
    EXPECT_EQ(crossing, U("100000000"));
    crossing.shiftRight1(1);
    EXPECT_EQ(crossing, U("80000000"));

    _vnUnsigned256 one = U("1");
    one.shiftRight1(1);
    EXPECT_EQ(one, s_ZERO);

    _vnUnsigned256 max = U("ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff");
    _vnUnsigned256 same = max;
    same.shiftRight1(0);
    EXPECT_EQ(same, max);
    max.shiftRight1(1);
    EXPECT_EQ(max, U("7fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff"));
}

TEST(Unsigned256, OrderingDecidedByTopDifferingWord) {
    struct Case {
        const char* a;
        const char* b;
        bool less;
    };
    const Case cases[] = {
        {"1", "2", true},
        {"2", "1", false},
        // a larger word 7 wins against every lower word
        {"1000000000000000000000000000000000000000000000000000000000000000",
         "0fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff", false},
        {"0000000100000000000000000000000000000000000000000000000000000000",
         "00000000ffffffffffffffffffffffffffffffffffffffffffffffffffffffff", false},
        // equal high words: a lower word decides
        {"ffffffff00000000000000000000000000000000000000000000000000000001",
         "ffffffff00000000000000000000000000000000000000000000000000000002", true},
    };
    for (const auto& c : cases) {
        const _vnUnsigned256 a = U(c.a), b = U(c.b);
        EXPECT_EQ(a < b, c.less) << c.a << " < " << c.b;
        EXPECT_EQ(b > a, c.less);
        EXPECT_EQ(a >= b, !c.less);
        EXPECT_EQ(b <= a, !c.less);
        EXPECT_TRUE(a != b);
    }
    const _vnUnsigned256 a = U(kN);
    EXPECT_TRUE(a <= a);
    EXPECT_TRUE(a >= a);
    EXPECT_FALSE(a < a);
    EXPECT_FALSE(a > a);
    EXPECT_TRUE(a == a);
}

TEST(Unsigned256, SwapAndReplaceFollowTheFlag) {
    const _vnUnsigned256 a0 = U(kP), b0 = U(kN);
    _vnUnsigned256 a = a0, b = b0;
    a.swap(b, 0);
    EXPECT_EQ(a, a0);
    EXPECT_EQ(b, b0);
    a.swap(b, 1);
    EXPECT_EQ(a, b0);
    EXPECT_EQ(b, a0);
    a.replace(a0, 0);
    EXPECT_EQ(a, b0);
    a.replace(a0, 1);
    EXPECT_EQ(a, a0);
}

TEST(Unsigned256, AgreesWithGmpOnRandomOperands) {
    Gen gen(0x1001);
    Mpz two256, za, zb, zr;
    mpz_ui_pow_ui(two256, 2, 256);
    for (int iter = 0; iter < 5000; ++iter) {
        const _vnUnsigned256 a = gen.u256(), b = gen.u256();
        const std::uint32_t flag = static_cast<std::uint32_t>(iter & 1);
        Mpz ma(a), mb(b);
        if (flag == 0) mpz_set_ui(mb, 0);

        _vnUnsigned256 s = a;
        const std::uint32_t carry = s.add(b, flag);
        mpz_add(zr, ma, mb);
        ASSERT_EQ(s, toU256(zr)) << hexOf(a) << " + " << hexOf(b);
        ASSERT_EQ(carry, mpz_cmp(zr, two256) >= 0 ? 1u : 0u);

        _vnUnsigned256 d = a;
        const std::uint32_t borrow = d.subtract(b, flag);
        mpz_sub(zr, ma, mb);
        ASSERT_EQ(borrow, mpz_sgn(zr.z) < 0 ? 1u : 0u);
        if (mpz_sgn(zr.z) < 0) mpz_add(zr, zr, two256);
        ASSERT_EQ(d, toU256(zr)) << hexOf(a) << " - " << hexOf(b);

        _vnUnsigned256 l = a;
        const std::uint32_t out = l.shiftLeft1();
        mpz_mul_2exp(zr, Mpz(a), 1);
        ASSERT_EQ(l, toU256(zr));
        ASSERT_EQ(out, mpz_tstbit(Mpz(a), 255));

        _vnUnsigned256 r = a;
        r.shiftRight1(1);
        mpz_fdiv_q_2exp(zr, Mpz(a), 1);
        ASSERT_EQ(r, toU256(zr));

        const int cmp = mpz_cmp(Mpz(a), Mpz(b));
        ASSERT_EQ(a < b, cmp < 0) << hexOf(a) << " vs " << hexOf(b);
        ASSERT_EQ(a > b, cmp > 0);
        ASSERT_EQ(a == b, cmp == 0);
    }
}

// The inverse is tested with both moduli the engine uses it with; the edges include the
// values that need the most rounds of the fixed loop (1 and small powers of two).
TEST(Unsigned256, ReciprocalModuloPrimeAndOrder) {
    Gen gen(0x1002);
    for (const char* modHex : {kP, kN}) {
        const _vnUnsigned256 m = U(modHex);
        Mpz mm(m), zr;
        _vnUnsigned256 mMinus1 = m;
        mMinus1.subtract(s_ONE, 1);

        const _vnUnsigned256 edges[] = {U("1"), U("2"), U("3"), mMinus1,
                                        U("8000000000000000000000000000000000000000000000000000000000000000")};
        for (const auto& x : edges) {
            _vnUnsigned256 inv = x;
            inv.reciprocal(m);
            mpz_invert(zr, Mpz(x), mm);
            EXPECT_EQ(inv, toU256(zr)) << hexOf(x) << " mod " << modHex;
        }
        _vnUnsigned256 zero;
        zero.reciprocal(m);
        EXPECT_EQ(zero, s_ZERO);
        _vnUnsigned256 last = mMinus1;
        last.reciprocal(m);
        EXPECT_EQ(last, mMinus1);

        for (int iter = 0; iter < 300; ++iter) {
            const _vnUnsigned256 x = gen.below(m);
            if (x == s_ZERO) continue;
            _vnUnsigned256 inv = x;
            inv.reciprocal(m);
            mpz_invert(zr, Mpz(x), mm);
            ASSERT_EQ(inv, toU256(zr)) << hexOf(x) << " mod " << modHex;
        }
    }
}

}  // namespace
