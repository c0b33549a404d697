// The fourteen curve records: their constants against OpenSSL's own tables, their SSH and PuTTY
// names, and what loading leaves behind. Names and identifiers, loaded and refused, are rows of
// the hostile-input data; every curve's identifier is read back by the forms test.

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/ec.h>

#include <string>
#include <utility>
#include <vector>

#include "ecc/curves/EccCurve.h"
#include "ecc/curves/NamedCurves.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

namespace ts = testing_support;

ts::BnPtr bn(const StringBuffer& hex) {
    BIGNUM* v = nullptr;
    BN_hex2bn(&v, hex.getString());
    return ts::BnPtr(v, BN_free);
}

// p, a, b, n and G equal OpenSSL's. The SSH identifier: curves without one of their own write
// nistp256 (as does an empty record). The PuTTY key type is appended; secp160r1 has none.
TEST(Curves, EveryRecordAgainstOpenSslAndItsSshNames) {
    struct Row {
        const char* curve;
        const char* ssh;
        const char* ppk;  // after "ecdsa-sha2-"
    } rows[] = {
        {"secp256r1", "nistp256", "nistp256"}, {"secp384r1", "nistp384", "nistp384"},
        {"secp521r1", "nistp521", "nistp521"}, {"secp224r1", "nistp224", "nistp224"},
        {"secp256k1", "nistk256", "secp256k1"}, {"secp192r1", "nistp256", "nistp192"},
        {"secp160r1", "nistp256", nullptr}, {"brainpoolp160r1", "nistp256", "brainpoolP160r1"},
        {"brainpoolp192r1", "nistp256", "brainpoolP192r1"}, {"brainpoolp224r1", "nistp256", "brainpoolP224r1"},
        {"brainpoolp256r1", "nistp256", "brainpoolP256r1"}, {"brainpoolp320r1", "nistp256", "brainpoolP320r1"},
        {"brainpoolp384r1", "nistp256", "brainpoolP384r1"}, {"brainpoolp512r1", "nistp256", "brainpoolP512r1"},
    };
    ASSERT_EQ(sizeof rows / sizeof rows[0], static_cast<std::size_t>(kNamedCurveCount));
    for (const Row& r : rows) {
        SCOPED_TRACE(r.curve);
        EccCurve c;
        LogBase log;
        ASSERT_TRUE(c.loadCurveByName(r.curve, log));
        ts::GroupPtr named(EC_GROUP_new_by_curve_name(ts::nidOf(r.curve)), EC_GROUP_free);
        ts::BnPtr p = ts::newBn(), a = ts::newBn(), b = ts::newBn(), gx = ts::newBn(), gy = ts::newBn();
        ASSERT_TRUE(EC_GROUP_get_curve(named.get(), p.get(), a.get(), b.get(), nullptr));
        EC_POINT_get_affine_coordinates(named.get(), EC_GROUP_get0_generator(named.get()), gx.get(), gy.get(), nullptr);
        std::vector<std::pair<const StringBuffer*, const BIGNUM*>> pairs = {
            {&c.p, p.get()}, {&c.B, b.get()}, {&c.n, EC_GROUP_get0_order(named.get())}, {&c.Gx, gx.get()}, {&c.Gy, gy.get()}};
        // a is stored for Brainpool only; elsewhere it is -3, or 0 on secp256k1, built into the engines.
        if (c.hasA) pairs.push_back({&c.A, a.get()});
        for (const auto& pair : pairs) EXPECT_EQ(BN_cmp(bn(*pair.first).get(), pair.second), 0) << pair.first->getString();
        EXPECT_STREQ(c.puttyCurveName(), r.ssh);
        StringBuffer out("x:");
        EXPECT_EQ(c.getPpkType(out, log), r.ppk != nullptr);
        EXPECT_EQ(std::string(out.getString()), (r.ppk ? "x:ecdsa-sha2-" + std::string(r.ppk) : "x:"));
        EXPECT_EQ(log.errors(), r.ppk ? std::vector<std::string>{} : std::vector<std::string>{"Unsupported ecdsa curve."});
    }
}

TEST(Curves, WhatLoadingLeavesBehind) {
    // A failed load empties the record (its name and size are in the input data) but keeps a
    // Brainpool curve's a; the next load fixes it.
    EccCurve c;
    LogBase log;
    ASSERT_TRUE(c.loadCurveByName("brainpoolP256r1", log));
    const std::string a = c.A.getString();
    EXPECT_FALSE(c.loadCurveByName("nope", log));
    EXPECT_TRUE(c.fieldBytes == 0 && c.hasA && c.A.getString() == a);
    ASSERT_TRUE(c.loadCurveByName("secp384r1", log));
    EXPECT_TRUE(!c.hasA && c.A.getSize() == 0u);
}

}  // namespace
}  // namespace vn
