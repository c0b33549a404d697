#include <gtest/gtest.h>

#include <string>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"
#include "host/Prng.h"
#include "host/Xml.h"

namespace vn {
namespace {

const char kDsigNs[] = "http://www.w3.org/2009/xmldsig11#";

std::string b64(const DataBuffer& db) {
    StringBuffer sb;
    EXPECT_TRUE(db.encodeDB("base64", sb));
    return sb.getString();
}

bool sameKey(EccKey& a, EccKey& b, bool withScalar) {
    return a.m_curve.name.equals(b.m_curve.name) && BigNum::mp_cmp(a.m_pubPoint.x, b.m_pubPoint.x) == 0 &&
           BigNum::mp_cmp(a.m_pubPoint.y, b.m_pubPoint.y) == 0 && (!withScalar || BigNum::mp_cmp(a.m_k, b.m_k) == 0);
}

// Parses the text and loads it; the log is the caller's, so its errors can be checked.
bool loadText(const std::string& text, EccKey& key, LogBase& log) {
    ClsXml xml;
    if (!xml.loadXml(text.c_str(), log)) {
        ADD_FAILURE() << "not XML: " << text;
        return false;
    }
    return key.loadAnyXml(xml, log);
}

class XmlFormsRoundTrip : public ::testing::TestWithParam<std::tuple<int, bool>> {};

TEST_P(XmlFormsRoundTrip, EveryFormIsWrittenPieceByPieceAndLoadsBack) {
    const char* curve = namedCurveAt(std::get<0>(GetParam())).name;
    LogBase log;
    if (std::get<1>(GetParam())) log.m_options.setString("EMIT_ECC_PKCS1_PUBKEY");
    EccKey key;
    _vnSystemPrng prng;
    ASSERT_TRUE(key.generateNewKey(StringBuffer(curve), prng, log)) << log.render();
    const std::string name = key.m_curve.name.getString();

    StringBuffer priv, pub, dsig;
    ASSERT_TRUE(key.toEccPrivateKeyXml(priv, log)) << log.render();
    ASSERT_TRUE(key.toEccPublicKeyXml(pub, log));
    ASSERT_TRUE(key.toEccPublicKeyXmlDSig(dsig, log));

    DataBuffer sec1, spki, point;
    ASSERT_TRUE(key.toEccPkcs1PrivateKeyDer(sec1, log));
    ASSERT_TRUE(key.toPublicKeyDer_longFmt(spki, log));
    ASSERT_TRUE(key.exportEccPoint(point, log));
    StringBuffer x, y;
    unsigned width = static_cast<unsigned>(key.m_curve.fieldBytes);
    ASSERT_TRUE(BigNum::mpint_to_hex_zero_extended(key.m_pubPoint.x, width, x));
    ASSERT_TRUE(BigNum::mpint_to_hex_zero_extended(key.m_pubPoint.y, width, y));
    EXPECT_EQ(x.getSize(), 2 * width);

    EXPECT_EQ(std::string(priv.getString()), "<ECCKeyValue curve=\"" + name + "\">" + b64(sec1) + "</ECCKeyValue>");
    EXPECT_EQ(std::string(pub.getString()), "<ECCPublicKey curve=\"" + name + "\" x=\"" + x.getString() + "\" y=\"" +
                                                y.getString() + "\">" + b64(spki) + "</ECCPublicKey>");
    EXPECT_EQ(std::string(dsig.getString()), std::string("<ECKeyValue xmlns=\"") + kDsigNs +
                                                 "\"><NamedCurve URI=\"urn:oid:" + key.m_curve.oid.getString() +
                                                 "\" /><PublicKey>" + b64(point) + "</PublicKey></ECKeyValue>");

    struct Form {
        const StringBuffer& text;
        int keyType;
    } forms[] = {{priv, 1}, {pub, 0}, {dsig, 0}};
    for (const Form& f : forms) {
        EccKey back;
        ASSERT_TRUE(loadText(f.text.getString(), back, log)) << f.text.getString() << "\n" << log.render();
        EXPECT_EQ(back.m_keyType, f.keyType) << f.text.getString();
        EXPECT_TRUE(sameKey(back, key, f.keyType == 1)) << f.text.getString();
    }
}

INSTANTIATE_TEST_SUITE_P(AllCurves, XmlFormsRoundTrip,
                         ::testing::Combine(::testing::Range(0, kNamedCurveCount), ::testing::Bool()));

std::string hexOf(const DataBuffer& db) {
    StringBuffer sb;
    EXPECT_TRUE(db.encodeDB("hex", sb));
    return sb.getString();
}

TEST(XmlForms, PrivateContentShapes) {
    LogBase log;
    EccKey r1;
    ASSERT_TRUE(r1.generateNewKey2(StringBuffer("secp256r1"), "C0FFEE0123456789", "hex", log));
    StringBuffer scalarHex, pubHex;
    ASSERT_TRUE(r1.toRawHex(scalarHex, pubHex, log));
    const std::string h = scalarHex.getString();
    ASSERT_EQ(h.size(), 64u);
    scalarHex.toUpperCase();
    const std::string upper = scalarHex.getString();
    DataBuffer withZero;
    withZero.appendChar(0);
    ASSERT_TRUE(withZero.appendEncoded(h.c_str(), "hex"));

    // A secp256k1 SEC1 DER without the public key: exactly 48 bytes.
    EccKey k1;
    ASSERT_TRUE(k1.generateNewKey2(StringBuffer("secp256k1"), h.c_str(), "hex", log));
    DataBuffer k1Der;
    ASSERT_TRUE(k1.toEccPkcs1PrivateKeyDer(k1Der, log));
    ASSERT_EQ(k1Der.getSize(), 48u);
    // 48 bytes that start like a SEQUENCE but whose length does not cover them: a scalar.
    const std::string raw48 = "302F" + std::string(92, '7');

    struct Case {
        const char* name;
        std::string element;
        const char* curve;  // null: refused
    } cases[] = {
        {"hex scalar", "<ECCKeyValue>" + h + "</ECCKeyValue>", "secp256r1"},
        {"upper-case hex", "<ECCKeyValue curve='secp256r1'>" + upper + "</ECCKeyValue>", "secp256r1"},
        {"curve attribute in capitals", "<ECCKeyValue curve=\"SECP256K1\">" + h + "</ECCKeyValue>", "secp256k1"},
        {"any prefix, any case", "<p:ecckeyVALUE curve=\"secp256k1\">" + h + "</p:ecckeyVALUE>", "secp256k1"},
        {"pretty-printed", "<ECCKeyValue>\n    " + h + "\n  </ECCKeyValue>", "secp256r1"},
        {"33 bytes, leading zero, hex", "<ECCKeyValue>00" + h + "</ECCKeyValue>", "secp256r1"},
        {"33 bytes, leading zero, base64", "<ECCKeyValue>" + b64(withZero) + "</ECCKeyValue>", "secp256r1"},
        {"48-byte SEC1 DER", "<ECCKeyValue>" + b64(k1Der) + "</ECCKeyValue>", "secp256k1"},
        {"48-byte SEC1 DER as hex", "<ECCKeyValue>" + hexOf(k1Der) + "</ECCKeyValue>", "secp256k1"},
        {"48-byte scalar", "<ECCKeyValue>" + raw48 + "</ECCKeyValue>", "secp384r1"},
        {"20-byte scalar", "<ECCKeyValue>" + std::string(40, '1') + "</ECCKeyValue>", "secp160r1"},
        {"66-byte scalar", "<ECCKeyValue>01" + std::string(130, 'A') + "</ECCKeyValue>", "secp521r1"},
        {"28 bytes go to DER", "<ECCKeyValue>" + std::string(56, '3') + "</ECCKeyValue>", nullptr},
        {"odd hex digits", "<ECCKeyValue>" + h + "A</ECCKeyValue>", nullptr},
        {"not base64", "<ECCKeyValue>@@@@</ECCKeyValue>", nullptr},
        {"empty", "<ECCKeyValue></ECCKeyValue>", nullptr},
        {"white space only", "<ECCKeyValue>  \n </ECCKeyValue>", nullptr},
        {"truncated DER", "<ECCKeyValue>" + b64(k1Der).substr(0, 40) + "</ECCKeyValue>", nullptr},
    };
    for (const Case& c : cases) {
        EccKey key;
        ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp384r1"), "77", "hex", log));  // a previous key
        LogBase caseLog;
        bool ok = loadText(c.element, key, caseLog);
        EXPECT_EQ(ok, c.curve != nullptr) << c.name << "\n" << caseLog.render();
        if (c.curve != nullptr) {
            EXPECT_STREQ(key.m_curve.name.getString(), c.curve) << c.name;
            EXPECT_EQ(key.m_keyType, 1) << c.name;
            EXPECT_TRUE(key.isPoint(caseLog)) << c.name;
        } else {
            EXPECT_NE(key.m_keyType, 1) << c.name;
        }
    }

    // The scalar itself survives each route.
    EccKey viaHex, viaDer;
    ASSERT_TRUE(loadText("<ECCKeyValue>00" + h + "</ECCKeyValue>", viaHex, log));
    EXPECT_TRUE(sameKey(viaHex, r1, true));
    ASSERT_TRUE(loadText("<ECCKeyValue>" + b64(k1Der) + "</ECCKeyValue>", viaDer, log));
    EXPECT_TRUE(sameKey(viaDer, k1, true));
}

TEST(XmlForms, MalformedInputsFailWithAnErrorLineAndNoPrivateKey) {
    const char* cases[] = {
        "<ECCKeyValue>" "MDEyMzQ1Njc4OTAxMjM0NTY3ODkwMTIzNDU2Nzg5" "</ECCKeyValue>",  // 30 bytes, not DER
        "<ECCPublicKey curve='secp256r1'>AAAA</ECCPublicKey>",
        "<ECCPublicKey/>",
        "<ECKeyValue><NamedCurve URI='urn:oid:1.2.3.4'/><PublicKey>BAAA</PublicKey></ECKeyValue>",
        "<ECKeyValue><PublicKey>BAAA</PublicKey></ECKeyValue>",
        "<ECKeyValue><NamedCurve URI='urn:oid:1.2.840.10045.3.1.7'/><PublicKey>BQAA</PublicKey></ECKeyValue>",
    };
    for (const char* text : cases) {
        EccKey key;
        LogBase log;
        ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp256r1"), "05", "hex", log));
        EXPECT_FALSE(loadText(text, key, log)) << text;
        EXPECT_EQ(key.m_keyType, 0) << text;
        EXPECT_FALSE(log.errors().empty()) << text;
    }

    // Shape 2 with content that is no base64 at all fails before any loader runs.
    EccKey key;
    LogBase log;
    ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp256r1"), "05", "hex", log));
    EXPECT_FALSE(loadText("<ECCPublicKey>*not base64*</ECCPublicKey>", key, log));
    EXPECT_EQ(key.m_keyType, 0);
}

TEST(XmlForms, NamespacedECKeyValueLoadsLikeTheUnprefixedOne) {
    LogBase log;
    EccKey key;
    ASSERT_TRUE(key.generateNewKey2(StringBuffer("brainpoolP256r1"), "1234567890ABCDEF", "hex", log));
    DataBuffer point;
    ASSERT_TRUE(key.exportEccPoint(point, log));
    const std::string oid = key.m_curve.oid.getString();
    const std::string prefixed =
        std::string("<ds:ECKeyValue xmlns:ds=\"") + kDsigNs + "\">\n  <ds:NamedCurve URI=\"urn:oid:" + oid +
        "\"/>\n  <ds:PublicKey>\n" + b64(point) + "\n  </ds:PublicKey>\n</ds:ECKeyValue>";
    StringBuffer plain;
    ASSERT_TRUE(key.toEccPublicKeyXmlDSig(plain, log));
    for (const std::string& text : {prefixed, std::string(plain.getString())}) {
        EccKey back;
        ASSERT_TRUE(loadText(text, back, log)) << text << "\n" << log.render();
        EXPECT_EQ(back.m_keyType, 0);
        EXPECT_TRUE(sameKey(back, key, false)) << text;
    }
}

TEST(XmlForms, WritersOnAnEmptyKey) {
    EccKey empty;
    LogBase log;
    StringBuffer out("stale");
    EXPECT_FALSE(empty.toEccPrivateKeyXml(out, log));
    EXPECT_STREQ(out.getString(), "");
    out.setString("stale");
    EXPECT_FALSE(empty.toEccPublicKeyXml(out, log));
    EXPECT_STREQ(out.getString(), "");
}

}  // namespace
}  // namespace vn
