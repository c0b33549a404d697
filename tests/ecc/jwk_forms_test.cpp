#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"
#include "host/JsonObject.h"

namespace vn {
namespace {

// The value of a member in one of our own texts (no escapes, no nesting), or "" when absent.
std::string member(const std::string& json, const std::string& name) {
    std::string key = "\"" + name + "\":\"";
    size_t at = json.find(key);
    if (at == std::string::npos) return "";
    at += key.size();
    return json.substr(at, json.find('"', at) - at);
}

std::string decodeUrl(const std::string& text) {
    DataBuffer db;
    if (!db.appendEncoded(text.c_str(), "base64url")) return "<undecodable>";
    return std::string(reinterpret_cast<const char*>(db.getData2()), db.getSize());
}

std::string x963Coordinate(EccKey& key, bool y) {
    DataBuffer pt;
    LogBase log;
    if (!key.exportEccPoint(pt, log)) return "<no point>";
    unsigned w = unsigned(key.m_curve.fieldBytes);
    return std::string(reinterpret_cast<const char*>(pt.getData2()) + 1 + (y ? w : 0), w);
}

size_t b64Len(size_t bytes) { return (bytes * 8 + 5) / 6; }

std::string expectedCrv(const char* curve) {
    std::string c = curve;
    if (c == "secp256r1") return "P-256";
    if (c == "secp384r1") return "P-384";
    if (c == "secp521r1") return "P-521";
    return c;
}

bool sameKey(const EccKey& a, const EccKey& b) {
    return a.m_keyType == b.m_keyType && a.m_curve.name.equals(b.m_curve.name) &&
           BigNum::mp_cmp(a.m_k, b.m_k) == 0 && BigNum::mp_cmp(a.m_pubPoint.x, b.m_pubPoint.x) == 0 &&
           BigNum::mp_cmp(a.m_pubPoint.y, b.m_pubPoint.y) == 0 && BigNum::mp_cmp_d(a.m_pubPoint.z, 1) == 0 &&
           a.m_pubPoint.format == 4;
}

bool loadJwk(const std::string& text, EccKey& key, LogBase& log) {
    ClsJsonObject json;
    if (!json.load(text.c_str(), log)) return false;
    return key.loadAnyJwk(json, log);
}

class JwkAllCurves : public ::testing::TestWithParam<int> {};

TEST_P(JwkAllCurves, ThreeFormsExactShapeAndRoundTrip) {
    const NamedCurveParams& params = namedCurveAt(GetParam());
    const std::string crv = expectedCrv(params.name);
    _vnSystemPrng prng;
    LogBase log;
    EccKey key;
    ASSERT_TRUE(key.generateNewKey(StringBuffer(params.name), prng, log)) << log.render();

    StringBuffer priv, pub, thumb;
    ASSERT_TRUE(key.toEccPrivateKeyJwk(priv, log));
    ASSERT_TRUE(key.toEccPublicKeyJwk(pub, false, log));
    ASSERT_TRUE(key.toEccPublicKeyJwk(thumb, true, log));
    const std::string p = priv.getString(), q = pub.getString(), t = thumb.getString();

    const std::string x = member(p, "x"), y = member(p, "y"), d = member(p, "d");
    const size_t w = size_t(params.fieldBytes);
    std::string order = params.n;
    order.erase(0, order.find_first_not_of('0'));
    const size_t orderLen = (order.size() + 1) / 2;
    EXPECT_EQ(x.size(), b64Len(w));
    EXPECT_EQ(y.size(), b64Len(w));
    EXPECT_EQ(d.size(), b64Len(orderLen));
    EXPECT_EQ(decodeUrl(x), x963Coordinate(key, false));
    EXPECT_EQ(decodeUrl(y), x963Coordinate(key, true));

    EXPECT_EQ(p, "{\"kty\":\"EC\",\"crv\":\"" + crv + "\",\"x\":\"" + x + "\",\"y\":\"" + y + "\",\"d\":\"" + d + "\"}");
    EXPECT_EQ(q, "{\"kty\":\"EC\",\"crv\":\"" + crv + "\",\"x\":\"" + x + "\",\"y\":\"" + y + "\"}");
    EXPECT_EQ(t, "{\"crv\":\"" + crv + "\",\"kty\":\"EC\",\"x\":\"" + x + "\",\"y\":\"" + y + "\"}");

    EccKey back;
    ASSERT_TRUE(loadJwk(p, back, log)) << log.render();
    EXPECT_TRUE(sameKey(back, key));
    StringBuffer again;
    ASSERT_TRUE(back.toEccPrivateKeyJwk(again, log));
    EXPECT_EQ(p, again.getString());

    for (const std::string& text : {q, t}) {
        EccKey pubBack;
        ASSERT_TRUE(loadJwk(text, pubBack, log)) << log.render();
        EXPECT_EQ(pubBack.m_keyType, 0);
        EXPECT_TRUE(pubBack.m_k.isZero());
        EXPECT_STREQ(pubBack.m_curve.name.getString(), params.name);
        EXPECT_TRUE(pubBack.isPoint(log));
        EXPECT_EQ(BigNum::mp_cmp(pubBack.m_pubPoint.x, key.m_pubPoint.x), 0);
        EXPECT_EQ(BigNum::mp_cmp(pubBack.m_pubPoint.y, key.m_pubPoint.y), 0);
    }
    EXPECT_TRUE(log.errors().empty()) << log.render();
}

INSTANTIATE_TEST_SUITE_P(Curves, JwkAllCurves, ::testing::Range(0, kNamedCurveCount),
                         [](const ::testing::TestParamInfo<int>& p) { return std::string(namedCurveAt(p.param).name); });

// Known answer: k = 1 makes the public point the generator.
TEST(JwkForms, GeneratorKeyExactTexts) {
    EccKey key;
    LogBase log;
    ASSERT_TRUE(key.generateNewKey2(StringBuffer("P-256"), "01", "hex", log));
    const char* x = "axfR8uEsQkf4vOblY6RA8ncDfYEt6zOg9KE5RdiYwpY";
    const char* y = "T-NC4v4af5uO5-tKfA-eFivOM1drMV7Oy7ZAaDe_UfU";
    StringBuffer out("stale");
    ASSERT_TRUE(key.toEccPrivateKeyJwk(out, log));
    EXPECT_EQ(std::string(out.getString()), std::string("{\"kty\":\"EC\",\"crv\":\"P-256\",\"x\":\"") + x + "\",\"y\":\"" +
                                                 y + "\",\"d\":\"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAE\"}");
    ASSERT_TRUE(key.toEccPublicKeyJwk(out, true, log));
    EXPECT_EQ(std::string(out.getString()),
              std::string("{\"crv\":\"P-256\",\"kty\":\"EC\",\"x\":\"") + x + "\",\"y\":\"" + y + "\"}");

    // A public-only key still writes a d: zero, order-wide.
    key.m_keyType = 0;
    mp_int zero;
    BigNum::mp_copy(zero, key.m_k);
    ASSERT_TRUE(key.toEccPrivateKeyJwk(out, log));
    EXPECT_EQ(member(out.getString(), "d"), std::string(43, 'A'));
}

TEST(JwkForms, ScalarWidths) {
    struct Case {
        const char* curve;
        const char* kHex;
        size_t dChars;
        size_t dBytes;
    } cases[] = {
        // secp160r1's order needs 21 bytes, one more than its field.
        {"secp160r1", "0000000000000000000000000000000000000001", 28, 21},
        {"secp160r1", "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", 28, 21},
        {"secp256r1", "00FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", 43, 32},
        {"secp256k1", "0000000000000000000000000000000000000000000000000000000000000005", 43, 32},
        {"secp384r1", "01", 64, 48},
        {"secp521r1", "01", 88, 66},
        {"brainpoolp512r1", "01", 86, 64},
    };
    for (const Case& c : cases) {
        EccKey key;
        LogBase log;
        ASSERT_TRUE(key.generateNewKey2(StringBuffer(c.curve), c.kHex, "hex", log)) << c.curve << log.render();
        StringBuffer out;
        ASSERT_TRUE(key.toEccPrivateKeyJwk(out, log));
        std::string d = member(out.getString(), "d");
        EXPECT_EQ(d.size(), c.dChars) << c.curve;
        std::string bytes = decodeUrl(d);
        ASSERT_EQ(bytes.size(), c.dBytes) << c.curve;
        EccKey back;
        ASSERT_TRUE(loadJwk(out.getString(), back, log)) << c.curve;
        EXPECT_TRUE(sameKey(back, key)) << c.curve;
    }

    // A k longer than the order's width is written with all its bytes, not cut.
    EccKey key;
    LogBase log;
    ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp256r1"), "07", "hex", log));
    const unsigned char big[33] = {0x01, 0x02};
    ASSERT_TRUE(BigNum::mpint_from_bytes(key.m_k, big, sizeof big));
    StringBuffer out;
    ASSERT_TRUE(key.toEccPrivateKeyJwk(out, log));
    EXPECT_EQ(decodeUrl(member(out.getString(), "d")), std::string(reinterpret_cast<const char*>(big), sizeof big));
}

// Coordinates keep their leading zero bytes: found by walking small scalars until the
// top byte of x is zero (about one in 256 on the byte-aligned curves, one in two on P-521).
TEST(JwkForms, CoordinateWithZeroTopByteKeepsItsWidth) {
    struct Case {
        const char* curve;
        size_t chars;
    } cases[] = {{"secp256r1", 43}, {"secp256k1", 43}, {"secp384r1", 64}, {"secp521r1", 88}};
    for (const Case& c : cases) {
        EccKey key;
        LogBase log;
        bool found = false;
        for (unsigned k = 2; k < 5000 && !found; ++k) {
            char hex[16];
            std::snprintf(hex, sizeof hex, "%04X", k);
            ASSERT_TRUE(key.generateNewKey2(StringBuffer(c.curve), hex, "hex", log));
            found = unsigned(BigNum::mp_unsigned_bin_size(key.m_pubPoint.x)) < unsigned(key.m_curve.fieldBytes);
        }
        ASSERT_TRUE(found) << c.curve;
        StringBuffer pub;
        ASSERT_TRUE(key.toEccPublicKeyJwk(pub, false, log));
        std::string x = member(pub.getString(), "x");
        EXPECT_EQ(x.size(), c.chars) << c.curve;
        EXPECT_EQ(x[0], 'A') << c.curve;  // six zero bits
        EXPECT_EQ(decodeUrl(x), x963Coordinate(key, false)) << c.curve;
        EccKey back;
        ASSERT_TRUE(loadJwk(pub.getString(), back, log));
        EXPECT_EQ(BigNum::mp_cmp(back.m_pubPoint.x, key.m_pubPoint.x), 0) << c.curve;
    }
}

TEST(JwkForms, LoadAnyJwkAcceptsAndRefuses) {
    const std::string x = "axfR8uEsQkf4vOblY6RA8ncDfYEt6zOg9KE5RdiYwpY";
    const std::string y = "T-NC4v4af5uO5-tKfA-eFivOM1drMV7Oy7ZAaDe_UfU";
    const std::string xy = "\"x\":\"" + x + "\",\"y\":\"" + y + "\"";
    struct Case {
        const char* name;
        std::string text;
        bool ok;
        int keyType;        // after the call
        const char* error;  // last error line when refused
        const char* curve;  // the curve loaded, or null when none
    } cases[] = {
        {"lower-case crv", "{\"kty\":\"EC\",\"crv\":\"p-256\"," + xy + "}", true, 0, nullptr, "secp256r1"},
        {"canonical crv", "{\"crv\":\"secp256r1\"," + xy + "}", true, 0, nullptr, "secp256r1"},
        {"kty not EC", "{\"kty\":\"RSA\",\"crv\":\"P-256\"," + xy + "}", true, 0, nullptr, "secp256r1"},
        {"no kty, extra members", "{\"crv\":\"P-256\",\"use\":\"sig\",\"key_ops\":[\"sign\"]," + xy + "}", true, 0,
         nullptr, "secp256r1"},
        {"private", "{\"crv\":\"P-256\"," + xy + ",\"d\":\"AQ\"}", true, 1, nullptr, "secp256r1"},
        {"d then no crv", "{\"d\":\"AQ\"," + xy + "}", false, 0, "JWK crv member in ECC key is missing", nullptr},
        {"no crv", "{" + xy + "}", false, 0, "JWK crv member in ECC key is missing", nullptr},
        {"crv null", "{\"crv\":null," + xy + "}", false, 0, "JWK crv member in ECC key is missing", nullptr},
        {"crv object", "{\"crv\":{}," + xy + "}", false, 0, "JWK crv member in ECC key is missing", nullptr},
        {"unknown crv", "{\"crv\":\"P-257\"," + xy + "}", false, 0, "Invalid ECC curve name", nullptr},
        {"numeric crv", "{\"crv\":256," + xy + "}", false, 0, "Invalid ECC curve name", nullptr},
        {"empty crv", "{\"crv\":\"\"," + xy + "}", false, 0, "Invalid ECC curve name", nullptr},
        {"no x", "{\"crv\":\"P-256\",\"y\":\"" + y + "\"}", false, 0, "JWK member is missing", "secp256r1"},
        {"no y", "{\"crv\":\"P-256\",\"x\":\"" + x + "\"}", false, 0, "JWK member is missing", "secp256r1"},
        {"empty x", "{\"crv\":\"P-256\",\"x\":\"\",\"y\":\"" + y + "\"}", false, 0, "JWK member is empty", "secp256r1"},
        {"padded x", "{\"crv\":\"P-256\",\"x\":\"" + x + "=\",\"y\":\"" + y + "\"}", false, 0,
         "JWK member is not valid base64url", "secp256r1"},
        {"standard alphabet y", "{\"crv\":\"P-256\",\"x\":\"" + x + "\",\"y\":\"T+NC\"}", false, 0,
         "JWK member is not valid base64url", "secp256r1"},
        {"space in y", "{\"crv\":\"P-256\",\"x\":\"" + x + "\",\"y\":\"T NC\"}", false, 0,
         "JWK member is not valid base64url", "secp256r1"},
        {"impossible length", "{\"crv\":\"P-256\",\"x\":\"AAAAA\",\"y\":\"" + y + "\"}", false, 0,
         "JWK member is not valid base64url", "secp256r1"},
        {"non-zero spare bits", "{\"crv\":\"P-256\",\"x\":\"AB\",\"y\":\"" + y + "\"}", false, 0,
         "JWK member is not valid base64url", "secp256r1"},
        {"bad d", "{\"crv\":\"P-256\"," + xy + ",\"d\":\"!!\"}", false, 0, "JWK member is not valid base64url", nullptr},
        {"zero d", "{\"crv\":\"P-256\"," + xy + ",\"d\":\"AA\"}", false, 0, "Private key is zero.", "secp256r1"},
        {"d above n", "{\"crv\":\"P-256\"," + xy + ",\"d\":\"" + std::string(42, '_') + "w\"}", false, 0,
         "K is out of range.", "secp256r1"},
        {"d null", "{\"crv\":\"P-256\"," + xy + ",\"d\":null}", false, 0, "JWK member is missing", nullptr},
    };
    for (const Case& c : cases) {
        EccKey key;
        LogBase log;
        // A previous key must not leak into the result.
        ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp384r1"), "09", "hex", log));
        log.clearLog();
        ClsJsonObject json;
        ASSERT_TRUE(json.load(c.text.c_str(), log)) << c.name << log.render();
        EXPECT_EQ(key.loadAnyJwk(json, log), c.ok) << c.name << "\n" << log.render();
        EXPECT_EQ(key.m_keyType, c.keyType) << c.name;
        EXPECT_STREQ(key.m_curve.name.getString(), c.curve != nullptr ? c.curve : "") << c.name;
        if (c.ok) {
            EXPECT_TRUE(log.errors().empty()) << c.name << "\n" << log.render();
            EXPECT_TRUE(key.isPoint(log)) << c.name;
            continue;
        }
        ASSERT_FALSE(log.errors().empty()) << c.name;
        EXPECT_EQ(log.errors().back(), c.error) << c.name;
        for (const auto& e : log.entries()) EXPECT_EQ(e.context.rfind("loadAnyJwk_ecc", 0), 0u) << c.name;
    }
}

TEST(JwkForms, RefusalDetails) {
    LogBase log;
    EccKey key;
    // d is read before crv is looked for, and stays read; but a failed load is never typed
    // private.
    ASSERT_FALSE(loadJwk("{\"d\":\"AQI\",\"x\":\"AA\",\"y\":\"AA\"}", key, log));
    EXPECT_EQ(key.m_keyType, 0);
    EXPECT_EQ(BigNum::mp_cmp_d(key.m_k, 0x0102), 0);

    log.clearLog();
    ASSERT_FALSE(loadJwk("{\"crv\":\"P-257\",\"x\":\"AA\",\"y\":\"AA\"}", key, log));
    bool loggedCrv = false;
    for (const auto& e : log.entries()) loggedCrv |= e.kind == LogBase::Kind::Data && e.name == "crv" && e.text == "P-257";
    EXPECT_TRUE(loggedCrv) << log.render();

    log.clearLog();
    ASSERT_FALSE(loadJwk("{\"crv\":\"P-256\",\"x\":\"AA\",\"y\":\"AA=\"}", key, log));
    bool namedMember = false;
    for (const auto& e : log.entries()) namedMember |= e.name == "member" && e.text == "y";
    EXPECT_TRUE(namedMember) << log.render();
}

// Every truncation of a valid JWK's values either loads or fails with an error line.
TEST(JwkForms, TruncatedValuesNeverCrash) {
    EccKey key;
    LogBase log;
    ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp521r1"), "0123456789", "hex", log));
    StringBuffer priv;
    ASSERT_TRUE(key.toEccPrivateKeyJwk(priv, log));
    const std::string text = priv.getString();
    for (const char* name : {"x", "y", "d", "crv"}) {
        const std::string value = member(text, name);
        const size_t at = text.find("\"" + std::string(name) + "\":\"") + std::strlen(name) + 4;
        for (size_t n = 0; n < value.size(); ++n) {
            std::string cut = text.substr(0, at) + value.substr(0, n) + text.substr(at + value.size());
            EccKey back;
            LogBase l;
            bool ok = loadJwk(cut, back, l);
            EXPECT_EQ(ok, l.errors().empty()) << cut;
            if (std::string(name) != "crv" && n % 4 == 1) {
                EXPECT_FALSE(ok) << cut;
            }
        }
    }
}

}  // namespace
}  // namespace vn
