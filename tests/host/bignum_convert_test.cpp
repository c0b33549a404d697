#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "bignum_gmp_support.h"
#include "host/BigNum.h"
#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"

namespace vn {
namespace {

using testing_gmp::fromMpz;
using testing_gmp::Mpz;
using testing_gmp::Operands;
using testing_gmp::sameValue;

std::string hexOf(const DataBuffer& db) {
    StringBuffer sb;
    db.encodeDB("hex", sb);
    return sb.getString();
}

void setHex(mp_int& a, const char* hex) {
    Mpz z(hex);
    fromMpz(a, z);
}

TEST(BigNumConvert, ReadRadixMatchesGmpInBothCasesAndBases) {
    Operands rnd(30);
    Mpz x;
    for (int i = 0; i < 2000; ++i) {
        rnd.next(x, 1100);
        std::vector<char> text(mpz_sizeinbase(x, 16) + 2);
        mpz_get_str(text.data(), i % 2 ? 16 : -16, x);
        std::string t = text.data();
        if (i % 3 == 0) t = std::string(static_cast<std::size_t>(rnd.below(70)), '0') + t;
        for (char& ch : t) {  // mixed case within one text
            if (ch >= 'a' && ch <= 'f' && rnd.below(2) == 0) ch = static_cast<char>(ch - 'a' + 'A');
        }
        mp_int a;
        ASSERT_TRUE(BigNum::mp_read_radix(a, t.c_str(), 16)) << t;
        ASSERT_TRUE(sameValue(a, x)) << t;
        std::vector<char> dec(mpz_sizeinbase(x, 10) + 2);
        mpz_get_str(dec.data(), 10, x);
        ASSERT_TRUE(BigNum::mp_read_radix(a, dec.data(), 10)) << dec.data();
        ASSERT_TRUE(sameValue(a, x)) << dec.data();
    }
    mp_int seven, lower, upper;
    std::string padded = std::string(63, '0') + "7";
    ASSERT_TRUE(BigNum::mp_read_radix(seven, padded.c_str(), 16));
    EXPECT_EQ(BigNum::mp_cmp_d(seven, 7), 0);
    ASSERT_TRUE(BigNum::mp_read_radix(lower, "fffffffffffffffffffffffffffffffefffffffffffffffe", 16));
    ASSERT_TRUE(BigNum::mp_read_radix(upper, "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFFFFFFFFFFFE", 16));
    EXPECT_EQ(BigNum::mp_cmp(lower, upper), 0);
}

TEST(BigNumConvert, ReadRadixRejectsBadTextAndLeavesZero) {
    struct Case {
        const char* text;
        int radix;
    };
    const Case bad[] = {
        {"", 16},     {"12G4", 16}, {"0x12", 16}, {" 12", 16}, {"12 ", 16}, {"-5", 16},
        {"+5", 16},   {"1A", 10},   {"12.5", 10}, {"7", 0},    {"7", 37},
    };
    for (const Case& tc : bad) {
        SCOPED_TRACE(tc.text);
        mp_int a;
        setHex(a, "123456789ABCDEF0123456789");
        EXPECT_FALSE(BigNum::mp_read_radix(a, tc.text, tc.radix));
        EXPECT_TRUE(a.isZero());
    }
    mp_int a;
    EXPECT_FALSE(BigNum::mp_read_radix(a, nullptr, 16));
}

TEST(BigNumConvert, BytesRoundTripAgainstGmp) {
    Operands rnd(31);
    Mpz x, back;
    for (int i = 0; i < 2000; ++i) {
        rnd.next(x, 1100);
        std::size_t n = 0;
        std::vector<unsigned char> ref(mpz_sizeinbase(x, 256) + 1);
        mpz_export(ref.data(), &n, 1, 1, 1, 0, x);
        mp_int a;
        fromMpz(a, x);
        ASSERT_EQ(BigNum::mp_unsigned_bin_size(a), static_cast<int>(n));
        ASSERT_EQ(static_cast<std::size_t>(BigNum::mp_count_bits(a)),
                  mpz_sgn(x.z) ? mpz_sizeinbase(x, 2) : 0u);
        std::vector<unsigned char> out(n + 1, 0xEE);
        ASSERT_EQ(BigNum::mpint_to_bytes(a, out.data()), MP_OKAY);
        ASSERT_TRUE(std::equal(ref.begin(), ref.begin() + static_cast<long>(n), out.begin()));
        EXPECT_EQ(out[n], 0xEE);  // nothing written past the minimal length

        // Leading zero bytes are accepted and ignored.
        std::vector<unsigned char> padded(static_cast<std::size_t>(i % 4), 0);
        padded.insert(padded.end(), ref.begin(), ref.begin() + static_cast<long>(n));
        mp_int b;
        ASSERT_TRUE(BigNum::mpint_from_bytes(b, padded.data(), static_cast<int>(padded.size())));
        ASSERT_TRUE(sameValue(b, x));

        DataBuffer db;
        db.appendChar(0xAB);  // mpint_to_db appends
        ASSERT_TRUE(BigNum::mpint_to_db(a, db));
        ASSERT_EQ(db.getSize(), n + 1);
        EXPECT_TRUE(std::equal(ref.begin(), ref.begin() + static_cast<long>(n), db.getData2() + 1));
    }
    const unsigned char one[] = {0, 0, 1};
    mp_int a;
    ASSERT_TRUE(BigNum::mpint_from_bytes(a, one, 3));
    EXPECT_EQ(BigNum::mp_cmp_d(a, 1), 0);
    ASSERT_TRUE(BigNum::mpint_from_bytes(a, one, 0));
    EXPECT_TRUE(a.isZero());
    EXPECT_FALSE(BigNum::mpint_from_bytes(a, one, -1));
    DataBuffer db;
    EXPECT_TRUE(BigNum::mpint_to_db(a, db));
    EXPECT_EQ(db.getSize(), 0u);
}

// 64-bit limbs against GMP's own export, for every width the digits and limbs can line up
// in, with spare limbs (zero-filled), and the refusals: negative, or wider than the limbs.
TEST(BigNumConvert, LimbsRoundTripAgainstGmp) {
    Operands rnd(37);
    Mpz x;
    for (int i = 0; i < 2000; ++i) {
        rnd.next(x, 640);
        mpz_abs(x, x);
        const int bits = static_cast<int>(mpz_sgn(x.z) ? mpz_sizeinbase(x, 2) : 0);
        const int limbs = (bits + 63) / 64 + i % 3;
        std::vector<std::uint64_t> ref(static_cast<std::size_t>(limbs) + 1, 0);
        std::size_t n = 0;
        mpz_export(ref.data(), &n, -1, sizeof(std::uint64_t), 0, 0, x);
        mp_int a, back;
        fromMpz(a, x);
        std::vector<std::uint64_t> out(static_cast<std::size_t>(limbs) + 1, 0xEEEEu);
        if (limbs == 0) {
            EXPECT_FALSE(BigNum::mpint_to_limbs(a, out.data(), 0));
            continue;
        }
        ASSERT_TRUE(BigNum::mpint_to_limbs(a, out.data(), limbs)) << i;
        EXPECT_TRUE(std::equal(ref.begin(), ref.begin() + limbs, out.begin())) << i;
        EXPECT_EQ(out[static_cast<std::size_t>(limbs)], 0xEEEEu);  // nothing past the limbs
        ASSERT_EQ(BigNum::mpint_from_limbs(back, out.data(), limbs), MP_OKAY);
        EXPECT_TRUE(sameValue(back, x)) << i;
        if (bits > 64) {
            EXPECT_FALSE(BigNum::mpint_to_limbs(a, out.data(), (bits - 1) / 64)) << i;
        }
    }
    mp_int neg;
    setHex(neg, "-5");
    std::uint64_t one = 0;
    EXPECT_FALSE(BigNum::mpint_to_limbs(neg, &one, 1));
}

TEST(BigNumConvert, SshMpintBody) {
    struct Case {
        const char* value;
        const char* body;
    };
    const Case cases[] = {
        {"0", ""},           {"7F", "7F"},         {"80", "0080"},        {"FF", "00FF"},
        {"100", "0100"},     {"8000", "008000"},   {"7FFF", "7FFF"},
        {"80000000000000000000000000000001", "0080000000000000000000000000000001"},
    };
    for (const Case& tc : cases) {
        SCOPED_TRACE(tc.value);
        mp_int a;
        setHex(a, tc.value);
        DataBuffer db;
        ASSERT_EQ(BigNum::mpint_to_ssh_db(a, db), MP_OKAY);
        EXPECT_EQ(hexOf(db), tc.body);
    }
    mp_int one, two, neg;
    BigNum::mp_set(one, 1);
    BigNum::mp_set(two, 2);
    BigNum::mp_sub(one, two, neg);
    DataBuffer db;
    EXPECT_NE(BigNum::mpint_to_ssh_db(neg, db), MP_OKAY);
}

TEST(BigNumConvert, HexZeroExtended) {
    struct Case {
        const char* value;
        unsigned width;
        const char* text;
    };
    const Case cases[] = {
        {"0", 0, ""},           {"0", 3, "000000"},      {"1", 1, "01"},
        {"ABC", 1, "0ABC"},     {"abc", 4, "00000ABC"},  {"123456", 3, "123456"},
        {"123456", 2, "123456"}, {"F", 0, "0F"},
    };
    for (const Case& tc : cases) {
        SCOPED_TRACE(tc.value);
        mp_int a;
        setHex(a, tc.value);
        StringBuffer sb("x");  // appends
        ASSERT_TRUE(BigNum::mpint_to_hex_zero_extended(a, tc.width, sb));
        EXPECT_EQ(std::string(sb.getString()), std::string("x") + tc.text);
    }
    Operands rnd(32);
    Mpz x;
    for (int i = 0; i < 500; ++i) {
        rnd.next(x, 528);
        mp_int a;
        fromMpz(a, x);
        StringBuffer sb;
        ASSERT_TRUE(BigNum::mpint_to_hex_zero_extended(a, 66, sb));
        std::string want = testing_gmp::hexOf(x);
        if (want == "0") want.clear();
        want = std::string(132 - want.size(), '0') + want;
        ASSERT_EQ(std::string(sb.getString()), want);
    }
}

TEST(BigNumConvert, Base64urlAndLog) {
    struct Case {
        const char* value;
        const char* text;
    };
    const Case cases[] = {
        {"0", "AA"}, {"1", "AQ"}, {"10001", "AQAB"}, {"FFFF", "__8"}, {"FBFF", "-_8"},
        {"00FF", "_w"},
    };
    for (const Case& tc : cases) {
        SCOPED_TRACE(tc.value);
        mp_int a;
        setHex(a, tc.value);
        StringBuffer sb;
        LogNull log;
        ASSERT_TRUE(BigNum::mpint_to_base64url(a, sb, log));
        EXPECT_STREQ(sb.getString(), tc.text);
    }
    Operands rnd(33);
    Mpz x;
    for (int i = 0; i < 300; ++i) {
        rnd.next(x, 600);
        if (mpz_sgn(x.z) == 0) continue;
        mp_int a, b;
        fromMpz(a, x);
        StringBuffer sb;
        LogNull log;
        ASSERT_TRUE(BigNum::mpint_to_base64url(a, sb, log));
        DataBuffer db;
        ASSERT_TRUE(db.appendEncoded(sb.getString(), "base64url"));
        ASSERT_TRUE(BigNum::mpint_from_bytes(b, db.getData2(), static_cast<int>(db.getSize())));
        ASSERT_TRUE(sameValue(b, x));
        ASSERT_NE(static_cast<int>(db.byteAt(0)), 0);  // minimal length
    }

    LogBase log;
    mp_int a, zero, neg, one;
    setHex(a, "123456789abcdef01");
    BigNum::log_mpint("k", a, log);
    BigNum::log_mpint("z", zero, log);
    BigNum::mp_set(one, 1);
    BigNum::mp_sub(zero, one, neg);
    BigNum::log_mpint("n", neg, log);
    ASSERT_EQ(log.entries().size(), 3u);
    EXPECT_EQ(log.entries()[0].name, "k");
    EXPECT_EQ(log.entries()[0].text, "0123456789ABCDEF01");
    EXPECT_EQ(log.entries()[1].text, "0");
    EXPECT_EQ(log.entries()[2].text, "-01");
}

}  // namespace
}  // namespace vn
