// What this library writes, read back by OpenSSL's libcrypto in-process: every DER and PEM
// form on all fourteen curves must parse there and give our public point (and scalar), and
// where OpenSSL writes the same structure the bytes must be identical.

#include <gtest/gtest.h>

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstring>
#include <memory>
#include <string>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"
#include "host/Prng.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

using testing_support::EcKeyPtr;
using EvpPtr = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

std::string bytes(const DataBuffer& db) {
    return std::string(reinterpret_cast<const char*>(db.getData2()), db.getSize());
}

std::string opensslDer(const EC_KEY* obj, int (*i2d)(const EC_KEY*, unsigned char**)) {
    unsigned char* der = nullptr;
    int n = i2d(obj, &der);
    std::string out = n > 0 ? std::string(reinterpret_cast<char*>(der), static_cast<std::size_t>(n)) : "";
    OPENSSL_free(der);
    return out;
}

EcKeyPtr ecOf(EVP_PKEY* pkey) {
    return EcKeyPtr(pkey != nullptr ? EVP_PKEY_get1_EC_KEY(pkey) : nullptr, EC_KEY_free);
}

// OpenSSL's parse of one of our outputs holds the reference key: same domain parameters, same
// public point, and the same scalar when a private key is expected.
::testing::AssertionResult sameKey(const EC_KEY* parsed, const EC_KEY* ref, bool withPrivate) {
    if (parsed == nullptr) return ::testing::AssertionFailure() << "OpenSSL did not parse it";
    const EC_GROUP* g = EC_KEY_get0_group(ref);
    if (EC_GROUP_cmp(EC_KEY_get0_group(parsed), g, nullptr) != 0)
        return ::testing::AssertionFailure() << "domain parameters differ";
    const EC_POINT* pub = EC_KEY_get0_public_key(parsed);
    if (pub == nullptr || EC_POINT_cmp(g, pub, EC_KEY_get0_public_key(ref), nullptr) != 0)
        return ::testing::AssertionFailure() << "public point differs";
    if (withPrivate) {
        const BIGNUM* k = EC_KEY_get0_private_key(parsed);
        if (k == nullptr || BN_cmp(k, EC_KEY_get0_private_key(ref)) != 0)
            return ::testing::AssertionFailure() << "private scalar differs";
    }
    return ::testing::AssertionSuccess();
}

// Base64 body lines are 64 characters; only the last may be shorter.
::testing::AssertionResult pemLinesOf64(const std::string& pem) {
    std::size_t begin = pem.find('\n') + 1;
    std::size_t last = pem.rfind("-----END");
    bool sawShort = false;
    for (std::size_t at = begin; at < last;) {
        std::size_t eol = pem.find("\r\n", at);
        std::size_t len = eol - at;
        if (len > 64 || len == 0 || sawShort)
            return ::testing::AssertionFailure() << "body line of " << len << " characters at " << at;
        sawShort = len < 64;
        at = eol + 2;
    }
    return ::testing::AssertionSuccess();
}

EVP_PKEY* readPem(const StringBuffer& pem, bool privateKey) {
    BIO* bio = BIO_new_mem_buf(pem.getString(), static_cast<int>(pem.getSize()));
    EVP_PKEY* pkey = privateKey ? PEM_read_bio_PrivateKey(bio, nullptr, nullptr, nullptr)
                                : PEM_read_bio_PUBKEY(bio, nullptr, nullptr, nullptr);
    BIO_free(bio);
    return pkey;
}

class OpensslReadsOurForms : public ::testing::TestWithParam<int> {};

TEST_P(OpensslReadsOurForms, EveryFormParsesAsOurKey) {
    const char* curve = namedCurveAt(GetParam()).name;
    EccKey key;
    _vnSystemPrng prng;
    LogBase log;
    ASSERT_TRUE(key.generateNewKey(StringBuffer(curve), prng, log)) << log.render();
    EcKeyPtr ref = testing_support::toOpenSslKey(key);
    ASSERT_NE(ref, nullptr) << curve;
    EC_KEY_set_conv_form(ref.get(), POINT_CONVERSION_UNCOMPRESSED);
    EC_KEY_set_asn1_flag(ref.get(), OPENSSL_EC_NAMED_CURVE);

    // Named-curve SubjectPublicKeyInfo and SEC1 with [1]: OpenSSL writes these very bytes.
    DataBuffer spki, sec1, sec1NoPub, p8, spkiLong;
    ASSERT_TRUE(key.toPublicKeyDer_shortFmt(spki, log));
    EXPECT_EQ(bytes(spki), opensslDer(ref.get(), i2d_EC_PUBKEY)) << curve;
    ASSERT_TRUE(key.toEccPkcs1PrivateKeyDer(sec1NoPub, log));
    log.m_options.setString("EMIT_ECC_PKCS1_PUBKEY");
    ASSERT_TRUE(key.toEccPkcs1PrivateKeyDer(sec1, log));
    EXPECT_EQ(bytes(sec1), opensslDer(ref.get(), i2d_ECPrivateKey)) << curve;

    // SEC1 without the public key: OpenSSL derives the point from k.
    const unsigned char* p = sec1NoPub.getData2();
    EcKeyPtr fromSec1(d2i_ECPrivateKey(nullptr, &p, static_cast<long>(sec1NoPub.getSize())), EC_KEY_free);
    EXPECT_TRUE(sameKey(fromSec1.get(), ref.get(), true)) << curve << " SEC1 without [1]";

    // PKCS#8, taken apart as PKCS#8 rather than guessed at.
    ASSERT_TRUE(key.toEccPkcs8PrivateKeyDer(p8, log));
    p = p8.getData2();
    PKCS8_PRIV_KEY_INFO* info = d2i_PKCS8_PRIV_KEY_INFO(nullptr, &p, static_cast<long>(p8.getSize()));
    ASSERT_NE(info, nullptr) << curve;
    EvpPtr fromP8(EVP_PKCS82PKEY(info), EVP_PKEY_free);
    PKCS8_PRIV_KEY_INFO_free(info);
    EXPECT_TRUE(sameKey(ecOf(fromP8.get()).get(), ref.get(), true)) << curve << " PKCS#8";
    p = p8.getData2();
    EvpPtr autoP8(d2i_AutoPrivateKey(nullptr, &p, static_cast<long>(p8.getSize())), EVP_PKEY_free);
    EXPECT_TRUE(sameKey(ecOf(autoP8.get()).get(), ref.get(), true)) << curve << " PKCS#8 (auto)";

    // Explicit parameters: OpenSSL must find the curve's own domain parameters in them.
    ASSERT_TRUE(key.toPublicKeyDer_longFmt(spkiLong, log));
    p = spkiLong.getData2();
    EvpPtr fromLong(d2i_PUBKEY(nullptr, &p, static_cast<long>(spkiLong.getSize())), EVP_PKEY_free);
    EcKeyPtr longKey = ecOf(fromLong.get());
    EXPECT_TRUE(sameKey(longKey.get(), ref.get(), false)) << curve << " long form";

    StringBuffer privPem, p8Pem, pubPem, pubPemLong;
    ASSERT_TRUE(key.toEccPrivateKeyPem(true, privPem, log));
    ASSERT_TRUE(key.toEccPrivateKeyPem(false, p8Pem, log));
    ASSERT_TRUE(key.toEccPublicKeyPem(true, pubPem, log));
    ASSERT_TRUE(key.toEccPublicKeyPem(false, pubPemLong, log));
    // OpenSSL's decoders find PKCS#8 inside the EC label as well as SEC1.
    for (StringBuffer* pem : {&privPem, &p8Pem}) {
        EvpPtr fromPem(readPem(*pem, true), EVP_PKEY_free);
        EXPECT_TRUE(sameKey(ecOf(fromPem.get()).get(), ref.get(), true)) << curve << " private PEM";
    }
    for (StringBuffer* pem : {&pubPem, &pubPemLong}) {
        EvpPtr fromPem(readPem(*pem, false), EVP_PKEY_free);
        EXPECT_TRUE(sameKey(ecOf(fromPem.get()).get(), ref.get(), false)) << curve << " public PEM";
    }
    for (StringBuffer* pem : {&privPem, &p8Pem, &pubPem, &pubPemLong}) EXPECT_TRUE(pemLinesOf64(pem->getString())) << curve;
}

std::string curveName(const ::testing::TestParamInfo<int>& param) { return namedCurveAt(param.param).name; }

INSTANTIATE_TEST_SUITE_P(Curves, OpensslReadsOurForms, ::testing::Range(0, kNamedCurveCount), curveName);

// The long form of the four template curves: fixed width, the seed exactly where the curve has
// one, and nothing of the template's placeholder point left behind.
TEST(DerExportLongForm, TemplatesCarryThePublishedParametersAndOurPoint) {
    struct Case {
        const char* curve;
        unsigned size;
    } cases[] = {{"secp256r1", 335}, {"secp384r1", 464}, {"secp521r1", 608}, {"secp256k1", 248}};
    for (const Case& c : cases) {
        _vnSystemPrng prng;
        LogBase log;
        EccKey a, b;
        ASSERT_TRUE(a.generateNewKey(StringBuffer(c.curve), prng, log));
        ASSERT_TRUE(b.generateNewKey(StringBuffer(c.curve), prng, log));
        DataBuffer longA, longB, pointA;
        ASSERT_TRUE(a.toPublicKeyDer_longFmt(longA, log));
        ASSERT_TRUE(b.toPublicKeyDer_longFmt(longB, log));
        ASSERT_TRUE(a.exportEccPoint(pointA, log));
        ASSERT_EQ(longA.getSize(), c.size) << c.curve;
        ASSERT_EQ(longB.getSize(), c.size) << c.curve;
        // Everything before the point is the same constant for every key; the tail is the point.
        std::string sa = bytes(longA), sb = bytes(longB);
        std::size_t head = c.size - pointA.getSize();
        EXPECT_EQ(sa.substr(0, head), sb.substr(0, head)) << c.curve;
        EXPECT_EQ(sa.substr(head), bytes(pointA)) << c.curve;

        const unsigned char* p = longA.getData2();
        EvpPtr parsed(d2i_PUBKEY(nullptr, &p, static_cast<long>(longA.getSize())), EVP_PKEY_free);
        EcKeyPtr ec = ecOf(parsed.get());
        ASSERT_NE(ec, nullptr) << c.curve;
        const EC_GROUP* g = EC_KEY_get0_group(ec.get());
        EXPECT_EQ(EC_GROUP_get_asn1_flag(g) & OPENSSL_EC_NAMED_CURVE, 0) << c.curve << ": not explicit";
        testing_support::GroupPtr named(EC_GROUP_new_by_curve_name(testing_support::nidOf(c.curve)), EC_GROUP_free);
        ASSERT_EQ(EC_GROUP_get_seed_len(g), EC_GROUP_get_seed_len(named.get())) << c.curve;
        if (EC_GROUP_get_seed_len(g) != 0) {
            EXPECT_EQ(std::memcmp(EC_GROUP_get0_seed(g), EC_GROUP_get0_seed(named.get()), EC_GROUP_get_seed_len(g)), 0)
                << c.curve;
        }
    }
}

// The private label lives in the source only in scrambled form.
TEST(PemExportLabel, ScrambledLiteralIsThePrivateKeyLabel) {
    char text[] = "EC PRIVATE KEY";
    StringBuffer::litScram(text);
    EXPECT_STREQ(text, "VX KIREZGV PVB");
    StringBuffer::litScram(text);
    EXPECT_STREQ(text, "EC PRIVATE KEY");
}

// A failing DER step leaves the caller's PEM text alone.
TEST(PemExportLabel, FailedExportLeavesTheOutputUntouched) {
    EccKey key;
    _vnSystemPrng prng;
    LogBase log;
    ASSERT_TRUE(key.generateNewKey(StringBuffer("secp256r1"), prng, log));
    key.m_keyType = 0;
    BigNum::mp_zero(key.m_k);
    for (bool sec1 : {true, false}) {
        StringBuffer out;
        out.append("previous text");
        EXPECT_FALSE(key.toEccPrivateKeyPem(sec1, out, log));
        EXPECT_STREQ(out.getString(), "previous text");
    }
}

}  // namespace
}  // namespace vn
