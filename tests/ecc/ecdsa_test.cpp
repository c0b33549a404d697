#include <gtest/gtest.h>

#include <openssl/ecdh.h>
#include <openssl/ecdsa.h>
#include <openssl/rand.h>

#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

using testing_support::BnPtr;
using testing_support::newBn;
using testing_support::toOpenSslKey;

std::vector<unsigned char> randomBytes(std::size_t n) {
    std::vector<unsigned char> v(n);
    RAND_bytes(v.data(), static_cast<int>(n));
    return v;
}

// The digest length OpenSSL uses whole on every curve: the field width, at most 64 bytes.
std::size_t digestLengthFor(const EccKey& key) {
    return key.m_curve.fieldBytes < 64 ? static_cast<std::size_t>(key.m_curve.fieldBytes) : 64u;
}

void generate(EccKey& key, const char* curve) {
    _vnSystemPrng prng;
    LogBase log;
    ASSERT_TRUE(key.generateNewKey(StringBuffer(curve), prng, log)) << curve << "\n" << log.render();
}

// r and s of a DER or raw signature, through OpenSSL.
ECDSA_SIG* toOpenSslSig(const DataBuffer& sig, bool der, unsigned fieldBytes) {
    if (der) {
        const unsigned char* p = sig.getData2();
        return d2i_ECDSA_SIG(nullptr, &p, static_cast<long>(sig.getSize()));
    }
    ECDSA_SIG* out = ECDSA_SIG_new();
    ECDSA_SIG_set0(out, BN_bin2bn(sig.getData2(), static_cast<int>(fieldBytes), nullptr),
                   BN_bin2bn(sig.getData2() + fieldBytes, static_cast<int>(sig.getSize() - fieldBytes), nullptr));
    return out;
}

class EveryCurve : public ::testing::TestWithParam<int> {};

TEST_P(EveryCurve, SignaturesInteroperateWithOpenSslBothWays) {
    const char* curve = namedCurveAt(GetParam()).name;
    EccKey key;
    generate(key, curve);
    auto ec = toOpenSslKey(key);
    ASSERT_TRUE(ec) << "OpenSSL refuses our public point on " << curve;
    const unsigned fb = static_cast<unsigned>(key.m_curve.fieldBytes);
    _vnSystemPrng prng;

    for (int round = 0; round < 4; ++round) {
        std::vector<unsigned char> digest = randomBytes(digestLengthFor(key));
        for (bool der : {true, false}) {
            // Ours, checked by OpenSSL and by ourselves.
            LogBase log;
            DataBuffer sig;
            ASSERT_TRUE(key.eccSignHash(digest.data(), unsigned(digest.size()), prng, der, sig, log)) << log.render();
            if (!der) {
                EXPECT_EQ(sig.getSize(), 2 * fb) << curve;
            }
            ECDSA_SIG* osig = toOpenSslSig(sig, der, fb);
            ASSERT_NE(osig, nullptr);
            EXPECT_EQ(ECDSA_do_verify(digest.data(), int(digest.size()), osig, ec.get()), 1) << curve;
            ECDSA_SIG_free(osig);
            bool valid = false;
            ASSERT_TRUE(key.eccVerifyHash(sig.getData2(), sig.getSize(), !der, digest.data(), unsigned(digest.size()),
                                          valid, log, der ? 0 : fb));
            EXPECT_TRUE(valid) << curve;

            // A one-bit change of the digest or of the signature is caught.
            digest[0] ^= 0x01;
            ASSERT_TRUE(key.eccVerifyHash(sig.getData2(), sig.getSize(), !der, digest.data(), unsigned(digest.size()),
                                          valid, log, der ? 0 : fb));
            EXPECT_FALSE(valid) << curve;
            digest[0] ^= 0x01;
            sig.getData2()[sig.getSize() - 1] ^= 0x01;
            ASSERT_TRUE(key.eccVerifyHash(sig.getData2(), sig.getSize(), !der, digest.data(), unsigned(digest.size()),
                                          valid, log, der ? 0 : fb));
            EXPECT_FALSE(valid) << curve;
        }

        // OpenSSL's, checked by us in DER and raw form.
        ECDSA_SIG* theirs = ECDSA_do_sign(digest.data(), int(digest.size()), ec.get());
        ASSERT_NE(theirs, nullptr);
        unsigned char* derBytes = nullptr;
        int derLen = i2d_ECDSA_SIG(theirs, &derBytes);
        std::vector<unsigned char> raw(2 * fb);
        BN_bn2binpad(ECDSA_SIG_get0_r(theirs), raw.data(), int(fb));
        BN_bn2binpad(ECDSA_SIG_get0_s(theirs), raw.data() + fb, int(fb));
        LogBase log;
        bool valid = false;
        ASSERT_TRUE(key.eccVerifyHash(derBytes, unsigned(derLen), false, digest.data(), unsigned(digest.size()), valid,
                                      log, 0))
            << log.render();
        EXPECT_TRUE(valid) << curve << " DER";
        valid = false;
        ASSERT_TRUE(key.eccVerifyHash(raw.data(), unsigned(raw.size()), true, digest.data(), unsigned(digest.size()),
                                      valid, log, fb));
        EXPECT_TRUE(valid) << curve << " raw";
        OPENSSL_free(derBytes);
        ECDSA_SIG_free(theirs);
    }
}

TEST_P(EveryCurve, SharedSecretMatchesOpenSslBothDirections) {
    const char* curve = namedCurveAt(GetParam()).name;
    for (int round = 0; round < 3; ++round) {
        EccKey a, b;
        generate(a, curve);
        generate(b, curve);
        LogBase log;
        DataBuffer ab, ba;
        ASSERT_TRUE(a.sharedSecret(b, ab, log)) << log.render();
        ASSERT_TRUE(b.sharedSecret(a, ba, log));
        EXPECT_TRUE(ab.equals(ba));
        EXPECT_EQ(ab.getSize(), unsigned(a.m_curve.fieldBytes));

        auto ecA = toOpenSslKey(a);
        auto ecB = toOpenSslKey(b);
        std::vector<unsigned char> theirs(static_cast<std::size_t>(a.m_curve.fieldBytes));
        int n = ECDH_compute_key(theirs.data(), theirs.size(), EC_KEY_get0_public_key(ecB.get()), ecA.get(), nullptr);
        ASSERT_EQ(n, a.m_curve.fieldBytes);
        EXPECT_TRUE(ab.equals(theirs.data(), unsigned(n))) << curve;
    }
}

TEST_P(EveryCurve, PublicOnlyKeysCannotSignOrAgree) {
    const char* curve = namedCurveAt(GetParam()).name;
    EccKey priv, pub;
    generate(priv, curve);
    pub.copyFromEccKey(priv);
    pub.m_keyType = 0;
    _vnSystemPrng prng;
    unsigned char digest[32] = {1};
    DataBuffer sig;
    sig.appendChar(7);
    LogBase log;
    EXPECT_FALSE(pub.eccSignHash(digest, 32, prng, true, sig, log));
    EXPECT_EQ(sig.getSize(), 0u);
    EXPECT_FALSE(pub.eccSignHash_forSsh(digest, 32, prng, sig, log));
    EXPECT_FALSE(pub.sharedSecret(priv, sig, log));
    EXPECT_EQ(log.errors(), std::vector<std::string>(3, "Must be a private key."));
}

std::string curveName(const ::testing::TestParamInfo<int>& param) { return namedCurveAt(param.param).name; }

INSTANTIATE_TEST_SUITE_P(Curves, EveryCurve, ::testing::Range(0, kNamedCurveCount), curveName);

}  // namespace
}  // namespace vn
