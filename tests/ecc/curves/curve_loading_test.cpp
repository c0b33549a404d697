#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ecc/curves/EccCurve.h"
#include "ecc/curves/NamedCurves.h"

namespace vn {
namespace {

TEST(CurveLoading, EveryAliasLoadsItsCurve) {
    struct Case {
        const char* input;
        const char* canonical;
        int fieldBytes;
    } cases[] = {
        {"P-256", "secp256r1", 32},       {"  P-256 \t", "secp256r1", 32},
        {"PRIME256V1", "secp256r1", 32},  {"NistP256", "secp256r1", 32},
        {"ecdsa-sha2-nistp256", "secp256r1", 32},
        {"p-384", "secp384r1", 48},       {"ecdsa-sha2-nistp384", "secp384r1", 48},
        {"nistp384", "secp384r1", 48},    {"P-521", "secp521r1", 66},
        {"ecdsa-sha2-nistp521", "secp521r1", 66}, {"nistp521", "secp521r1", 66},
        {"SECP256K1", "secp256k1", 32},   {"p-192", "secp192r1", 24},
        {"prime192v1", "secp192r1", 24},  {"secp160r1", "secp160r1", 20},
        {"p-224", "secp224r1", 28},       {"prime224v1", "secp224r1", 28},
        {"ecdsa-sha2-nistp224", "secp224r1", 28}, {"nistp224", "secp224r1", 28},
        {"brainpoolP256r1", "brainpoolp256r1", 32}, {"bp-256", "brainpoolp256r1", 32},
        {"x-BP256R1", "brainpoolp256r1", 32},
        {"bp-160", "brainpoolp160r1", 20}, {"bp192r1", "brainpoolp192r1", 24},
        {"BP-224", "brainpoolp224r1", 28}, {"brainpoolP320r1", "brainpoolp320r1", 40},
        {"BRAINPOOLP384R1", "brainpoolp384r1", 48}, {"bp-512", "brainpoolp512r1", 64},
        // A dotted identifier is accepted as a name through the identifier table.
        {"1.2.840.10045.3.1.7", "secp256r1", 32}, {"1.3.36.3.3.2.8.1.1.13", "brainpoolp512r1", 64},
    };
    for (const Case& c : cases) {
        EccCurve curve;
        LogBase log;
        ASSERT_TRUE(curve.loadCurveByName(c.input, log)) << c.input;
        EXPECT_STREQ(curve.name.getString(), c.canonical) << c.input;
        EXPECT_EQ(curve.fieldBytes, c.fieldBytes) << c.input;
        EXPECT_TRUE(log.errors().empty()) << c.input;
    }
}

TEST(CurveLoading, EveryTableNameAndIdentifierRoundTrips) {
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const CurveAliases& row = curveAliasesAt(i);
        const NamedCurveParams& params = namedCurveAt(i);
        ASSERT_STREQ(row.canonical, params.name);
        for (const char* const* alias = row.equals; *alias != nullptr; ++alias) {
            EccCurve curve;
            LogNull log;
            ASSERT_TRUE(curve.loadCurveByName(*alias, log)) << *alias;
            EXPECT_STREQ(curve.name.getString(), row.canonical) << *alias;
        }
        EccCurve curve;
        LogNull log;
        StringBuffer oid(params.oid);
        ASSERT_TRUE(curve.loadCurveByOid(oid, log)) << params.oid;
        EXPECT_STREQ(curve.name.getString(), params.name);
        EXPECT_STREQ(curve.oid.getString(), params.oid);
    }
}

TEST(CurveLoading, NearMissesAreRefusedWithBothErrorLines) {
    const char* refused[] = {"p-160",    "nistp192", "prime384v1", "ecdsa-sha2-nistp192", "ecdsa-sha2-secp256k1",
                             "nistk256", "ecdsa-sha2-brainpoolP384r1", "",         "secp256r1x", " 1.2.840.10045.3.1.7", "1.2.840.10045.3.1.7 "};
    for (const char* name : refused) {
        EccCurve curve;
        LogBase log;
        EXPECT_FALSE(curve.loadCurveByName(name, log)) << "'" << name << "'";
        EXPECT_EQ(log.errors(), (std::vector<std::string>{"Unsupported ECDSA curve.", "Unsupported ECC curve.."}))
            << name;
        ASSERT_EQ(log.entries().size(), 2u);
        EXPECT_EQ(log.entries()[0].context, "loadCurveByName/loadCurveByOid");
        EXPECT_EQ(log.entries()[1].context, "loadCurveByName");
        EXPECT_EQ(curve.fieldBytes, 0);
    }
    EccCurve curve;
    LogBase log;
    StringBuffer bad("1.2.840.10045.3.1.8");
    EXPECT_FALSE(curve.loadCurveByOid(bad, log));
    EXPECT_EQ(log.errors(), std::vector<std::string>{"Unsupported ECDSA curve."});
}

TEST(CurveLoading, VerboseLogShowsTheInputs) {
    EccCurve curve;
    LogBase log;
    log.m_verbose = true;
    ASSERT_TRUE(curve.loadCurveByName("1.3.132.0.10", log));
    std::string text = log.render();
    EXPECT_NE(text.find("name: 1.3.132.0.10"), std::string::npos) << text;
    EXPECT_NE(text.find("oid: 1.3.132.0.10"), std::string::npos) << text;
    EXPECT_NE(text.find("name: secp256k1"), std::string::npos) << text;
    EXPECT_FALSE(curve.hasA);
    EXPECT_EQ(curve.A.getSize(), 0u);
}

TEST(CurveLoading, FailedLoadAfterBrainpoolKeepsOnlyA) {
    EccCurve curve;
    LogNull log;
    ASSERT_TRUE(curve.loadCurveByName("brainpoolP256r1", log));
    std::string a = curve.A.getString();
    EXPECT_FALSE(curve.loadCurveByName("nope", log));
    EXPECT_EQ(curve.fieldBytes, 0);
    for (const StringBuffer* s : {&curve.name, &curve.oid, &curve.p, &curve.B, &curve.n, &curve.Gx, &curve.Gy}) {
        EXPECT_EQ(s->getSize(), 0u);
    }
    EXPECT_TRUE(curve.hasA);
    EXPECT_EQ(curve.A.getString(), a);
    // A later SEC load empties A again.
    ASSERT_TRUE(curve.loadCurveByName("secp384r1", log));
    EXPECT_FALSE(curve.hasA);
    EXPECT_EQ(curve.A.getSize(), 0u);
}

TEST(CurveLoading, CopyIsDeepAndComplete) {
    EccCurve src, copy;
    LogNull log;
    ASSERT_TRUE(src.loadCurveByName("bp-384", log));
    copy.copyFromEccCurve(src);
    src.clearEccCurve();
    src.A.clear();
    EXPECT_EQ(copy.fieldBytes, 48);
    EXPECT_STREQ(copy.name.getString(), "brainpoolp384r1");
    EXPECT_TRUE(copy.hasA);
    EXPECT_EQ(copy.A.getSize(), 96u);
    EXPECT_EQ(copy.Gy.getSize(), 96u);
}

TEST(CurveNames, SshPuttyNames) {
    struct Case {
        const char* curve;
        const char* ssh;
        const char* ppk;  // null: no PuTTY key type
    } cases[] = {
        {"secp256r1", "nistp256", "ecdsa-sha2-nistp256"},
        {"secp384r1", "nistp384", "ecdsa-sha2-nistp384"},
        {"secp521r1", "nistp521", "ecdsa-sha2-nistp521"},
        {"secp224r1", "nistp224", "ecdsa-sha2-nistp224"},
        {"secp256k1", "nistk256", "ecdsa-sha2-secp256k1"},
        {"secp192r1", "nistp256", "ecdsa-sha2-nistp192"},
        {"secp160r1", "nistp256", nullptr},
        {"brainpoolp160r1", "nistp256", "ecdsa-sha2-brainpoolP160r1"},
        {"brainpoolp192r1", "nistp256", "ecdsa-sha2-brainpoolP192r1"},
        {"brainpoolp224r1", "nistp256", "ecdsa-sha2-brainpoolP224r1"},
        {"brainpoolp256r1", "nistp256", "ecdsa-sha2-brainpoolP256r1"},
        {"brainpoolp320r1", "nistp256", "ecdsa-sha2-brainpoolP320r1"},
        {"brainpoolp384r1", "nistp256", "ecdsa-sha2-brainpoolP384r1"},
        {"brainpoolp512r1", "nistp256", "ecdsa-sha2-brainpoolP512r1"},
    };
    for (const Case& c : cases) {
        EccCurve curve;
        LogBase log;
        ASSERT_TRUE(curve.loadCurveByName(c.curve, log));
        EXPECT_STREQ(curve.puttyCurveName(), c.ssh) << c.curve;
        StringBuffer out("x:");  // appended to, never cleared
        EXPECT_EQ(curve.getPpkType(out, log), c.ppk != nullptr) << c.curve;
        EXPECT_EQ(std::string(out.getString()), std::string("x:") + (c.ppk ? c.ppk : "")) << c.curve;
        if (c.ppk == nullptr) {
            EXPECT_EQ(log.errors(), std::vector<std::string>{"Unsupported ecdsa curve."});
        }
    }
    EccCurve empty;
    EXPECT_STREQ(empty.puttyCurveName(), "nistp256");
}

}  // namespace
}  // namespace vn
