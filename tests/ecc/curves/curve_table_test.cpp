#include <gtest/gtest.h>

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>

#include <cstring>
#include <memory>
#include <string>

#include "ecc/curves/EccCurve.h"
#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"
#include "host/DataBuffer.h"

namespace vn {
namespace {

struct Expected {
    const char* name;
    int nid;
    int digitsP, digitsB, digitsN, digitsGx, digitsGy;
};

// Digit counts are part of the stored texts: they are exported as they stand.
const Expected kExpected[kNamedCurveCount] = {
    {"secp256r1", NID_X9_62_prime256v1, 64, 64, 64, 64, 64},
    {"secp384r1", NID_secp384r1, 96, 96, 96, 96, 96},
    {"secp521r1", NID_secp521r1, 131, 130, 131, 130, 131},
    {"secp256k1", NID_secp256k1, 64, 64, 64, 64, 64},
    {"secp192r1", NID_X9_62_prime192v1, 48, 48, 48, 48, 48},
    {"secp160r1", NID_secp160r1, 40, 40, 42, 40, 40},
    {"secp224r1", NID_secp224r1, 56, 56, 56, 56, 56},
    {"brainpoolp256r1", NID_brainpoolP256r1, 64, 64, 64, 64, 64},
    {"brainpoolp160r1", NID_brainpoolP160r1, 40, 40, 40, 40, 40},
    {"brainpoolp192r1", NID_brainpoolP192r1, 48, 48, 48, 48, 48},
    {"brainpoolp224r1", NID_brainpoolP224r1, 56, 56, 56, 56, 56},
    {"brainpoolp320r1", NID_brainpoolP320r1, 80, 80, 80, 80, 80},
    {"brainpoolp384r1", NID_brainpoolP384r1, 96, 96, 96, 96, 96},
    {"brainpoolp512r1", NID_brainpoolP512r1, 128, 128, 128, 128, 128},
};

using BnPtr = std::unique_ptr<BIGNUM, decltype(&BN_free)>;
using GroupPtr = std::unique_ptr<EC_GROUP, decltype(&EC_GROUP_free)>;
using PointPtr = std::unique_ptr<EC_POINT, decltype(&EC_POINT_free)>;

BnPtr bnFromHex(const char* hex) {
    BIGNUM* bn = nullptr;
    BN_hex2bn(&bn, hex);
    return BnPtr(bn, BN_free);
}

// The value of a stored text, through our own parser, as minimal upper-case hex.
std::string valueOf(const StringBuffer& text) {
    mp_int v;
    EXPECT_TRUE(BigNum::mp_read_radix(v, text.getString(), 16)) << text.getString();
    DataBuffer bytes;
    BigNum::mpint_to_db(v, bytes);
    StringBuffer hex;
    bytes.encodeDB("hex", hex);
    std::string s = hex.getString();
    while (s.size() > 1 && s[0] == '0') s.erase(0, 1);
    return s.empty() ? "0" : s;
}

std::string hexOf(const BIGNUM* bn) {
    char* h = BN_bn2hex(bn);
    std::string s = h;
    OPENSSL_free(h);
    while (s.size() > 1 && s[0] == '0') s.erase(0, 1);
    return s;
}

bool hasDigitIn(const StringBuffer& s, char from, char to) {
    for (const char* c = s.getString(); *c != '\0'; ++c) {
        if (*c >= from && *c <= to) return true;
    }
    return false;
}
bool hasLower(const StringBuffer& s) { return hasDigitIn(s, 'a', 'f'); }
bool hasUpper(const StringBuffer& s) { return hasDigitIn(s, 'A', 'F'); }

class EveryCurve : public ::testing::TestWithParam<int> {};

TEST_P(EveryCurve, StoredTextsHaveTheirExactForm) {
    const Expected& want = kExpected[GetParam()];
    EccCurve c;
    LogBase log;
    ASSERT_TRUE(c.loadCurveByName(want.name, log));
    EXPECT_STREQ(c.name.getString(), want.name);
    EXPECT_EQ(c.p.getSize(), unsigned(want.digitsP));
    EXPECT_EQ(c.B.getSize(), unsigned(want.digitsB));
    EXPECT_EQ(c.n.getSize(), unsigned(want.digitsN));
    EXPECT_EQ(c.Gx.getSize(), unsigned(want.digitsGx));
    EXPECT_EQ(c.Gy.getSize(), unsigned(want.digitsGy));
    bool brainpool = std::strncmp(want.name, "brainpool", 9) == 0;
    EXPECT_EQ(c.hasA, brainpool);
    EXPECT_EQ(c.A.getSize(), brainpool ? unsigned(2 * c.fieldBytes) : 0u);
    bool p224 = std::strcmp(want.name, "secp224r1") == 0;
    for (const StringBuffer* text : {&c.p, &c.A, &c.B, &c.n, &c.Gx, &c.Gy}) {
        bool lowerCaseField = p224 && (text == &c.B || text == &c.Gx || text == &c.Gy);
        EXPECT_FALSE(hasLower(*text) && !lowerCaseField) << text->getString();
        EXPECT_FALSE(hasUpper(*text) && lowerCaseField) << text->getString();
    }
    EXPECT_TRUE(log.errors().empty());
}

// The constants are checked against OpenSSL's own tables of the same standard curves, so a
// mistyped digit cannot hide: p, a, b, n and G must agree, and OpenSSL must find n*G = O on
// a group built from our texts alone.
TEST_P(EveryCurve, ParametersAgreeWithOpenSsl) {
    const Expected& want = kExpected[GetParam()];
    EccCurve c;
    LogNull log;
    ASSERT_TRUE(c.loadCurveByName(want.name, log));

    GroupPtr named(EC_GROUP_new_by_curve_name(want.nid), EC_GROUP_free);
    ASSERT_TRUE(named);
    BnPtr p(BN_new(), BN_free), a(BN_new(), BN_free), b(BN_new(), BN_free);
    ASSERT_TRUE(EC_GROUP_get_curve(named.get(), p.get(), a.get(), b.get(), nullptr));
    PointPtr g(EC_POINT_new(named.get()), EC_POINT_free);
    BnPtr gx(BN_new(), BN_free), gy(BN_new(), BN_free);
    ASSERT_TRUE(EC_POINT_get_affine_coordinates(named.get(), EC_GROUP_get0_generator(named.get()), gx.get(),
                                                gy.get(), nullptr));
    EXPECT_EQ(valueOf(c.p), hexOf(p.get()));
    EXPECT_EQ(valueOf(c.B), hexOf(b.get()));
    EXPECT_EQ(valueOf(c.n), hexOf(EC_GROUP_get0_order(named.get())));
    EXPECT_EQ(valueOf(c.Gx), hexOf(gx.get()));
    EXPECT_EQ(valueOf(c.Gy), hexOf(gy.get()));
    if (c.hasA) {
        EXPECT_EQ(valueOf(c.A), hexOf(a.get()));
    } else if (std::strcmp(want.name, "secp256k1") == 0) {
        EXPECT_TRUE(BN_is_zero(a.get()));
    } else {
        BnPtr pMinus3(BN_dup(p.get()), BN_free);
        BN_sub_word(pMinus3.get(), 3);
        EXPECT_EQ(BN_cmp(a.get(), pMinus3.get()), 0);
    }

    // n*G = O on a group made from our own texts.
    GroupPtr ours(EC_GROUP_new_curve_GFp(bnFromHex(c.p.getString()).get(), a.get(),
                                         bnFromHex(c.B.getString()).get(), nullptr),
                  EC_GROUP_free);
    ASSERT_TRUE(ours);
    PointPtr gen(EC_POINT_new(ours.get()), EC_POINT_free);
    ASSERT_TRUE(EC_POINT_set_affine_coordinates(ours.get(), gen.get(), bnFromHex(c.Gx.getString()).get(),
                                                bnFromHex(c.Gy.getString()).get(), nullptr));
    PointPtr nG(EC_POINT_new(ours.get()), EC_POINT_free);
    ASSERT_TRUE(EC_POINT_mul(ours.get(), nG.get(), nullptr, gen.get(), bnFromHex(c.n.getString()).get(), nullptr));
    EXPECT_TRUE(EC_POINT_is_at_infinity(ours.get(), nG.get()));
}

// y^2 = x^3 + a*x + b (mod p), computed with our own big integers.
TEST_P(EveryCurve, BasePointSatisfiesTheCurveEquation) {
    const Expected& want = kExpected[GetParam()];
    EccCurve c;
    LogNull log;
    ASSERT_TRUE(c.loadCurveByName(want.name, log));
    mp_int p, a, b, x, y, lhs, rhs, t;
    ASSERT_TRUE(BigNum::mp_read_radix(p, c.p.getString(), 16));
    ASSERT_TRUE(BigNum::mp_read_radix(b, c.B.getString(), 16));
    ASSERT_TRUE(BigNum::mp_read_radix(x, c.Gx.getString(), 16));
    ASSERT_TRUE(BigNum::mp_read_radix(y, c.Gy.getString(), 16));
    if (c.hasA) {
        ASSERT_TRUE(BigNum::mp_read_radix(a, c.A.getString(), 16));
    } else if (std::strcmp(want.name, "secp256k1") == 0) {
        BigNum::mp_zero(a);
    } else {
        mp_int three;
        BigNum::mp_set(three, 3);
        ASSERT_EQ(BigNum::mp_sub(p, three, a), MP_OKAY);
    }
    ASSERT_EQ(BigNum::mp_mulmod(y, y, p, lhs), MP_OKAY);
    ASSERT_EQ(BigNum::mp_mulmod(x, x, p, t), MP_OKAY);
    ASSERT_EQ(BigNum::mp_add(t, a, t), MP_OKAY);
    ASSERT_EQ(BigNum::mp_mulmod(t, x, p, rhs), MP_OKAY);
    ASSERT_EQ(BigNum::mp_add(rhs, b, rhs), MP_OKAY);
    ASSERT_EQ(BigNum::mp_mod(rhs, p, rhs), MP_OKAY);
    EXPECT_EQ(BigNum::mp_cmp(lhs, rhs), 0);

    // A one-bit change of Gy must break the equation, or the check above proves nothing.
    mp_int one;
    BigNum::mp_set(one, 1);
    ASSERT_EQ(BigNum::mp_add(y, one, y), MP_OKAY);
    ASSERT_EQ(BigNum::mp_mulmod(y, y, p, lhs), MP_OKAY);
    EXPECT_NE(BigNum::mp_cmp(lhs, rhs), 0);
}

std::string curveName(const ::testing::TestParamInfo<int>& param) { return kExpected[param.param].name; }

INSTANTIATE_TEST_SUITE_P(Curves, EveryCurve, ::testing::Range(0, kNamedCurveCount), curveName);

}  // namespace
}  // namespace vn
