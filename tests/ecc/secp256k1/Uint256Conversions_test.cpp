// The bridge between host integers and 256-bit integers.

#include <gtest/gtest.h>

#include "K1TestSupport.h"
#include "ecc/secp256k1/Uint256Conversions.h"
#include "host/BigNum.h"
#include "host/mp_int.h"

namespace {

using namespace k1test;
using vn::BigNum;
using vn::mp_int;

void setHex(mp_int& m, const std::string& hex) { ASSERT_TRUE(BigNum::mp_read_radix(m, hex.c_str(), 16)); }

TEST(Uint256Conversions, WidthLimitAndSmallValues) {
    struct Case {
        std::string hex;
        bool fits;
    };
    const Case cases[] = {
        {"0", true},
        {"1", true},
        {"100000000", true},  // crosses a 32-bit word and a 28-bit digit boundary
        {std::string(64, 'f'), true},
        {"1" + std::string(64, '0'), false},
        {"123" + std::string(64, 'f'), false},
    };
    const _vnUnsigned256 sentinel = U("5a5a5a5a");
    for (const auto& c : cases) {
        mp_int m;
        setHex(m, c.hex);
        _vnUnsigned256 out = sentinel;
        EXPECT_EQ(vn::mp_int_to_uint256(m, out), c.fits) << c.hex;
        EXPECT_EQ(out, c.fits ? U(c.hex) : sentinel) << c.hex;
    }
}

// Random widths from 1 to 256 bits, so that every leading-zero count is exercised, with
// GMP reading the same hex text as the reference.
TEST(Uint256Conversions, RoundTripAgreesWithGmp) {
    Gen gen(0x5001);
    for (int iter = 0; iter < 2000; ++iter) {
        Mpz z(gen.u256());
        mpz_fdiv_r_2exp(z, z, static_cast<mp_bitcnt_t>(1 + iter % 256));
        char hex[80];
        gmp_snprintf(hex, sizeof hex, "%Zx", z.z);

        mp_int m;
        setHex(m, hex);
        _vnUnsigned256 u;
        ASSERT_TRUE(vn::mp_int_to_uint256(m, u)) << hex;
        ASSERT_EQ(u, toU256(z)) << hex;

        mp_int back;
        vn::uint256_to_mp_int(u, back);
        ASSERT_EQ(BigNum::mp_cmp(back, m), 0) << hex;
        const int minimalBytes = mpz_sgn(z.z) == 0 ? 0 : static_cast<int>(mpz_sizeinbase(z, 256));
        ASSERT_EQ(BigNum::mp_unsigned_bin_size(back), minimalBytes) << hex;
    }
}

TEST(Uint256Conversions, ZeroBecomesZeroHostInteger) {
    mp_int m;
    setHex(m, "abc");
    vn::uint256_to_mp_int(s_ZERO, m);
    EXPECT_TRUE(m.isZero());
    EXPECT_EQ(BigNum::mp_unsigned_bin_size(m), 0);
}

}  // namespace
