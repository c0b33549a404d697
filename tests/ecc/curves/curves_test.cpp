// The fourteen curve records: their constants against OpenSSL's own tables, every name and
// identifier they are loaded by, their SSH and PuTTY names, and what loading leaves behind.
// Refused names and identifiers are rows of the hostile-input data.

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

// p, a, b, n and G equal OpenSSL's, and OpenSSL finds n*G = O on a group built from our texts
// alone. Every alias of the table and the identifier load the same record.
TEST(Curves, EveryRecordAgainstOpenSslAndByEveryName) {
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const NamedCurveParams& row = namedCurveAt(i);
        SCOPED_TRACE(row.name);
        EccCurve c;
        LogBase log;
        ASSERT_TRUE(c.loadCurveByName(row.name, log));
        ts::GroupPtr named(EC_GROUP_new_by_curve_name(ts::nidOf(row.name)), EC_GROUP_free);
        ts::BnPtr p = ts::newBn(), a = ts::newBn(), b = ts::newBn(), gx = ts::newBn(), gy = ts::newBn();
        ASSERT_TRUE(EC_GROUP_get_curve(named.get(), p.get(), a.get(), b.get(), nullptr));
        EC_POINT_get_affine_coordinates(named.get(), EC_GROUP_get0_generator(named.get()), gx.get(), gy.get(), nullptr);
        const std::pair<const StringBuffer*, const BIGNUM*> pairs[] = {
            {&c.p, p.get()}, {&c.B, b.get()}, {&c.n, EC_GROUP_get0_order(named.get())}, {&c.Gx, gx.get()}, {&c.Gy, gy.get()}};
        for (const auto& pair : pairs) EXPECT_EQ(BN_cmp(bn(*pair.first).get(), pair.second), 0) << pair.first->getString();
        EXPECT_EQ(c.fieldBytes, BN_num_bytes(p.get()));
        // a is stored for Brainpool only; otherwise it is -3, or 0 on secp256k1.
        ts::BnPtr ours = c.hasA ? bn(c.A) : ts::newBn();
        if (!c.hasA && !c.name.equals("secp256k1")) {
            BN_copy(ours.get(), p.get());
            BN_sub_word(ours.get(), 3);
        }
        EXPECT_EQ(BN_cmp(ours.get(), a.get()), 0);
        EXPECT_EQ(c.hasA, std::string(row.name).rfind("brainpool", 0) == 0);

        ts::GroupPtr built(EC_GROUP_new_curve_GFp(bn(c.p).get(), ours.get(), bn(c.B).get(), nullptr), EC_GROUP_free);
        ASSERT_TRUE(built);
        ts::PointPtr g(EC_POINT_new(built.get()), EC_POINT_free), nG(EC_POINT_new(built.get()), EC_POINT_free);
        ASSERT_TRUE(EC_POINT_set_affine_coordinates(built.get(), g.get(), bn(c.Gx).get(), bn(c.Gy).get(), nullptr));
        ASSERT_TRUE(EC_POINT_mul(built.get(), nG.get(), nullptr, g.get(), bn(c.n).get(), nullptr));
        EXPECT_TRUE(EC_POINT_is_at_infinity(built.get(), nG.get()));

        const CurveAliases& aliases = curveAliasesAt(i);
        for (const char* const* alias = aliases.equals; *alias != nullptr; ++alias) {
            EccCurve byAlias;
            EXPECT_TRUE(byAlias.loadCurveByName(*alias, log) && byAlias.name.equals(row.name)) << *alias;
        }
        EccCurve byOid;
        StringBuffer oid(row.oid);
        EXPECT_TRUE(byOid.loadCurveByOid(oid, log) && byOid.name.equals(row.name) && byOid.oid.equals(row.oid));
        EXPECT_TRUE(log.errors().empty()) << log.render();
    }
}

// The SSH identifier (curves without one of their own write nistp256) and the PuTTY key type,
// which is appended; secp160r1 has none.
TEST(Curves, SshAndPuttyNames) {
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
    for (const Row& r : rows) {
        EccCurve c;
        LogBase log;
        ASSERT_TRUE(c.loadCurveByName(r.curve, log));
        EXPECT_STREQ(c.puttyCurveName(), r.ssh) << r.curve;
        StringBuffer out("x:");
        EXPECT_EQ(c.getPpkType(out, log), r.ppk != nullptr) << r.curve;
        EXPECT_EQ(std::string(out.getString()), (r.ppk ? "x:ecdsa-sha2-" + std::string(r.ppk) : "x:")) << r.curve;
        EXPECT_EQ(log.errors(), r.ppk ? std::vector<std::string>{} : std::vector<std::string>{"Unsupported ecdsa curve."});
    }
    EXPECT_STREQ(EccCurve().puttyCurveName(), "nistp256");
}

TEST(Curves, WhatLoadingLeavesBehind) {
    // A failed load empties the record but keeps a Brainpool curve's a; the next load fixes it.
    EccCurve c;
    LogBase log;
    ASSERT_TRUE(c.loadCurveByName("brainpoolP256r1", log));
    const std::string a = c.A.getString();
    EXPECT_FALSE(c.loadCurveByName("nope", log));
    EXPECT_TRUE(c.fieldBytes == 0 && c.hasA && c.A.getString() == a);
    for (const StringBuffer* s : {&c.name, &c.oid, &c.p, &c.B, &c.n, &c.Gx, &c.Gy}) EXPECT_EQ(s->getSize(), 0u);
    ASSERT_TRUE(c.loadCurveByName("secp384r1", log));
    EXPECT_TRUE(!c.hasA && c.A.getSize() == 0u);

    // Copies are deep.
    EccCurve src, copy;
    ASSERT_TRUE(src.loadCurveByName("bp-384", log));
    copy.copyFromEccCurve(src);
    src.clearEccCurve();
    src.A.clear();
    EXPECT_TRUE(copy.fieldBytes == 48 && copy.name.equals("brainpoolp384r1") && copy.hasA);
    EXPECT_TRUE(copy.A.getSize() == 96u && copy.Gy.getSize() == 96u);

    // A verbose load by identifier names what it was given and what it found.
    LogBase verbose;
    verbose.m_verbose = true;
    ASSERT_TRUE(c.loadCurveByName("1.3.132.0.10", verbose));
    const std::string text = verbose.render();
    for (const char* line : {"name: 1.3.132.0.10", "oid: 1.3.132.0.10", "name: secp256k1"})
        EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
}

}  // namespace
}  // namespace vn
