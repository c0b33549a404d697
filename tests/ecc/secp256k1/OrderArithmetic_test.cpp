// Multiplication modulo the group order against GMP.

#include <gtest/gtest.h>

#include "K1TestSupport.h"
#include "ecc/secp256k1/OrderArithmetic.h"

namespace {

using namespace k1test;
using vn::multiplyModOrder;

TEST(OrderArithmetic, Edges) {
    const _vnUnsigned256 n = U(kN);
    _vnUnsigned256 nm1 = n, nm2 = n;
    nm1.subtract(U("1"), 1);
    nm2.subtract(U("2"), 1);
    const _vnUnsigned256 x = U("123456789abcdef0fedcba987654321000112233445566778899aabbccddeeff");
    const _vnUnsigned256 max = U("ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff");
    _vnUnsigned256 maxModN = max;
    maxModN.subtract(n, 1);  // 2^256 - 1 < 2n

    struct Case {
        _vnUnsigned256 x, y, expected;
        const char* what;
    };
    const Case cases[] = {
        {x, s_ZERO, s_ZERO, "y = 0"},
        {s_ZERO, x, s_ZERO, "x = 0"},
        {x, s_ONE, x, "y = 1"},
        {s_ONE, max, maxModN, "x = 1, y above n"},
        {s_ONE, n, s_ZERO, "x = 1, y = n"},
        {nm1, nm1, s_ONE, "(n-1)^2"},
        {nm1, U("2"), nm2, "(n-1)*2"},
    };
    for (const auto& c : cases) {
        _vnUnsigned256 v = c.x;
        multiplyModOrder(v, c.y);
        EXPECT_EQ(v, c.expected) << c.what;
    }
}

TEST(OrderArithmetic, AgreesWithGmpOnRandomOperands) {
    Gen gen(0x3001);
    const _vnUnsigned256 n = U(kN);
    Mpz mn(kN), zr;
    for (int iter = 0; iter < 3000; ++iter) {
        const _vnUnsigned256 x = gen.below(n);
        const _vnUnsigned256 y = gen.u256();
        _vnUnsigned256 v = x;
        multiplyModOrder(v, y);
        mpz_mul(zr, Mpz(x), Mpz(y));
        mpz_mod(zr, zr, mn);
        ASSERT_EQ(v, toU256(zr)) << hexOf(x) << " * " << hexOf(y);

        // Same object as both operands: a square.
        v = x;
        multiplyModOrder(v, v);
        mpz_mul(zr, Mpz(x), Mpz(x));
        mpz_mod(zr, zr, mn);
        ASSERT_EQ(v, toU256(zr)) << hexOf(x) << " squared";
    }
}

}  // namespace
