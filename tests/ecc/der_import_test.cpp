// Loading DER keys: what OpenSSL's libcrypto writes for every curve, hand-made structures that
// probe each branch of the reader, and a sweep of truncated and corrupted keys.

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "host/BigNum.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

using testing_support::fromBn;
using testing_support::nidOf;
using Bytes = std::vector<unsigned char>;

const char* const kAllCurves[] = {"secp160r1",       "secp192r1",       "secp224r1",       "secp256r1",
                                  "secp384r1",       "secp521r1",       "secp256k1",       "brainpoolp160r1",
                                  "brainpoolp192r1", "brainpoolp224r1", "brainpoolp256r1", "brainpoolp320r1",
                                  "brainpoolp384r1", "brainpoolp512r1"};

bool hasExplicitRecognition(const std::string& curve) {
    return curve == "secp256r1" || curve == "secp384r1" || curve == "secp521r1" || curve == "secp256k1";
}

// ---- OpenSSL as the producer ---------------------------------------------------------------

struct OsslKey {
    explicit OsslKey(const char* curve) : ec(EC_KEY_new_by_curve_name(nidOf(curve)), EC_KEY_free) {
        EC_KEY_generate_key(ec.get());
    }
    template <typename F>
    static Bytes encode(F&& i2d) {
        int len = i2d(nullptr);
        if (len <= 0) return {};
        Bytes out(static_cast<std::size_t>(len));
        unsigned char* p = out.data();
        i2d(&p);
        return out;
    }
    Bytes sec1(unsigned encFlags = 0) {
        EC_KEY_set_enc_flags(ec.get(), encFlags);
        Bytes out = encode([&](unsigned char** p) { return i2d_ECPrivateKey(ec.get(), p); });
        EC_KEY_set_enc_flags(ec.get(), 0);
        return out;
    }
    Bytes pkcs8() {
        EVP_PKEY* pk = EVP_PKEY_new();
        EVP_PKEY_set1_EC_KEY(pk, ec.get());
        PKCS8_PRIV_KEY_INFO* p8 = EVP_PKEY2PKCS8(pk);
        Bytes out = encode([&](unsigned char** p) { return i2d_PKCS8_PRIV_KEY_INFO(p8, p); });
        PKCS8_PRIV_KEY_INFO_free(p8);
        EVP_PKEY_free(pk);
        return out;
    }
    Bytes spki(bool explicitParams = false, bool compressed = false) {
        EC_KEY_set_asn1_flag(ec.get(), explicitParams ? OPENSSL_EC_EXPLICIT_CURVE : OPENSSL_EC_NAMED_CURVE);
        EC_KEY_set_conv_form(ec.get(), compressed ? POINT_CONVERSION_COMPRESSED : POINT_CONVERSION_UNCOMPRESSED);
        Bytes out = encode([&](unsigned char** p) { return i2d_EC_PUBKEY(ec.get(), p); });
        EC_KEY_set_asn1_flag(ec.get(), OPENSSL_EC_NAMED_CURVE);
        EC_KEY_set_conv_form(ec.get(), POINT_CONVERSION_UNCOMPRESSED);
        return out;
    }
    void expectSameKey(const EccKey& key, bool withK) const {
        EccPoint q;
        testing_support::BnPtr x = testing_support::newBn(), y = testing_support::newBn();
        EC_POINT_get_affine_coordinates(EC_KEY_get0_group(ec.get()), EC_KEY_get0_public_key(ec.get()), x.get(),
                                        y.get(), nullptr);
        fromBn(x.get(), q.x);
        fromBn(y.get(), q.y);
        EXPECT_EQ(BigNum::mp_cmp(key.m_pubPoint.x, q.x), 0);
        EXPECT_EQ(BigNum::mp_cmp(key.m_pubPoint.y, q.y), 0);
        if (withK) {
            mp_int k;
            fromBn(EC_KEY_get0_private_key(ec.get()), k);
            EXPECT_EQ(BigNum::mp_cmp(key.m_k, k), 0);
        }
    }
    testing_support::EcKeyPtr ec;
};

// ---- Loading helpers -----------------------------------------------------------------------

bool load(EccKey& key, const Bytes& der, LogBase& log) {
    DataBuffer db;
    db.append(der.data(), static_cast<unsigned>(der.size()));
    return key.loadEccDer(db, log);
}

// True when every expected line appears among the error lines, in this order.
bool errorsInOrder(const LogBase& log, const std::vector<std::string>& expected) {
    std::vector<std::string> got = log.errors();
    std::size_t at = 0;
    for (const std::string& line : got) {
        if (at < expected.size() && line == expected[at]) ++at;
    }
    return at == expected.size();
}

// A failed load must leave neither the private type nor k behind.
void expectNothingPrivate(const EccKey& key) {
    EXPECT_EQ(key.m_keyType, 0);
    EXPECT_EQ(BigNum::mp_cmp_d(key.m_k, 0), 0);
}

// ---- Keys from OpenSSL, every curve ---------------------------------------------------------

class OpenSslKeys : public ::testing::TestWithParam<const char*> {};

TEST_P(OpenSslKeys, LoadWithTheSameScalarAndPoint) {
    const std::string curve = GetParam();
    OsslKey ossl(curve.c_str());
    struct Form {
        const char* what;
        Bytes der;
        int keyType;
    } forms[] = {
        {"SEC1 with public key", ossl.sec1(), 1},
        {"SEC1 without public key", ossl.sec1(EC_PKEY_NO_PUBKEY), 1},
        {"PKCS#8 (SEC1 inside has no [0])", ossl.pkcs8(), 1},
        {"SubjectPublicKeyInfo, named curve", ossl.spki(), 0},
    };
    for (const Form& f : forms) {
        SCOPED_TRACE(f.what);
        ASSERT_FALSE(f.der.empty());
        EccKey key;
        LogBase log;
        ASSERT_TRUE(load(key, f.der, log)) << log.render();
        EXPECT_EQ(key.m_keyType, f.keyType);
        EXPECT_STREQ(key.m_curve.name.getString(), curve.c_str());
        ossl.expectSameKey(key, f.keyType == 1);
    }
}

TEST_P(OpenSslKeys, ExplicitParametersOnlyForTheRecognisedCurves) {
    const std::string curve = GetParam();
    OsslKey ossl(curve.c_str());
    EccKey key;
    LogBase log;
    bool ok = load(key, ossl.spki(true), log);
    if (hasExplicitRecognition(curve)) {
        ASSERT_TRUE(ok) << log.render();
        EXPECT_STREQ(key.m_curve.name.getString(), curve.c_str());
        ossl.expectSameKey(key, false);
    } else {
        EXPECT_FALSE(ok);
        EXPECT_TRUE(errorsInOrder(log, {"Failed to parse AlgorithmIdentifier", "Invalid ASN.1 for ECC key."}))
            << log.render();
    }
}

TEST_P(OpenSslKeys, CompressedPointsAreRefused) {
    OsslKey ossl(GetParam());
    EccKey key;
    LogBase log;
    EXPECT_FALSE(load(key, ossl.spki(false, true), log));
    EXPECT_TRUE(errorsInOrder(
        log, {"First byte of ECC point is invalid.", "Invalid ANSI X9.63 ECC point.", "Failed to load ECC point."}))
        << log.render();
    expectNothingPrivate(key);
    // A base point in compressed form cannot be recognised either.
    LogBase log2;
    EXPECT_FALSE(load(key, ossl.spki(true, true), log2));
    EXPECT_TRUE(log2.hasError("Failed to parse AlgorithmIdentifier"));
}

TEST_P(OpenSslKeys, BareSec1WithoutCurveNamesNoCurve) {
    OsslKey ossl(GetParam());
    EccKey key;
    LogBase log;
    EXPECT_FALSE(load(key, ossl.sec1(EC_PKEY_NO_PARAMETERS), log));
    EXPECT_TRUE(errorsInOrder(log, {"curve OID not found.", "Invalid ASN.1 for ECC private key."})) << log.render();
    expectNothingPrivate(key);
}

INSTANTIATE_TEST_SUITE_P(AllCurves, OpenSslKeys, ::testing::ValuesIn(kAllCurves),
                         [](const ::testing::TestParamInfo<const char*>& p) { return std::string(p.param); });

TEST(DerImport, StoredPublicPointIsUsedUnchanged) {
    OsslKey a("secp256r1"), b("secp256r1");
    // a's scalar beside b's point: the loader must not recompute or check it.
    EC_KEY_set_public_key(a.ec.get(), EC_KEY_get0_public_key(b.ec.get()));
    EccKey key;
    LogBase log;
    ASSERT_TRUE(load(key, a.sec1(), log)) << log.render();
    EXPECT_EQ(key.m_keyType, 1);
    b.expectSameKey(key, false);
    mp_int k;
    fromBn(EC_KEY_get0_private_key(a.ec.get()), k);
    EXPECT_EQ(BigNum::mp_cmp(key.m_k, k), 0);
}

// ---- Hand-made structures ------------------------------------------------------------------

Bytes tlv(unsigned char tag, const Bytes& content) {
    Bytes out{tag};
    std::size_t n = content.size();
    if (n < 0x80) {
        out.push_back(static_cast<unsigned char>(n));
    } else if (n < 0x100) {
        out.insert(out.end(), {0x81, static_cast<unsigned char>(n)});
    } else {
        out.insert(out.end(), {0x82, static_cast<unsigned char>(n >> 8), static_cast<unsigned char>(n & 0xFF)});
    }
    out.insert(out.end(), content.begin(), content.end());
    return out;
}
Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}
Bytes seq(std::initializer_list<Bytes> parts) { return tlv(0x30, cat(parts)); }

const Bytes kEcPublicKeyOid{0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01};
const Bytes kRsaOid{0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01};
const Bytes kP256Oid{0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07};
const Bytes kUnknownOid{0x06, 0x03, 0x2A, 0x03, 0x04};
const Bytes kNull{0x05, 0x00};
const Bytes kV0{0x02, 0x01, 0x00}, kV1{0x02, 0x01, 0x01};
const Bytes kK = tlv(0x04, Bytes(32, 0x11));
// The order of P-256: not a private key.
const Bytes kKn = tlv(0x04, {0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF,
                             0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xBC, 0xE6, 0xFA, 0xAD, 0xA7, 0x17,
                             0x9E, 0x84, 0xF3, 0xB9, 0xCA, 0xC2, 0xFC, 0x63, 0x25, 0x51});
const Bytes kPoint = tlv(0x03, cat({{0x00, 0x04}, Bytes(64, 0x22)}));

Bytes pkcs8Of(const Bytes& algOid, const Bytes& sec1) {
    return seq({kV0, seq({algOid, kP256Oid}), tlv(0x04, sec1)});
}

TEST(DerImport, ShapesAndMessages) {
    const Bytes sec1NoCurve = seq({kV1, kK});
    struct Case {
        const char* what;
        Bytes der;
        bool ok;
        std::vector<std::string> errors;
    } cases[] = {
        {"not DER", {0x30, 0x05, 0x02}, false, {"Failed to decode ECC key ASN.1"}},
        {"empty SEQUENCE", seq({}), false, {"Invalid ASN.1 for ECC key."}},
        {"BIT STRING first", seq({kPoint}), false, {"The ECC curve OID is unknown.", "Invalid ASN.1 for ECC key."}},
        {"SPKI, other algorithm", seq({seq({kRsaOid, kP256Oid}), kPoint}), false, {"Not an ECC key."}},
        {"SPKI, NULL parameters",
         seq({seq({kEcPublicKeyOid, kNull}), kPoint}),
         false,
         {"Failed to parse AlgorithmIdentifier", "Invalid ASN.1 for ECC key."}},
        {"SPKI, no key", seq({seq({kEcPublicKeyOid, kP256Oid})}), false, {"Invalid ASN.1 for ECC key."}},
        {"SPKI, OCTET STRING key",
         seq({seq({kEcPublicKeyOid, kP256Oid}), tlv(0x04, Bytes(65, 0x04))}),
         false,
         {"Expected an ASN.1 bitstring."}},
        {"SPKI, unknown curve", seq({seq({kEcPublicKeyOid, kUnknownOid}), kPoint}), false, {"Unsupported ECDSA curve."}},
        {"SPKI, point read as stored", seq({seq({kEcPublicKeyOid, kP256Oid}), kPoint}), true, {}},
        {"integer alone", seq({kV1}), false, {"Invalid ASN.1 for ECC key."}},
        {"SEC1 version 0",
         seq({kV0, kK, tlv(0xA0, kP256Oid)}),
         false,
         {"curve OID not found.", "Invalid ASN.1 for ECC private key."}},
        {"SEC1 version 0 in PKCS#8",
         pkcs8Of(kEcPublicKeyOid, seq({kV0, kK})),
         false,
         {"Invalid ASN.1 for ECC private key."}},
        {"k as INTEGER",
         seq({kV1, tlv(0x02, {0x11}), tlv(0xA0, kP256Oid)}),
         false,
         {"Did not get octets for K", "Invalid ASN.1 for ECC private key."}},
        {"k empty",
         seq({kV1, tlv(0x04, {}), tlv(0xA0, kP256Oid)}),
         false,
         {"Failed to get K bytes", "Invalid ASN.1 for ECC private key."}},
        {"k zero",
         seq({kV1, tlv(0x04, {0x00}), tlv(0xA0, kP256Oid)}),
         false,
         {"K is out of range.", "Invalid ASN.1 for ECC private key."}},
        {"k equal to n", seq({kV1, kKn, tlv(0xA0, kP256Oid)}), false, {"K is out of range."}},
        {"PKCS#11 reduced form", sec1NoCurve, false, {"curve OID not found.", "Invalid ASN.1 for ECC private key."}},
        {"SEC1 without [0] in PKCS#8", pkcs8Of(kEcPublicKeyOid, sec1NoCurve), true, {}},
        {"unknown curve in SEC1",
         seq({kV1, kK, tlv(0xA0, kUnknownOid)}),
         false,
         {"Failed to load curve by OID.", "curve OID not found.", "Invalid ASN.1 for ECC private key."}},
        {"unknown curve in SEC1, replaced by the PKCS#8 curve",
         pkcs8Of(kEcPublicKeyOid, seq({kV1, kK, tlv(0xA0, kUnknownOid)})),
         true,
         {}},
        {"primitive element after k",
         seq({kV1, kK, tlv(0xA0, kP256Oid), kV1}),
         false,
         {"Invalid ASN.1 for ECC private key."}},
        {"context tags not checked", seq({kV1, kK, tlv(0xA5, kPoint), tlv(0xA7, kP256Oid)}), true, {}},
        {"bad point in [1]",
         seq({kV1, kK, tlv(0xA0, kP256Oid), tlv(0xA1, tlv(0x03, {0x00, 0x02, 0x01, 0x01}))}),
         false,
         {"First byte of ECC point is invalid.", "Failed to load ECC point.", "Invalid ASN.1 for ECC private key."}},
        {"PKCS#8, other algorithm", pkcs8Of(kRsaOid, sec1NoCurve), false, {"Not an ECC key."}},
        {"PKCS#8, NULL parameters",
         seq({kV0, seq({kEcPublicKeyOid, kNull}), tlv(0x04, sec1NoCurve)}),
         false,
         {"Invalid ASN.1 for ECC key."}},
        {"PKCS#8, key not in an OCTET STRING",
         seq({kV0, seq({kEcPublicKeyOid, kP256Oid}), sec1NoCurve}),
         false,
         {"Invalid ASN.1 for ECC key."}},
        {"PKCS#8, OCTET STRING not DER", pkcs8Of(kEcPublicKeyOid, {0x30, 0x01}), false, {"Failed to decode ECC key ASN.1"}},
        {"trailing bytes ignored", cat({seq({kV1, kK, tlv(0xA0, kP256Oid)}), {0x00, 0x00}}), true, {}},
    };
    OsslKey ossl("secp256r1");
    EccKey loaded;
    LogNull quiet;
    ASSERT_TRUE(load(loaded, ossl.sec1(), quiet));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EccKey key;
        key.copyFromEccKey(loaded);  // a failed load must not leave this key behind
        LogBase log;
        EXPECT_EQ(load(key, c.der, log), c.ok) << log.render();
        EXPECT_TRUE(errorsInOrder(log, c.errors)) << log.render();
        if (!c.ok) expectNothingPrivate(key);
        if (c.ok) {
            EXPECT_STREQ(key.m_curve.name.getString(), "secp256r1");
        }
    }
}

TEST(DerImport, Pkcs8AttributesAreKeptAndAPreviousKeysAreNot) {
    const Bytes attributes = tlv(0xA0, seq({kP256Oid, tlv(0x31, {0x05, 0x00})}));
    const Bytes der = seq({kV0, seq({kEcPublicKeyOid, kP256Oid}), tlv(0x04, seq({kV1, kK})), attributes});
    EccKey key;
    LogBase log;
    ASSERT_TRUE(load(key, der, log)) << log.render();
    EXPECT_TRUE(key.m_pkcs8Attributes.equals(attributes.data(), static_cast<unsigned>(attributes.size())));
    ASSERT_TRUE(load(key, pkcs8Of(kEcPublicKeyOid, seq({kV1, kK})), log));
    EXPECT_EQ(key.m_pkcs8Attributes.getSize(), 0u);
}

TEST(DerImport, VerboseLinesOfTheComputedPublicKey) {
    EccKey key;
    LogBase log;
    log.m_verbose = true;
    ASSERT_TRUE(load(key, seq({kV1, kK, tlv(0xA0, kP256Oid)}), log));
    EXPECT_TRUE(log.hasError("No public key bits found (this is not an error)"));
    bool computing = false, success = false;
    for (const LogBase::Entry& e : log.entries()) {
        if (e.kind != LogBase::Kind::Info) continue;
        computing = computing || e.text == "computing the public key...";
        success = success || (computing && e.text == "ECC parsing success.");
    }
    EXPECT_TRUE(success) << log.render();
}

// ---- Truncation and corruption -------------------------------------------------------------

TEST(DerImport, TruncatedAndCorruptedKeysFailCleanly) {
    OsslKey ossl("secp256r1");
    const Bytes withPub = ossl.sec1(), noPub = ossl.sec1(EC_PKEY_NO_PUBKEY), p8 = ossl.pkcs8(),
                spki = ossl.spki(), spkiExplicit = ossl.spki(true);
    EccKey loaded;
    LogNull quiet;
    ASSERT_TRUE(load(loaded, withPub, quiet));
    mp_int n;
    ASSERT_TRUE(BigNum::mp_read_radix(n, loaded.m_curve.n.getString(), 16));

    EccKey key;
    auto attempt = [&](const Bytes& der) {
        key.copyFromEccKey(loaded);
        if (load(key, der, quiet)) {
            if (key.m_keyType == 1) {
                EXPECT_EQ(BigNum::mp_cmp(key.m_k, n), -1);
            }
        } else {
            EXPECT_EQ(key.m_keyType, 0);
            EXPECT_EQ(BigNum::mp_cmp_d(key.m_k, 0), 0);
        }
    };
    for (const Bytes* der : {&withPub, &noPub, &p8, &spki, &spkiExplicit}) {
        for (std::size_t len = 0; len < der->size(); ++len) {
            Bytes prefix(der->begin(), der->begin() + static_cast<std::ptrdiff_t>(len));
            key.copyFromEccKey(loaded);
            EXPECT_FALSE(load(key, prefix, quiet)) << "prefix of " << len << " bytes";
            expectNothingPrivate(key);
        }
    }
    // Keys that carry their public point, so that a change rarely costs a scalar multiplication.
    for (const Bytes* der : {&withPub, &p8, &spkiExplicit}) {
        for (std::size_t i = 0; i < der->size(); ++i) {
            for (unsigned mask : {0x01u, 0xFFu}) {
                Bytes changed = *der;
                changed[i] = static_cast<unsigned char>(changed[i] ^ mask);
                attempt(changed);
            }
        }
    }
}

}  // namespace
}  // namespace vn
